// The library's UTF-16 texts and the Win32 wide-character API share one representation.
#pragma once

#include <string>

namespace zu::platform {

inline const wchar_t* Wide(const std::u16string& text)
{
    return reinterpret_cast<const wchar_t*>(text.c_str());
}

// Null for an empty text, which the system's calls read as "none" or "the default".
inline const wchar_t* WideOrNull(const std::u16string& text)
{
    return text.empty() ? nullptr : Wide(text);
}

inline std::u16string FromWide(const wchar_t* psz)
{
    return psz ? std::u16string(reinterpret_cast<const char16_t*>(psz)) : std::u16string();
}

}  // namespace zu::platform
