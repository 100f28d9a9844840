#include "platform/posix/ProxyList.h"

#include <algorithm>
#include <cctype>

namespace zu::platform {
namespace {

std::vector<std::string> Entries(const std::string& list)
{
    std::vector<std::string> entries;
    std::string current;
    for (char c : list + " ") {
        if (c == ' ' || c == ';' || c == '\t' || c == ',') {
            if (!current.empty())
                entries.push_back(current);
            current.clear();
        } else {
            current += c;
        }
    }
    return entries;
}

std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// '*' matches any run of characters, everything else itself, regardless of case.
bool Matches(const char* pPattern, const char* pText)
{
    if (*pPattern == '\0')
        return *pText == '\0';
    if (*pPattern == '*')
        return Matches(pPattern + 1, pText) || (*pText != '\0' && Matches(pPattern, pText + 1));
    return *pText != '\0' && std::tolower(static_cast<unsigned char>(*pPattern)) ==
                                 std::tolower(static_cast<unsigned char>(*pText)) &&
           Matches(pPattern + 1, pText + 1);
}

}  // namespace

CProxyList::CProxyList(const std::string& proxies, const std::string& bypass)
{
    for (const std::string& entry : Entries(proxies)) {
        CEntry parsed;
        std::string server = entry;
        const size_t equals = server.find('=');
        if (equals != std::string::npos) {
            parsed.m_strScheme = Lower(server.substr(0, equals));
            server.erase(0, equals + 1);
        }
        const size_t separator = server.find("://");
        if (separator != std::string::npos)
            server.erase(0, separator + 3);
        while (!server.empty() && server.back() == '/')
            server.pop_back();
        if (server.empty())
            continue;
        parsed.m_strServer = "http://" + server;
        m_Proxies.push_back(parsed);
    }
    m_Bypass = Entries(bypass);
}

std::string CProxyList::ProxyFor(const std::string& scheme, const std::string& host) const
{
    if (Bypasses(host))
        return std::string();
    const std::string wanted = Lower(scheme);
    const CEntry* pGeneral = nullptr;
    for (const CEntry& entry : m_Proxies) {
        if (entry.m_strScheme == wanted)
            return entry.m_strServer;
        if (entry.m_strScheme.empty() && !pGeneral)
            pGeneral = &entry;
    }
    return pGeneral ? pGeneral->m_strServer : std::string();
}

bool CProxyList::Bypasses(const std::string& host) const
{
    for (const std::string& pattern : m_Bypass) {
        if (Lower(pattern) == "<local>" ? host.find('.') == std::string::npos && host.find(':') == std::string::npos
                                        : Matches(pattern.c_str(), host.c_str()))
            return true;
    }
    return false;
}

}  // namespace zu::platform
