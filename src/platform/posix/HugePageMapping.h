// Mappings placed for huge pages, which back only whole, aligned 2 MiB stretches: touching a
// buffer of a hundred megabytes for the first time then costs dozens of page faults instead of
// tens of thousands.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

namespace zu::platform {

constexpr size_t kHugePage = 2u << 20;

// mmap of nBytes at an address on a huge-page boundary: the mapping goes over the aligned part of
// an address range one huge page larger, and the ends around it are given back. A mapping smaller
// than a huge page is placed wherever the system likes. MAP_FAILED, with errno, on failure.
inline void* MapOnHugePageBoundary(size_t nBytes, int nProtection, int nFlags, int fd)
{
    if (nBytes < kHugePage)
        return mmap(nullptr, nBytes, nProtection, nFlags, fd, 0);
    if (nBytes > SIZE_MAX - kHugePage) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    const size_t nReserved = nBytes + kHugePage;
    void* pReserved = mmap(nullptr, nReserved, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (pReserved == MAP_FAILED)
        return MAP_FAILED;
    const auto nStart = reinterpret_cast<uintptr_t>(pReserved);
    const uintptr_t nAligned = (nStart + kHugePage - 1) & ~(uintptr_t{kHugePage} - 1);
    void* pMapped = mmap(reinterpret_cast<void*>(nAligned), nBytes, nProtection, nFlags | MAP_FIXED, fd, 0);
    if (pMapped == MAP_FAILED) {
        const int nError = errno;
        munmap(pReserved, nReserved);
        errno = nError;
        return MAP_FAILED;
    }
    if (nAligned > nStart)
        munmap(pReserved, nAligned - nStart);
    // The tail starts on the page after the mapping's last byte: munmap takes whole pages only.
    const size_t nPage = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const uintptr_t nTail = (nAligned + nBytes + nPage - 1) & ~(uintptr_t{nPage} - 1);
    if (nTail < nStart + nReserved)
        munmap(reinterpret_cast<void*>(nTail), nStart + nReserved - nTail);
    return pMapped;
}

}  // namespace zu::platform
