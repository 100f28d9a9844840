#include "platform/Text.h"

namespace zu::platform {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool IsLowSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

void AppendUtf8(std::string& out, char32_t c)
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

void AppendUtf16(std::u16string& out, char32_t c)
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
char32_t DecodeUtf8(const std::string& text, size_t& i)
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

}  // namespace

std::string Utf8FromUtf16(const char16_t* pText, size_t nLength)
{
    std::string out;
    out.reserve(nLength);
    for (size_t i = 0; i < nLength; ++i) {
        char32_t c = pText[i];
        if (IsHighSurrogate(c) && i + 1 < nLength && IsLowSurrogate(pText[i + 1])) {
            c = 0x10000 + ((c - 0xD800) << 10) + (pText[i + 1] - 0xDC00);
            ++i;
        } else if (IsHighSurrogate(c) || IsLowSurrogate(c)) {
            c = kReplacement;
        }
        AppendUtf8(out, c);
    }
    return out;
}

std::string Utf8FromUtf16(const std::u16string& text)
{
    return Utf8FromUtf16(text.data(), text.size());
}

std::u16string Utf16FromUtf8(const std::string& text)
{
    std::u16string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();)
        AppendUtf16(out, DecodeUtf8(text, i));
    return out;
}

}  // namespace zu::platform
