#include "platform/Text.h"

#include <zureader/TextConversion.h>

namespace zu::platform {

std::string Utf8FromUtf16(const char16_t* pText, size_t nLength)
{
    return zureader::Utf8FromUtf16(std::u16string_view(pText, nLength));
}

std::string Utf8FromUtf16(const std::u16string& text)
{
    return zureader::Utf8FromUtf16(text);
}

std::u16string Utf16FromUtf8(const std::string& text)
{
    return zureader::Utf16FromUtf8(text);
}

}  // namespace zu::platform
