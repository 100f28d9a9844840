// The two texts of an HTTP byte range that both Internet backends write and read when they fetch
// the rest of a body anew: the "Range" request value and the "Content-Range" answer.
#pragma once

#include <cstdint>
#include <string>

namespace zu::platform {

// "bytes=FIRST-LAST", or "bytes=FIRST-" (to the end) when nLast is negative.
std::string RangeRequestValue(int64_t nFirst, int64_t nLast);

// "bytes FIRST-LAST/TOTAL"; false when the header says something else.
bool ParseContentRange(const std::string& value, int64_t& nFirst, int64_t& nLast);

}  // namespace zu::platform
