#include "platform/Text.h"

#include "platform/win32/Wide.h"

#include <windows.h>

namespace zu::platform {
namespace {

std::string ConvertToAnsi(const std::u16string& text, DWORD nFlags)
{
    const int nLength = static_cast<int>(text.size());
    const int nBytes = WideCharToMultiByte(CP_ACP, nFlags, Wide(text), nLength, nullptr, 0, nullptr, nullptr);
    if (nBytes <= 0)
        return {};
    std::string out(static_cast<size_t>(nBytes), '\0');
    WideCharToMultiByte(CP_ACP, nFlags, Wide(text), nLength, out.data(), nBytes, nullptr, nullptr);
    return out;
}

}  // namespace

uint32_t AnsiCodePage()
{
    return GetACP();
}

// Without best fit: it would turn the infinity sign into "8" and a full-width solidus into "/",
// changing what the text says (and what a path means); a character the code page lacks becomes "?",
// as on the other systems.
std::string AnsiFromUtf16(const std::u16string& text)
{
    if (text.empty())
        return {};
    std::string out = ConvertToAnsi(text, WC_NO_BEST_FIT_CHARS);
    // A UTF-8 system code page refuses the flag, and has a byte sequence for every character anyway.
    if (out.empty() && GetLastError() == ERROR_INVALID_FLAGS)
        out = ConvertToAnsi(text, 0);
    return out;
}

}  // namespace zu::platform
