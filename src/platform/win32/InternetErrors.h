// The calling thread's last Internet error and last FTP reply, and the system's failures as the
// error numbers the seam promises. WinINet's own numbers pass as they are; the socket errors that
// Wine lets out where Windows reports a WinINet error become that error.
#pragma once

#include <cstdint>
#include <string>

namespace zu::platform {

// Stores the error for InternetLastError() and returns false, so failures read "return Fail(...)".
bool FailInternet(uint32_t nError);
void SetInternetLastError(uint32_t nError);

// What a failed WinINet call left in GetLastError, as the seam's number.
uint32_t InternetErrorFromSystem(uint32_t nSystemError);

// The last FTP reply the calling thread was given (WinINet keeps it per thread, and the calls that
// produce it run on another thread).
void SetLastFtpReply(uint32_t nCode, const std::u16string& text);

}  // namespace zu::platform
