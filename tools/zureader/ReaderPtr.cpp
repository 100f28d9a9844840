#include "ReaderPtr.h"

namespace zucli {

std::u16string TakeInfo(ZUBSTR bstr)
{
    std::u16string text = bstr ? std::u16string(reinterpret_cast<const char16_t*>(bstr)) : std::u16string();
    ZUFreeString(bstr);
    return text;
}

CReaderPtr MakeReader(const std::u16string& location)
{
    return CReaderPtr(GetLocalReader(Z(location)));
}

}  // namespace zucli
