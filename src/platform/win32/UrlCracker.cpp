#include "platform/UrlCracker.h"

#include "platform/win32/Wide.h"

#include <windows.h>
#include <wininet.h>

#include <vector>

namespace zu::platform {
namespace {

// One caller-owned buffer per component, as long as the whole URL text; the cracker writes the
// component and its terminating zero into it and stores the component's length.
class CComponentBuffer {
public:
    explicit CComponentBuffer(size_t nLength) : m_Buffer(nLength + 1, L'\0') {}

    void Attach(LPWSTR& pszComponent, DWORD& nComponentLength, DWORD nCapacity)
    {
        pszComponent = m_Buffer.data();
        nComponentLength = nCapacity;
    }

    static std::u16string Text(LPCWSTR pszComponent, DWORD nLength)
    {
        return std::u16string(reinterpret_cast<const char16_t*>(pszComponent), nLength);
    }

private:
    std::vector<wchar_t> m_Buffer;
};

}  // namespace

bool CrackUrl(const std::u16string& url, CUrlComponents& components)
{
    if (url.empty() || url.size() > MAXDWORD - 1)
        return false;
    const DWORD nCapacity = static_cast<DWORD>(url.size());
    CComponentBuffer scheme(url.size()), host(url.size()), user(url.size()), password(url.size()),
        path(url.size()), extra(url.size());

    URL_COMPONENTSW parts = {};
    parts.dwStructSize = sizeof(parts);
    scheme.Attach(parts.lpszScheme, parts.dwSchemeLength, nCapacity);
    host.Attach(parts.lpszHostName, parts.dwHostNameLength, nCapacity);
    user.Attach(parts.lpszUserName, parts.dwUserNameLength, nCapacity);
    password.Attach(parts.lpszPassword, parts.dwPasswordLength, nCapacity);
    path.Attach(parts.lpszUrlPath, parts.dwUrlPathLength, nCapacity);
    extra.Attach(parts.lpszExtraInfo, parts.dwExtraInfoLength, nCapacity);
    if (!InternetCrackUrlW(Wide(url), 0, 0, &parts))
        return false;

    components.strScheme = CComponentBuffer::Text(parts.lpszScheme, parts.dwSchemeLength);
    components.nScheme = static_cast<int32_t>(parts.nScheme);
    components.strHost = CComponentBuffer::Text(parts.lpszHostName, parts.dwHostNameLength);
    components.nPort = parts.nPort;
    components.strUser = CComponentBuffer::Text(parts.lpszUserName, parts.dwUserNameLength);
    components.strPassword = CComponentBuffer::Text(parts.lpszPassword, parts.dwPasswordLength);
    components.strPath = CComponentBuffer::Text(parts.lpszUrlPath, parts.dwUrlPathLength);
    components.strExtra = CComponentBuffer::Text(parts.lpszExtraInfo, parts.dwExtraInfoLength);
    return true;
}

}  // namespace zu::platform
