// Texts across the provider boundary: the library passes and takes zero-terminated UTF-16,
// FFmpeg wants UTF-8 paths.
#pragma once

#include <zureader/Types.h>

#include <string>

class CProviderText {
public:
    static std::string ToUtf8(const ZUCHAR* psz);
    // Copies sValue with its terminator into pszOut when it fits; answers its length in characters.
    static uint32_t CopyOut(const std::string& sValue, ZUCHAR* pszOut, uint32_t nCapacity);
    // "Key=Value;Key=Value": calls fnPair for each pair; false when a part has no "=" or fnPair
    // refuses one.
    template <typename F>
    static bool ForEachPair(const std::string& sText, F fnPair);
};

template <typename F>
bool CProviderText::ForEachPair(const std::string& sText, F fnPair) {
    size_t nPos = 0;
    while (nPos <= sText.size()) {
        size_t nEnd = sText.find(';', nPos);
        if (nEnd == std::string::npos) nEnd = sText.size();
        std::string sPart = sText.substr(nPos, nEnd - nPos);
        nPos = nEnd + 1;
        if (sPart.find_first_not_of(" \t") == std::string::npos) continue;
        size_t nEq = sPart.find('=');
        if (nEq == std::string::npos || !fnPair(sPart.substr(0, nEq), sPart.substr(nEq + 1))) return false;
    }
    return true;
}
