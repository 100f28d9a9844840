// CProxyList: a session's proxy servers by scheme and the hosts that bypass them, in the Windows
// Internet API's list formats.
#pragma once

#include <string>
#include <vector>

namespace zu::platform {

class CProxyList {
public:
    // proxies: "[scheme=][http://]host[:port]" entries; bypass: host patterns ("*" matches any
    // run of characters, "<local>" any name without a dot). Both separated by blanks or ";".
    CProxyList(const std::string& proxies, const std::string& bypass);

    // "http://host:port" of the proxy for a URL of that scheme and host, or empty for a direct
    // connection. An entry for the scheme wins over one without a scheme.
    std::string ProxyFor(const std::string& scheme, const std::string& host) const;

private:
    struct CEntry {
        std::string m_strScheme;  // empty: every scheme
        std::string m_strServer;
    };

    bool Bypasses(const std::string& host) const;

    std::vector<CEntry> m_Proxies;
    std::vector<std::string> m_Bypass;
};

}  // namespace zu::platform
