#include "host/Base64.h"

namespace zu::host {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int ValueOf(char c)
{
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (c >= '0' && c <= '9')
        return c - '0' + 52;
    if (c == '+')
        return 62;
    if (c == '/')
        return 63;
    return -1;
}

}  // namespace

std::string CBase64::Encode(const std::string& bytes, size_t nLineLength)
{
    std::string text;
    size_t nLine = 0;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        if (nLineLength > 0 && nLine >= nLineLength) {
            text += '\n';
            nLine = 0;
        }
        const size_t nTake = bytes.size() - i < 3 ? bytes.size() - i : 3;
        uint32_t group = 0;
        for (size_t k = 0; k < 3; ++k)
            group = (group << 8) | (k < nTake ? static_cast<unsigned char>(bytes[i + k]) : 0);
        for (size_t k = 0; k < 4; ++k)
            text += k <= nTake ? kAlphabet[(group >> (18 - 6 * k)) & 0x3F] : '=';
        nLine += 4;
    }
    return text;
}

bool CBase64::Decode(const std::string& text, std::string& bytes)
{
    std::string out;
    uint32_t group = 0;
    int nBits = 0;
    size_t nPadding = 0;
    for (char c : text) {
        if (c == '\n' || c == '\r')
            continue;
        if (c == '=') {
            ++nPadding;
            continue;
        }
        const int value = ValueOf(c);
        if (value < 0 || nPadding > 0)
            return false;
        group = (group << 6) | static_cast<uint32_t>(value);
        nBits += 6;
        if (nBits >= 8) {
            nBits -= 8;
            out += static_cast<char>((group >> nBits) & 0xFF);
        }
    }
    if (nPadding > 2 || nBits >= 6)
        return false;
    bytes = std::move(out);
    return true;
}

}  // namespace zu::host
