#include "platform/Text.h"

namespace zu::platform {
namespace {

constexpr uint32_t kWindowsLatin1 = 1252;

// Windows-1252 bytes 0x80-0x9F. The five positions the code page leaves unassigned carry the C1
// controls of the same value, as the Windows conversion tables do, so such bytes survive a round
// trip on both systems.
constexpr char16_t kCp1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

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

}  // namespace

uint32_t AnsiCodePage()
{
    return kWindowsLatin1;
}

// Unit by unit, as Windows converts to a single-byte code page: a surrogate pair, having no byte,
// becomes "??".
std::string AnsiFromUtf16(const std::u16string& text)
{
    std::string out;
    out.reserve(text.size());
    for (const char16_t c : text)
        out += ToCp1252(c);
    return out;
}

}  // namespace zu::platform
