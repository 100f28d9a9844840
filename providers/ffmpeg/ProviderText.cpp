#include "ProviderText.h"

#include <zureader/TextConversion.h>

std::string CProviderText::ToUtf8(const ZUCHAR* psz) {
    return psz ? zureader::Utf8FromUtf16(psz) : std::string();
}

uint32_t CProviderText::CopyOut(const std::string& sValue, ZUCHAR* pszOut, uint32_t nCapacity) {
    std::u16string s = zureader::Utf16FromUtf8(sValue);
    if (pszOut && s.size() + 1 <= nCapacity) {
        s.copy(pszOut, s.size());
        pszOut[s.size()] = 0;
    }
    return static_cast<uint32_t>(s.size());
}
