#include "platform/SharedSection.h"

#include "platform/win32/Wide.h"

#include <windows.h>

namespace zu::platform {
namespace {

// Kernel object names may not hold a backslash after the namespace prefix.
std::u16string ObjectName(std::u16string name)
{
    for (char16_t& c : name) {
        if (c == u'\\')
            c = u'/';
    }
    return name;
}

}  // namespace

CSharedSection::~CSharedSection()
{
    Close();
}

bool CSharedSection::Open(const std::u16string& name, size_t nBytes, bool)
{
    Close();
    HANDLE hSection = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                         static_cast<DWORD>(nBytes), Wide(ObjectName(name)));
    if (!hSection)
        return false;
    void* pData = MapViewOfFile(hSection, FILE_MAP_ALL_ACCESS, 0, 0, nBytes);
    if (!pData) {
        CloseHandle(hSection);
        return false;
    }
    m_hSection = reinterpret_cast<intptr_t>(hSection);
    m_pData = pData;
    m_nBytes = nBytes;
    return true;
}

void CSharedSection::Close()
{
    if (m_pData)
        UnmapViewOfFile(m_pData);
    if (m_hSection)
        CloseHandle(reinterpret_cast<HANDLE>(m_hSection));
    m_pData = nullptr;
    m_hSection = 0;
    m_nBytes = 0;
}

void CSharedSection::Remove(const std::u16string&) {}

}  // namespace zu::platform
