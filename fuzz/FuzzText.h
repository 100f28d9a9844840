// Turns fuzzer bytes into the UTF-16 texts the library takes, and stops the run loudly when a
// promise is broken.
#pragma once

#include "platform/Text.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace zufuzz {

// A first byte with its low bit set asks for raw UTF-16 code units (lone surrogates and zero
// characters included); otherwise the rest is UTF-8, which lets the fuzzer build ASCII structure
// quickly.
inline std::u16string TextOf(const uint8_t* pData, size_t nSize)
{
    if (nSize == 0)
        return std::u16string();
    if (pData[0] & 1) {
        std::u16string text;
        for (size_t i = 1; i + 1 < nSize; i += 2)
            text += static_cast<char16_t>(pData[i] | (pData[i + 1] << 8));
        return text;
    }
    return zu::platform::Utf16FromUtf8(std::string(reinterpret_cast<const char*>(pData) + 1, nSize - 1));
}

inline void Require(bool bHolds, const char* pszPromise, const std::u16string& text)
{
    if (bHolds)
        return;
    std::fprintf(stderr, "broken: %s\ninput: %s\n", pszPromise, zu::platform::Utf8FromUtf16(text).c_str());
    std::abort();
}

}  // namespace zufuzz
