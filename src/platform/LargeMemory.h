// Large-memory seam: private memory for one big buffer straight from the system, in the largest
// pages it gives without privileges (transparent huge pages on Linux), so that touching a buffer of
// a hundred megabytes for the first time costs dozens of page faults instead of tens of thousands.
#pragma once

#include <cstddef>

namespace zu::platform {

// Owns one block; given back on destruction. The memory starts zeroed.
class CLargeMemory {
public:
    CLargeMemory() = default;
    ~CLargeMemory() { Release(); }
    CLargeMemory(const CLargeMemory&) = delete;
    CLargeMemory& operator=(const CLargeMemory&) = delete;

    // False, with nothing held, when the system has no such block (or nBytes is 0).
    bool Allocate(size_t nBytes);
    void Release();

    unsigned char* Data() const { return m_pData; }
    size_t Size() const { return m_nBytes; }

private:
    unsigned char* m_pData = nullptr;
    size_t m_nBytes = 0;
};

}  // namespace zu::platform
