// An OVERLAPPED that names a file offset, for the calls that read, write or lock at one.
#pragma once

#include <windows.h>

#include <cstdint>

namespace zu::platform {

inline OVERLAPPED At(int64_t nOffset)
{
    OVERLAPPED at = {};
    at.Offset = static_cast<DWORD>(nOffset & 0xFFFFFFFF);
    at.OffsetHigh = static_cast<DWORD>(static_cast<uint64_t>(nOffset) >> 32);
    return at;
}

}  // namespace zu::platform
