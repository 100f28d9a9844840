#include "platform/win32/InternetErrors.h"

#include "platform/Internet.h"
#include "platform/win32/Wide.h"

#include <winsock2.h>
#include <windows.h>

#include <memory>

namespace zu::platform {
namespace {

struct CLocalFree {
    void operator()(wchar_t* pText) const { LocalFree(pText); }
};

// Message-table texts end with a line break; the seam gives one line.
std::u16string OneLine(const wchar_t* pszText)
{
    std::u16string text = FromWide(pszText);
    for (char16_t& c : text) {
        if (c == u'\r' || c == u'\n')
            c = u' ';
    }
    const size_t nEnd = text.find_last_not_of(u' ');
    return nEnd == std::u16string::npos ? std::u16string() : text.substr(0, nEnd + 1);
}

}  // namespace

uint32_t InternetErrorFromSystem(uint32_t nSystemError)
{
    switch (nSystemError) {
    case WSAETIMEDOUT:
        return INET_ERROR_TIMEOUT;
    case WSAECONNREFUSED:
    case WSAENETUNREACH:
    case WSAEHOSTUNREACH:
        return INET_ERROR_CANNOT_CONNECT;
    case WSAECONNABORTED:
        return INET_ERROR_CONNECTION_ABORTED;
    case WSAECONNRESET:
        return INET_ERROR_CONNECTION_RESET;
    case WSAHOST_NOT_FOUND:
    case WSANO_DATA:
        return INET_ERROR_NAME_NOT_RESOLVED;
    default:
        return nSystemError;
    }
}

std::u16string InternetErrorText(uint32_t nError)
{
    const HMODULE hWinInet = GetModuleHandleW(L"wininet.dll");
    if (!hWinInet)
        return std::u16string();
    wchar_t* pszText = nullptr;
    const DWORD nLength = FormatMessageW(
        FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS, hWinInet,
        nError, 0, reinterpret_cast<wchar_t*>(&pszText), 0, nullptr);
    const std::unique_ptr<wchar_t, CLocalFree> pOwned(pszText);
    return nLength == 0 || !pszText ? std::u16string() : OneLine(pszText);
}

}  // namespace zu::platform
