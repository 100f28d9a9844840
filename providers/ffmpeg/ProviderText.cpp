#include "ProviderText.h"

std::string CProviderText::ToUtf8(const ZUCHAR* psz) {
    std::string s;
    if (!psz) return s;
    for (; *psz; ++psz) {
        uint32_t c = static_cast<uint16_t>(*psz);
        if (c >= 0xD800 && c < 0xDC00 && psz[1] >= 0xDC00 && psz[1] < 0xE000) {
            c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<uint16_t>(psz[1]) - 0xDC00);
            ++psz;
        }
        if (c < 0x80) {
            s += static_cast<char>(c);
        } else if (c < 0x800) {
            s += static_cast<char>(0xC0 | (c >> 6));
            s += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            s += static_cast<char>(0xE0 | (c >> 12));
            s += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            s += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            s += static_cast<char>(0xF0 | (c >> 18));
            s += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            s += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            s += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return s;
}

uint32_t CProviderText::CopyOut(const std::string& sValue, ZUCHAR* pszOut, uint32_t nCapacity) {
    // Values are kept as UTF-8 (a path keeps the characters it was given in).
    std::u16string s;
    for (size_t i = 0; i < sValue.size();) {
        unsigned char b = static_cast<unsigned char>(sValue[i]);
        uint32_t c = b;
        size_t n = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
        if (n > 1) c = b & (0xFF >> (n + 1));
        for (size_t k = 1; k < n && i + k < sValue.size(); ++k) c = (c << 6) | (sValue[i + k] & 0x3F);
        i += n;
        if (c >= 0x10000) {
            s += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            s += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            s += static_cast<char16_t>(c);
        }
    }
    if (pszOut && s.size() + 1 <= nCapacity) {
        s.copy(reinterpret_cast<char16_t*>(pszOut), s.size());
        pszOut[s.size()] = 0;
    }
    return static_cast<uint32_t>(s.size());
}
