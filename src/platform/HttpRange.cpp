#include "platform/HttpRange.h"

#include <cinttypes>
#include <cstdio>

namespace zu::platform {

std::string RangeRequestValue(int64_t nFirst, int64_t nLast)
{
    char text[64];
    if (nLast >= 0)
        std::snprintf(text, sizeof(text), "bytes=%" PRId64 "-%" PRId64, nFirst, nLast);
    else
        std::snprintf(text, sizeof(text), "bytes=%" PRId64 "-", nFirst);
    return text;
}

bool ParseContentRange(const std::string& value, int64_t& nFirst, int64_t& nLast)
{
    long long first = 0, last = 0;
    if (std::sscanf(value.c_str(), "bytes %lld-%lld", &first, &last) != 2 || first < 0 || last < first)
        return false;
    nFirst = first;
    nLast = last;
    return true;
}

}  // namespace zu::platform
