#include "platform/MappedFile.h"

#include "platform/win32/Handle.h"
#include "platform/win32/Wide.h"

#include <windows.h>

#include <cstdint>

namespace zu::platform {
namespace {

// A file that is not sparse gets its clusters when its end is set, so a full disk fails here.
bool SetLength(HANDLE hFile, size_t nBytes)
{
    LARGE_INTEGER length;
    length.QuadPart = static_cast<LONGLONG>(nBytes);
    return SetFilePointerEx(hFile, length, nullptr, FILE_BEGIN) && SetEndOfFile(hFile);
}

// CREATE_NEW refuses a name that exists; with the reparse point opened as itself, a link whose
// target is missing counts as existing instead of being followed to create its target. A temporary
// file's pages stay in memory rather than being written back while memory lasts, and the file goes
// when its handle closes, at the latest when the process ends, however it ends.
HANDLE CreateBackingFile(const std::u16string& path, EMappedFileName name)
{
    const bool bTemporary = name == EMappedFileName::Temporary;
    // Read-ahead data is no document: keep the indexer away from it.
    const DWORD nFlags = FILE_ATTRIBUTE_NOT_CONTENT_INDEXED |
                         (bTemporary ? FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE | FILE_FLAG_OPEN_REPARSE_POINT : 0);
    return CreateFileW(Wide(path), GENERIC_READ | GENERIC_WRITE, 0, nullptr, bTemporary ? CREATE_NEW : CREATE_ALWAYS,
                       nFlags, nullptr);
}

EMappedFileFailure FailureOf(DWORD nError)
{
    switch (nError) {
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS: return EMappedFileFailure::NameTaken;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL: return EMappedFileFailure::NoSpace;
    default: return EMappedFileFailure::Other;
    }
}

}  // namespace

CMappedFile::~CMappedFile()
{
    Close();
}

bool CMappedFile::Fail(uint32_t nError)
{
    m_Failure = FailureOf(nError);
    m_nError = nError;
    return false;
}

bool CMappedFile::Create(const std::u16string& path, size_t nBytes, EMappedFileName name)
{
    Close();
    if (path.empty() || nBytes == 0)
        return Fail(ERROR_INVALID_PARAMETER);
    CHandle file(CreateBackingFile(path, name));
    if (!file.Get() || !SetLength(file.Get(), nBytes))
        return Fail(GetLastError());
    const CHandle mapping(CreateFileMappingW(file.Get(), nullptr, PAGE_READWRITE, 0, 0, nullptr));
    if (!mapping.Get())
        return Fail(GetLastError());
    void* pView = MapViewOfFile(mapping.Get(), FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, nBytes);
    if (!pView)
        return Fail(GetLastError());
    m_pData = static_cast<unsigned char*>(pView);
    m_nBytes = nBytes;
    m_bInFolder = true;
    if (name == EMappedFileName::Temporary)
        m_hKept = reinterpret_cast<intptr_t>(file.Release());
    m_Failure = EMappedFileFailure::None;
    m_nError = 0;
    return true;
}

void CMappedFile::Close()
{
    if (m_pData)
        UnmapViewOfFile(m_pData);
    // Only now, with the view gone, does closing a temporary file remove it.
    if (m_hKept)
        CloseHandle(reinterpret_cast<HANDLE>(m_hKept));
    m_pData = nullptr;
    m_nBytes = 0;
    m_bInFolder = false;
    m_hKept = 0;
}

}  // namespace zu::platform
