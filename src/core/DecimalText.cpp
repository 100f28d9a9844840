#include "core/DecimalText.h"

#include <algorithm>

int32_t CDecimalText::ToInt32(const std::u16string& text)
{
    size_t i = 0;
    while (i < text.size() && (text[i] == u' ' || (text[i] >= u'\t' && text[i] <= u'\r')))
        ++i;
    const bool bNegative = i < text.size() && text[i] == u'-';
    if (i < text.size() && (text[i] == u'+' || text[i] == u'-'))
        ++i;
    const int64_t nLimit = bNegative ? -static_cast<int64_t>(INT32_MIN) : INT32_MAX;
    int64_t nValue = 0;
    for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i)
        nValue = std::min<int64_t>(nValue * 10 + (text[i] - u'0'), nLimit);
    return static_cast<int32_t>(bNegative ? -nValue : nValue);
}
