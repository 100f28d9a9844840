#include "platform/SystemString.h"

#include <windows.h>
#include <oleauto.h>

namespace zu::platform {

ZUBSTR AllocSystemString(const char16_t* pText, size_t nLength)
{
    return SysAllocStringLen(reinterpret_cast<const OLECHAR*>(pText), static_cast<UINT>(nLength));
}

void FreeSystemString(ZUBSTR bstr)
{
    SysFreeString(bstr);
}

size_t SystemStringLength(ZUBSTR bstr)
{
    return SysStringLen(bstr);
}

}  // namespace zu::platform
