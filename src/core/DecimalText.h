// CDecimalText: numbers in texts that servers and options supply, read the way C's atoi reads
// them (leading white space, a sign, the digits up to the first other character; nothing counts as 0),
// held to the range of the result instead of wrapping.
#pragma once

#include <cstdint>
#include <string>

class CDecimalText {
public:
    static int32_t ToInt32(const std::u16string& text);
    // Lengths and positions of resources past 2 GiB.
    static int64_t ToInt64(const std::u16string& text);

private:
    static int64_t Clamped(const std::u16string& text, uint64_t nNegativeLimit, uint64_t nPositiveLimit);
};
