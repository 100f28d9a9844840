#include "platform/LargeMemory.h"

#include "platform/posix/HugePageMapping.h"

#include <sys/mman.h>

namespace zu::platform {

bool CLargeMemory::Allocate(size_t nBytes)
{
    Release();
    if (nBytes == 0)
        return false;
    void* pMapped = MapOnHugePageBoundary(nBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1);
    if (pMapped == MAP_FAILED)
        return false;
    m_pData = static_cast<unsigned char*>(pMapped);
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
