// System-string seam: the caller-owned texts GetInfo returns (BSTR on Windows, a BSTR-shaped block
// made by the library's own helpers elsewhere).
#pragma once

#include <zureader/Types.h>

#include <string>

namespace zu::platform {

ZUBSTR AllocSystemString(const char16_t* pText, size_t nLength);
void FreeSystemString(ZUBSTR bstr);
size_t SystemStringLength(ZUBSTR bstr);

inline ZUBSTR AllocSystemString(const std::u16string& text)
{
    return AllocSystemString(text.data(), text.size());
}

}  // namespace zu::platform
