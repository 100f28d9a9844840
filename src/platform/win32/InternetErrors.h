// The system's failures as the error numbers the seam promises. WinINet's own numbers pass as they
// are; the socket errors that Wine lets out where Windows reports a WinINet error become that error.
#pragma once

#include "platform/InternetBackend.h"

#include <cstdint>

namespace zu::platform {

// What a failed WinINet call left in GetLastError, as the seam's number.
uint32_t InternetErrorFromSystem(uint32_t nSystemError);

}  // namespace zu::platform
