#include "platform/Text.h"

#include "platform/win32/Wide.h"

#include <windows.h>

namespace zu::platform {

std::string AnsiFromUtf16(const std::u16string& text)
{
    if (text.empty())
        return {};
    const int nLength = static_cast<int>(text.size());
    const int nBytes = WideCharToMultiByte(CP_ACP, 0, Wide(text), nLength, nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<size_t>(nBytes > 0 ? nBytes : 0), '\0');
    if (nBytes > 0)
        WideCharToMultiByte(CP_ACP, 0, Wide(text), nLength, out.data(), nBytes, nullptr, nullptr);
    return out;
}

}  // namespace zu::platform
