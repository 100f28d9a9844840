// Text seam: UTF-8 / UTF-16 conversion (the library's own, the same on every system) and the
// system's ANSI code page.
#pragma once

#include <cstdint>
#include <string>

namespace zu::platform {

// Surrogate pairs become one 4-byte sequence; a lone surrogate becomes U+FFFD (EF BF BD), so the
// output is always valid UTF-8.
std::string Utf8FromUtf16(const std::u16string& text);
std::string Utf8FromUtf16(const char16_t* pText, size_t nLength);
// Malformed sequences become U+FFFD; code points above U+FFFF become surrogate pairs.
std::u16string Utf16FromUtf8(const std::string& text);
// The system's ANSI code page: CP_ACP on Windows, Windows-1252 elsewhere; "?" for every UTF-16 unit
// it has no byte for (no best-fit look-alikes), so a surrogate pair becomes "??".
std::string AnsiFromUtf16(const std::u16string& text);
// The number of that code page (1252 for Windows-1252).
uint32_t AnsiCodePage();

}  // namespace zu::platform
