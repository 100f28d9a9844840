// libcurl's results expressed as the Windows Internet API's error numbers, so that the reader's
// decisions read the same on every system.
#pragma once

#include "platform/InternetBackend.h"

#include <curl/curl.h>

#include <cstdint>

namespace zu::platform {

// nVerifyResult is the certificate check's result (CURLINFO_SSL_VERIFYRESULT) for a refused
// certificate. Failures the FTP server explains in its reply become INET_ERROR_EXTENDED_ERROR.
uint32_t InternetErrorFromCurl(CURLcode code, bool bFtp, long nVerifyResult);

}  // namespace zu::platform
