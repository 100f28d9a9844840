// URL-cracker seam: splits a URL text into scheme, host, port, credentials, path and extra
// information the way the system's cracker (WinINet's InternetCrackUrlW) does, with its scheme
// numbering and its default ports.
#pragma once

#include <cstdint>
#include <string>

namespace zu::platform {

// The system's scheme numbers (WinINet's INTERNET_SCHEME values).
enum : int32_t {
    URL_SCHEME_UNKNOWN = -1,
    URL_SCHEME_FTP = 1,
    URL_SCHEME_GOPHER = 2,
    URL_SCHEME_HTTP = 3,
    URL_SCHEME_HTTPS = 4,
    URL_SCHEME_FILE = 5,
    URL_SCHEME_NEWS = 6,
    URL_SCHEME_MAILTO = 7,
    URL_SCHEME_SOCKS = 8,
    URL_SCHEME_JAVASCRIPT = 9,
    URL_SCHEME_VBSCRIPT = 10,
    URL_SCHEME_RES = 11
};

struct CUrlComponents {
    std::u16string strScheme;  // as written, without the ":"
    int32_t nScheme = URL_SCHEME_UNKNOWN;
    std::u16string strHost;
    uint16_t nPort = 0;  // the scheme's default port when the text names none (0 for most schemes)
    std::u16string strUser;
    std::u16string strPassword;
    std::u16string strPath;
    std::u16string strExtra;  // from the first "?" or "#" on
};

// Cracks the text up to its first zero character, with no flags and with room for each component
// as long as the whole text. False when the cracker rejects the text (no scheme, an empty text, a
// component that does not fit); the components are then unspecified.
bool CrackUrl(const std::u16string& url, CUrlComponents& components);

// The scheme number of a scheme word, compared without regard to case.
int32_t SchemeNumberOfName(const std::u16string& scheme);

}  // namespace zu::platform
