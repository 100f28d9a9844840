#include "net/SocketText.h"

#include "platform/Text.h"

#include <algorithm>

namespace zu {

std::string NarrowText(const ZUCHAR* pszText)
{
    return pszText ? platform::AnsiFromUtf16(reinterpret_cast<const char16_t*>(pszText)) : std::string();
}

void CopyNarrowText(const std::string& text, ZUCHAR* pszText, uint32_t nCapacity)
{
    if (!pszText || nCapacity == 0)
        return;
    const size_t nCopied = std::min<size_t>(text.size(), nCapacity - 1);
    for (size_t i = 0; i < nCopied; ++i)
        pszText[i] = static_cast<ZUCHAR>(static_cast<unsigned char>(text[i]));
    pszText[nCopied] = 0;
}

}  // namespace zu
