#include "net/ResponseHeaders.h"

using namespace zu::platform;

uint32_t CResponseHeaders::LevelOf(const std::u16string& name)
{
    static const struct {
        const char16_t* pszName;
        uint32_t nLevel;
    } kLevels[] = {
        {u"StatusCode", INET_QUERY_STATUS_CODE},
        {u"StatusText", INET_QUERY_STATUS_TEXT},
        {u"AllHeaders", INET_QUERY_RAW_HEADERS_CRLF},
        {u"ContentType", INET_QUERY_CONTENT_TYPE},
        {u"ContentEncoding", INET_QUERY_CONTENT_ENCODING},
        {u"ContentLength", INET_QUERY_CONTENT_LENGTH},
        {u"Location", INET_QUERY_LOCATION},
    };
    for (const auto& entry : kLevels) {
        if (name == entry.pszName)
            return entry.nLevel;
    }
    return INET_QUERY_CUSTOM;
}

// Header levels step the index to the next instance; levels that are not instances (the status,
// the raw headers) leave it alone, and then one answer is the whole answer.
std::u16string CResponseHeaders::Lookup(InternetHandle hRequest, const std::u16string& name)
{
    const uint32_t nLevel = LevelOf(name);
    const std::u16string customName = nLevel == INET_QUERY_CUSTOM ? name : std::u16string();
    std::u16string result;
    bool bFoundAny = false;
    uint32_t nIndex = 0;
    for (;;) {
        const uint32_t nAsked = nIndex;
        std::u16string value;
        if (!QueryHttpInfo(hRequest, nLevel, value, &nIndex, customName)) {
            const bool bPastLast = bFoundAny && InternetLastError() == INET_ERROR_HTTP_HEADER_NOT_FOUND;
            return bPastLast ? result : std::u16string();
        }
        // Every instance takes its place, an empty one too, so the count of instances shows.
        if (bFoundAny)
            result += u", ";
        result += value;
        bFoundAny = true;
        if (nIndex == nAsked)
            return result;
    }
}
