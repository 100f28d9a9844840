#include "platform/LargeMemory.h"

#include <windows.h>

namespace zu::platform {

// Large pages need a privilege that hosts do not hold; committed pages are zeroed on first touch.
bool CLargeMemory::Allocate(size_t nBytes)
{
    Release();
    if (nBytes == 0)
        return false;
    m_pData = static_cast<unsigned char*>(VirtualAlloc(nullptr, nBytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    m_nBytes = m_pData ? nBytes : 0;
    return m_pData != nullptr;
}

void CLargeMemory::Release()
{
    if (m_pData)
        VirtualFree(m_pData, 0, MEM_RELEASE);
    m_pData = nullptr;
    m_nBytes = 0;
}

}  // namespace zu::platform
