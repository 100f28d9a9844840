// UTF-8 / UTF-16 conversion for hosts: a host on Linux gets its arguments and file names as UTF-8
// and hands the library char16_t text (ZUCHAR), and the library's own conversions are these.
// Header-only, so using it links nothing.
#pragma once

#include <string>
#include <string_view>

namespace zureader {
namespace detail {

constexpr char32_t kReplacement = 0xFFFD;

inline bool IsHighSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
inline bool IsLowSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

inline void AppendUtf8(std::string& out, char32_t c)
{
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

inline void AppendUtf16(std::u16string& out, char32_t c)
{
    if (c < 0x10000) {
        out += static_cast<char16_t>(c);
    } else {
        c -= 0x10000;
        out += static_cast<char16_t>(0xD800 | (c >> 10));
        out += static_cast<char16_t>(0xDC00 | (c & 0x3FF));
    }
}

// Decodes one UTF-8 sequence at text[i], advancing i; overlong forms, surrogates and values above
// U+10FFFF are malformed.
inline char32_t DecodeUtf8(std::string_view text, size_t& i)
{
    const auto lead = static_cast<unsigned char>(text[i++]);
    if (lead < 0x80)
        return lead;
    int nTrail;
    char32_t c;
    char32_t minimum;
    if ((lead & 0xE0) == 0xC0) {
        nTrail = 1, c = lead & 0x1F, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        nTrail = 2, c = lead & 0x0F, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        nTrail = 3, c = lead & 0x07, minimum = 0x10000;
    } else {
        return kReplacement;
    }
    for (int n = 0; n < nTrail; ++n) {
        if (i >= text.size() || (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80)
            return kReplacement;
        c = (c << 6) | (static_cast<unsigned char>(text[i++]) & 0x3F);
    }
    if (c < minimum || c > 0x10FFFF || IsHighSurrogate(c) || IsLowSurrogate(c))
        return kReplacement;
    return c;
}

}  // namespace detail

// Surrogate pairs become one 4-byte sequence; a lone surrogate becomes U+FFFD (EF BF BD), so the
// output is always valid UTF-8.
inline std::string Utf8FromUtf16(std::u16string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (detail::IsHighSurrogate(c) && i + 1 < text.size() && detail::IsLowSurrogate(text[i + 1])) {
            c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (detail::IsHighSurrogate(c) || detail::IsLowSurrogate(c)) {
            c = detail::kReplacement;
        }
        detail::AppendUtf8(out, c);
    }
    return out;
}

// Malformed sequences become U+FFFD; code points above U+FFFF become surrogate pairs.
inline std::u16string Utf16FromUtf8(std::string_view text)
{
    std::u16string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();)
        detail::AppendUtf16(out, detail::DecodeUtf8(text, i));
    return out;
}

}  // namespace zureader
