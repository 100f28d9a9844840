#include "platform/LargeMemory.h"

#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

namespace zu::platform {
namespace {

constexpr size_t kHugePage = 2u << 20;

}  // namespace

// Huge pages back only whole, aligned 2 MiB stretches: the block is cut out of a mapping one such
// page larger, and the ends around it are given back at once.
bool CLargeMemory::Allocate(size_t nBytes)
{
    Release();
    if (nBytes == 0 || nBytes > SIZE_MAX - kHugePage)
        return false;
    const size_t nMapped = nBytes < kHugePage ? nBytes : nBytes + kHugePage;
    void* pMapped = mmap(nullptr, nMapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pMapped == MAP_FAILED)
        return false;
    const auto nStart = reinterpret_cast<uintptr_t>(pMapped);
    const uintptr_t nAligned = nMapped == nBytes ? nStart : (nStart + kHugePage - 1) & ~(uintptr_t{kHugePage} - 1);
    if (nAligned > nStart)
        munmap(pMapped, nAligned - nStart);
    // The tail starts on the page after the block's last byte: munmap takes whole pages only.
    const size_t nPage = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const uintptr_t nTail = (nAligned + nBytes + nPage - 1) & ~(uintptr_t{nPage} - 1);
    if (nTail < nStart + nMapped)
        munmap(reinterpret_cast<void*>(nTail), nStart + nMapped - nTail);
    m_pData = reinterpret_cast<unsigned char*>(nAligned);
    m_nBytes = nBytes;
    madvise(m_pData, m_nBytes, MADV_HUGEPAGE);  // a hint: without it the block still works
    return true;
}

void CLargeMemory::Release()
{
    if (m_pData)
        munmap(m_pData, m_nBytes);
    m_pData = nullptr;
    m_nBytes = 0;
}

}  // namespace zu::platform
