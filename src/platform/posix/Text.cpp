#include "platform/Text.h"

namespace zu::platform {
namespace {

// Windows-1252 bytes 0x80-0x9F; 0 marks the five unassigned positions.
constexpr char16_t kCp1252High[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

char ToCp1252(char16_t c)
{
    if (c < 0x80 || (c >= 0xA0 && c <= 0xFF))
        return static_cast<char>(c);
    for (int i = 0; i < 32; ++i) {
        if (kCp1252High[i] == c)
            return static_cast<char>(0x80 + i);
    }
    return '?';
}

bool IsSurrogatePair(const std::u16string& text, size_t i)
{
    return text[i] >= 0xD800 && text[i] <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
           text[i + 1] <= 0xDFFF;
}

}  // namespace

std::string AnsiFromUtf16(const std::u16string& text)
{
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (IsSurrogatePair(text, i)) {
            ++i;  // one character, one replacement, as the Windows conversion does
            out += '?';
        } else {
            out += ToCp1252(text[i]);
        }
    }
    return out;
}

}  // namespace zu::platform
