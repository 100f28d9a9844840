#include "core/Url.h"

#include "platform/UrlCracker.h"

#include <algorithm>

CUrl::CUrl(const std::u16string& url)
{
    Parse(url);
}

bool CUrl::Parse(const std::u16string& url)
{
    Clear();
    m_strURL = url;
    zu::platform::CUrlComponents parts;
    if (!zu::platform::CrackUrl(url, parts))
        return false;
    m_bParseFailed = 0;
    m_strScheme = std::move(parts.strScheme);
    m_nScheme = parts.nScheme;
    m_strHost = std::move(parts.strHost);
    m_nPort = parts.nPort;
    m_strUser = std::move(parts.strUser);
    m_strPassword = std::move(parts.strPassword);
    m_strPath = std::move(parts.strPath);
    m_strExtra = std::move(parts.strExtra);
    SplitExtra();
    return true;
}

void CUrl::Clear()
{
    *this = CUrl();
}

void CUrl::SplitExtra()
{
    if (m_strExtra.empty())
        return;
    if (m_strExtra[0] == u'#') {
        m_strFragment = m_strExtra.substr(1);
    } else if (m_strExtra[0] == u'?') {
        m_strQuery = m_strExtra.substr(1);
        SplitQuery();
    }
}

// Only the first "=" of a field splits it, so a value may hold further "=" signs; empty fields
// (from "&&" or an empty query) give an empty key with an empty value.
void CUrl::SplitQuery()
{
    size_t nStart = 0;
    for (;;) {
        const size_t nAmpersand = m_strQuery.find(u'&', nStart);
        const size_t nEnd = nAmpersand == std::u16string::npos ? m_strQuery.size() : nAmpersand;
        const std::u16string field = m_strQuery.substr(nStart, nEnd - nStart);
        const size_t nEquals = field.find(u'=');
        if (nEquals == std::u16string::npos) {
            m_QueryKeys.push_back(field);
            m_QueryValues.emplace_back();
        } else {
            m_QueryKeys.push_back(field.substr(0, nEquals));
            m_QueryValues.push_back(field.substr(nEquals + 1));
        }
        if (nAmpersand == std::u16string::npos)
            break;
        nStart = nAmpersand + 1;
    }
}

void CUrl::SetScheme(const std::u16string& scheme)
{
    m_strScheme = scheme;
    m_nScheme = zu::platform::SchemeNumberOfName(scheme);
}

void CUrl::SetPort(uint16_t nPort)
{
    m_nPort = nPort;
}

std::u16string CUrl::Rebuild() const
{
    std::u16string url = m_strScheme + u"://";
    if (!m_strUser.empty() || !m_strPassword.empty())
        url += m_strUser + u":" + m_strPassword + u"@";
    url += m_strHost;
    if (m_nPort != 0) {
        const std::string port = std::to_string(m_nPort);
        url += u':';
        url.append(port.begin(), port.end());
    }
    url += m_strPath + m_strExtra;
    return url;
}

std::u16string CUrl::WithoutPassword(const std::u16string& url)
{
    const size_t schemeEnd = url.find(u"://");
    if (schemeEnd == std::u16string::npos)
        return url;
    const size_t authorityStart = schemeEnd + 3;
    const size_t authorityEnd = std::min(url.find_first_of(u"/?#", authorityStart), url.size());
    // The last "@" ends the user information: a password may hold an "@" of its own.
    const size_t at = url.rfind(u'@', authorityEnd - 1);
    if (at == std::u16string::npos || at < authorityStart)
        return url;
    const size_t colon = url.find(u':', authorityStart);
    if (colon == std::u16string::npos || colon > at)
        return url;
    return url.substr(0, colon + 1) + u"***" + url.substr(at);
}
