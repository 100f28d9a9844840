#include "platform/MappedFile.h"

#include "platform/win32/Wide.h"

#include <windows.h>

#include <cstdint>

namespace zu::platform {
namespace {

// Closes a file or mapping handle once the view is made or has failed; the view keeps both alive.
class CHandle {
public:
    explicit CHandle(HANDLE h) : m_h(h == INVALID_HANDLE_VALUE ? nullptr : h) {}
    ~CHandle()
    {
        if (m_h)
            CloseHandle(m_h);
    }
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;
    HANDLE Get() const { return m_h; }

private:
    HANDLE m_h;
};

bool SetLength(HANDLE hFile, size_t nBytes)
{
    LARGE_INTEGER length;
    length.QuadPart = static_cast<LONGLONG>(nBytes);
    return SetFilePointerEx(hFile, length, nullptr, FILE_BEGIN) && SetEndOfFile(hFile);
}

}  // namespace

CMappedFile::~CMappedFile()
{
    Close();
}

bool CMappedFile::Create(const std::u16string& path, size_t nBytes)
{
    Close();
    if (path.empty() || nBytes == 0)
        return false;
    const CHandle file(CreateFileW(Wide(path), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                   FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.Get())
        return false;
    // Read-ahead data is no document: keep the indexer away from it.
    const DWORD attributes = GetFileAttributesW(Wide(path));
    if (attributes != INVALID_FILE_ATTRIBUTES)
        SetFileAttributesW(Wide(path), attributes | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED);
    if (!SetLength(file.Get(), nBytes))
        return false;
    const CHandle mapping(CreateFileMappingW(file.Get(), nullptr, PAGE_READWRITE, 0, 0, nullptr));
    if (!mapping.Get())
        return false;
    void* pView = MapViewOfFile(mapping.Get(), FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, nBytes);
    if (!pView)
        return false;
    m_pData = static_cast<unsigned char*>(pView);
    m_nBytes = nBytes;
    return true;
}

void CMappedFile::Close()
{
    if (m_pData)
        UnmapViewOfFile(m_pData);
    m_pData = nullptr;
    m_nBytes = 0;
}

}  // namespace zu::platform
