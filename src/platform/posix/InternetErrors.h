// The calling thread's last Internet error and last FTP reply, and libcurl's results expressed as
// the Windows Internet API's error numbers, so that the reader's decisions read the same on every
// system.
#pragma once

#include <curl/curl.h>

#include <cstdint>
#include <string>

namespace zu::platform {

// Stores the error for InternetLastError() and returns false, so failures read "return Fail(...)".
bool FailInternet(uint32_t nError);
void SetInternetLastError(uint32_t nError);

// The last FTP reply this thread saw: its number and every line of it.
void SetLastFtpReply(uint32_t nCode, const std::string& text);
uint32_t LastFtpReplyCode();
const std::string& LastFtpReplyText();

// nVerifyResult is the certificate check's result (CURLINFO_SSL_VERIFYRESULT) for a refused
// certificate. Failures the FTP server explains in its reply become INET_ERROR_EXTENDED_ERROR.
uint32_t InternetErrorFromCurl(CURLcode code, bool bFtp, long nVerifyResult);

}  // namespace zu::platform
