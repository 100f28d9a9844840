#include "platform/SystemString.h"

#include <zureader/ZUReader.h>

#include <cstdlib>
#include <cstring>

namespace zu::platform {

// Layout: 32-bit byte length, the characters, a zero character; the pointer handed out points at
// the characters, as a BSTR does.
ZUBSTR AllocSystemString(const char16_t* pText, size_t nLength)
{
    if (nLength > (UINT32_MAX - 8) / sizeof(char16_t))
        return nullptr;
    const uint32_t nBytes = static_cast<uint32_t>(nLength * sizeof(char16_t));
    auto* pBlock = static_cast<unsigned char*>(std::malloc(sizeof(uint32_t) + nBytes + sizeof(char16_t)));
    if (!pBlock)
        return nullptr;
    std::memcpy(pBlock, &nBytes, sizeof(nBytes));
    auto* pChars = reinterpret_cast<char16_t*>(pBlock + sizeof(uint32_t));
    if (pText && nBytes)
        std::memcpy(pChars, pText, nBytes);
    else if (nBytes)
        std::memset(pChars, 0, nBytes);
    pChars[nLength] = u'\0';
    return pChars;
}

void FreeSystemString(ZUBSTR bstr)
{
    if (bstr)
        std::free(reinterpret_cast<unsigned char*>(bstr) - sizeof(uint32_t));
}

size_t SystemStringLength(ZUBSTR bstr)
{
    if (!bstr)
        return 0;
    uint32_t nBytes;
    std::memcpy(&nBytes, reinterpret_cast<unsigned char*>(bstr) - sizeof(uint32_t), sizeof(nBytes));
    return nBytes / sizeof(char16_t);
}

}  // namespace zu::platform

ZUBSTR ZUSysAllocString(const ZUCHAR* psz)
{
    if (!psz)
        return nullptr;
    return zu::platform::AllocSystemString(psz, std::char_traits<char16_t>::length(psz));
}

ZUBSTR ZUSysAllocStringLen(const ZUCHAR* pch, uint32_t nChars)
{
    return zu::platform::AllocSystemString(pch, nChars);
}

void ZUSysFreeString(ZUBSTR bstr)
{
    zu::platform::FreeSystemString(bstr);
}

uint32_t ZUSysStringLen(ZUBSTR bstr)
{
    return static_cast<uint32_t>(zu::platform::SystemStringLength(bstr));
}
