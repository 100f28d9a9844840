// The part of the Internet seam that reads the same over either backend.
#include "platform/Internet.h"

#include "platform/InternetBackend.h"

#include <cstdint>

namespace zu::platform {
namespace {

thread_local uint32_t t_nLastError = 0;
thread_local uint32_t t_nLastReplyCode = 0;
thread_local std::u16string t_LastReplyText;

}  // namespace

bool FailInternet(uint32_t nError)
{
    t_nLastError = nError;
    return false;
}

void SetInternetLastError(uint32_t nError)
{
    t_nLastError = nError;
}

uint32_t InternetLastError()
{
    return t_nLastError;
}

void SetLastFtpReply(uint32_t nCode, const std::u16string& text)
{
    t_nLastReplyCode = nCode;
    t_LastReplyText = text;
}

bool GetInternetLastResponse(uint32_t& nError, std::u16string& text)
{
    nError = t_nLastReplyCode;
    text = t_LastReplyText;
    return true;
}

int64_t LeadingDecimal(const std::u16string& text)
{
    int64_t nValue = -1;
    for (char16_t c : text) {
        if (c < u'0' || c > u'9')
            break;
        const int nDigit = c - u'0';
        if (nValue > (INT64_MAX - nDigit) / 10)
            return -1;
        nValue = (nValue < 0 ? 0 : nValue * 10) + nDigit;
    }
    return nValue;
}

bool QueryHttpInfoNumber(InternetHandle hRequest, uint32_t infoLevel, uint32_t& value, uint32_t* pIndex,
                         const std::u16string& customName)
{
    std::u16string text;
    if (!QueryHttpInfo(hRequest, infoLevel & ~INET_QUERY_FLAG_NUMBER, text, pIndex, customName))
        return false;
    // Leading decimal digits, as the system's own conversion reads them.
    const int64_t nNumber = LeadingDecimal(text);
    value = nNumber < 0 ? 0 : static_cast<uint32_t>(nNumber);
    return true;
}

int64_t InternetFilePointerTarget(int64_t nDistance, uint32_t nMethod, int64_t nPosition, int64_t nLength)
{
    if (nMethod == INET_FILE_END && nLength < 0) {
        FailInternet(INET_ERROR_INVALID_OPERATION);
        return -1;
    }
    int64_t nTarget = -1;
    bool bOverflow = false;
    if (nMethod == INET_FILE_BEGIN)
        nTarget = nDistance;
    else if (nMethod == INET_FILE_CURRENT)
        bOverflow = __builtin_add_overflow(nPosition, nDistance, &nTarget);
    else if (nMethod == INET_FILE_END)
        bOverflow = __builtin_add_overflow(nLength, nDistance, &nTarget);
    if (bOverflow || nTarget < 0 || (nLength >= 0 && nTarget > nLength)) {
        FailInternet(INET_ERROR_INVALID_PARAMETER);
        return -1;
    }
    return nTarget;
}

}  // namespace zu::platform
