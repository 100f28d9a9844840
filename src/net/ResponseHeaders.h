// CResponseHeaders: a response's headers by property name ("ContentType", "AllHeaders", or any
// header's own name), with every instance of a repeated header joined by ", ".
#pragma once

#include "platform/Internet.h"

#include <cstdint>
#include <string>

class CResponseHeaders {
public:
    // Empty when the request has no such header (or no response yet).
    static std::u16string Lookup(zu::platform::InternetHandle hRequest, const std::u16string& name);

    // The information level a property name stands for; INET_QUERY_CUSTOM for a header's own name.
    static uint32_t LevelOf(const std::u16string& name);
};
