// CInternetSession: the root of a handle tree. It holds what every request of the session shares:
// the user agent, the proxy choice and a cookie jar (with the name cache), kept in a libcurl share
// object whose locks make it safe for requests that run on different threads.
#pragma once

#include "platform/posix/InternetObject.h"
#include "platform/posix/ProxyList.h"

#include <curl/curl.h>

#include <mutex>
#include <string>

namespace zu::platform {

class CInternetSession : public VInternetObject {
public:
    CInternetSession(const std::string& userAgent, uint32_t nAccessType, const std::string& proxies,
                     const std::string& bypass);
    ~CInternetSession() override;

    const std::string& UserAgent() const { return m_strUserAgent; }
    // Sets the proxy of a transfer to a URL of that scheme and host.
    void ApplyProxy(CURL* pEasy, const std::string& scheme, const std::string& host) const;
    // The share object that carries the session's cookies; null when it could not be made.
    CURLSH* CookieShare() const { return m_pShare; }

private:
    static void LockShare(CURL*, curl_lock_data data, curl_lock_access, void* pThis);
    static void UnlockShare(CURL*, curl_lock_data data, void* pThis);

    const std::string m_strUserAgent;
    const uint32_t m_nAccessType;
    const CProxyList m_Proxies;
    CURLSH* m_pShare = nullptr;
    std::mutex m_ShareLocks[CURL_LOCK_DATA_LAST];
};

}  // namespace zu::platform
