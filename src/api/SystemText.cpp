#include "api/SystemText.h"

#include "platform/SystemString.h"

#include <zureader/TextConversion.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace zu::api {

std::u16string TakeSystemString(ZUBSTR bstr)
{
    if (!bstr)
        return std::u16string();
    std::u16string text;
    try {
        text.assign(reinterpret_cast<const char16_t*>(bstr), platform::SystemStringLength(bstr));
    } catch (...) {
        platform::FreeSystemString(bstr);
        throw;
    }
    platform::FreeSystemString(bstr);
    return text;
}

std::u16string InfoOf(VReader& reader, const char16_t* pszName)
{
    return TakeSystemString(reader.GetInfo(reinterpret_cast<const ZUCHAR*>(pszName)));
}

char* CopyForHost(const std::u16string& text)
{
    const std::string utf8 = zureader::Utf8FromUtf16(text);
    auto* pszCopy = static_cast<char*>(std::malloc(utf8.size() + 1));
    if (!pszCopy)
        throw std::bad_alloc();
    std::memcpy(pszCopy, utf8.c_str(), utf8.size() + 1);
    return pszCopy;
}

}  // namespace zu::api
