#include "platform/posix/InternetSession.h"

#include "platform/posix/CurlTransfer.h"

namespace zu::platform {

CInternetSession::CInternetSession(const std::string& userAgent, uint32_t nAccessType, const std::string& proxies,
                                   const std::string& bypass)
    : VInternetObject(EInternetObjectType::SESSION, nullptr),
      m_strUserAgent(userAgent),
      m_nAccessType(nAccessType),
      m_Proxies(proxies, bypass)
{
    InitializeCurl();
    m_pShare = curl_share_init();
    if (!m_pShare)
        return;
    curl_share_setopt(m_pShare, CURLSHOPT_LOCKFUNC, &CInternetSession::LockShare);
    curl_share_setopt(m_pShare, CURLSHOPT_UNLOCKFUNC, &CInternetSession::UnlockShare);
    curl_share_setopt(m_pShare, CURLSHOPT_USERDATA, this);
    curl_share_setopt(m_pShare, CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
    curl_share_setopt(m_pShare, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
}

CInternetSession::~CInternetSession()
{
    // Every transfer using the share belongs to a child, and children keep their session alive.
    if (m_pShare)
        curl_share_cleanup(m_pShare);
}

void CInternetSession::ApplyProxy(CURL* pEasy, const std::string& scheme, const std::string& host) const
{
    switch (m_nAccessType) {
    case INET_OPEN_TYPE_PRECONFIG:
        return;  // libcurl's own reading of the environment's proxy settings
    case INET_OPEN_TYPE_PROXY:
        curl_easy_setopt(pEasy, CURLOPT_PROXY, m_Proxies.ProxyFor(scheme, host).c_str());
        return;
    default:
        curl_easy_setopt(pEasy, CURLOPT_PROXY, "");
        return;
    }
}

void CInternetSession::LockShare(CURL*, curl_lock_data data, curl_lock_access, void* pThis)
{
    if (data >= 0 && data < CURL_LOCK_DATA_LAST)
        static_cast<CInternetSession*>(pThis)->m_ShareLocks[data].lock();
}

void CInternetSession::UnlockShare(CURL*, curl_lock_data data, void* pThis)
{
    if (data >= 0 && data < CURL_LOCK_DATA_LAST)
        static_cast<CInternetSession*>(pThis)->m_ShareLocks[data].unlock();
}

}  // namespace zu::platform
