#include "core/DecimalText.h"

#include <limits>

int32_t CDecimalText::ToInt32(const std::u16string& text)
{
    return static_cast<int32_t>(Clamped(text, static_cast<uint64_t>(INT32_MAX) + 1, INT32_MAX));
}

int64_t CDecimalText::ToInt64(const std::u16string& text)
{
    return Clamped(text, static_cast<uint64_t>(INT64_MAX) + 1, INT64_MAX);
}

// The magnitude is gathered unsigned and held at the limit, so no digit count can overflow it.
int64_t CDecimalText::Clamped(const std::u16string& text, uint64_t nNegativeLimit, uint64_t nPositiveLimit)
{
    size_t i = 0;
    while (i < text.size() && (text[i] == u' ' || (text[i] >= u'\t' && text[i] <= u'\r')))
        ++i;
    const bool bNegative = i < text.size() && text[i] == u'-';
    if (i < text.size() && (text[i] == u'+' || text[i] == u'-'))
        ++i;
    const uint64_t nLimit = bNegative ? nNegativeLimit : nPositiveLimit;
    uint64_t nValue = 0;
    for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i) {
        const uint64_t nDigit = static_cast<uint64_t>(text[i] - u'0');
        nValue = nValue > (nLimit - nDigit) / 10 ? nLimit : nValue * 10 + nDigit;
    }
    if (!bNegative)
        return static_cast<int64_t>(nValue);
    return nValue == static_cast<uint64_t>(INT64_MAX) + 1 ? std::numeric_limits<int64_t>::min()
                                                          : -static_cast<int64_t>(nValue);
}
