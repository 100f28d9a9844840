// CDecimalText: numbers in texts that servers and options supply, read the way C's atoi reads
// them (leading white space, a sign, the digits up to the first other character; nothing counts as 0),
// held to the 32-bit range instead of wrapping.
#pragma once

#include <cstdint>
#include <string>

class CDecimalText {
public:
    static int32_t ToInt32(const std::u16string& text);
};
