#include "platform/File.h"

#include "platform/win32/Handle.h"
#include "platform/win32/FileOffset.h"
#include "platform/win32/Wide.h"

#include <windows.h>
#include <winioctl.h>

namespace zu::platform {
namespace {

HANDLE Native(intptr_t h)
{
    return reinterpret_cast<HANDLE>(h);
}

DWORD AccessRights(uint32_t access)
{
    return ((access & FILE_ACCESS_READ) ? GENERIC_READ : 0) |
           ((access & FILE_ACCESS_WRITE) ? GENERIC_WRITE : 0) |
           ((access & FILE_ACCESS_ATTRIBUTES) ? FILE_READ_ATTRIBUTES : 0);
}

DWORD ShareMode(uint32_t share)
{
    return ((share & FILE_SHARE_READ_BIT) ? FILE_SHARE_READ : 0) |
           ((share & FILE_SHARE_WRITE_BIT) ? FILE_SHARE_WRITE : 0) |
           ((share & FILE_SHARE_DELETE_BIT) ? FILE_SHARE_DELETE : 0);
}

DWORD CreationDisposition(uint32_t disposition)
{
    switch (disposition) {
    case FILE_CREATE_ALWAYS: return CREATE_ALWAYS;
    case FILE_CREATE_NEW: return CREATE_NEW;
    case FILE_OPEN_ALWAYS: return OPEN_ALWAYS;
    case FILE_TRUNCATE_EXISTING: return TRUNCATE_EXISTING;
    default: return OPEN_EXISTING;
    }
}

DWORD Attributes(uint32_t flags)
{
    DWORD attributes = FILE_ATTRIBUTE_NORMAL;
    if (flags & FILE_HINT_RANDOM)
        attributes |= FILE_FLAG_RANDOM_ACCESS;
    if (flags & FILE_HINT_SEQUENTIAL)
        attributes |= FILE_FLAG_SEQUENTIAL_SCAN;
    if (flags & FILE_FLAG_DELETE_ON_CLOSE_BIT)
        attributes |= FILE_FLAG_DELETE_ON_CLOSE;
    return attributes;
}

// Windows itself refuses to write a read-only file; Wine running as root would not, so the rule is
// kept here where both see it.
bool IsReadOnlyFile(const std::u16string& path)
{
    const DWORD attributes = GetFileAttributesW(Wide(path));
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY) &&
           (attributes & FILE_ATTRIBUTE_READONLY);
}

}  // namespace

CFile::~CFile()
{
    Close();
}

bool CFile::Open(const std::u16string& path, uint32_t access, uint32_t share, uint32_t disposition,
                 uint32_t flags)
{
    Close();
    if (path.empty()) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return false;
    }
    if ((access & FILE_ACCESS_WRITE) && IsReadOnlyFile(path)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    HANDLE h = CreateFileW(Wide(path), AccessRights(access), ShareMode(share), nullptr,
                           CreationDisposition(disposition), Attributes(flags), nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return false;
    m_hFile = reinterpret_cast<intptr_t>(h);
    return true;
}

void CFile::Close()
{
    if (!IsOpen())
        return;
    CloseHandle(Native(m_hFile));
    m_hFile = -1;
}

bool CFile::IsOpen() const
{
    return Native(m_hFile) != INVALID_HANDLE_VALUE;
}

bool CFile::Read(void* pBuffer, uint32_t nCount, uint32_t& nRead)
{
    DWORD n = 0;
    const BOOL bOk = ReadFile(Native(m_hFile), pBuffer, nCount, &n, nullptr);
    nRead = n;
    return bOk != FALSE;
}

bool CFile::Write(const void* pBuffer, uint32_t nCount, uint32_t& nWritten)
{
    DWORD n = 0;
    const BOOL bOk = WriteFile(Native(m_hFile), pBuffer, nCount, &n, nullptr);
    nWritten = n;
    return bOk != FALSE;
}

int64_t CFile::Seek(int64_t nDistance, uint32_t nOrigin)
{
    if (!IsOpen() || nOrigin > 2)
        return -1;
    LARGE_INTEGER distance;
    LARGE_INTEGER position;
    distance.QuadPart = nDistance;
    if (!SetFilePointerEx(Native(m_hFile), distance, &position, nOrigin))
        return -1;
    return position.QuadPart;
}

int64_t CFile::Size() const
{
    LARGE_INTEGER size;
    if (!IsOpen() || !GetFileSizeEx(Native(m_hFile), &size))
        return -1;
    return size.QuadPart;
}

bool CFile::SetEndOfFile()
{
    return IsOpen() && ::SetEndOfFile(Native(m_hFile)) != FALSE;
}

// On a handle opened for synchronous use the offset in the OVERLAPPED record is honoured and the
// call returns once done; the handle's own position moves, which no positioned caller relies on.
bool CFile::ReadAt(int64_t nOffset, void* pBuffer, uint32_t nCount, uint32_t& nRead)
{
    nRead = 0;
    auto* p = static_cast<char*>(pBuffer);
    while (nRead < nCount) {
        OVERLAPPED at = At(nOffset + nRead);
        DWORD n = 0;
        if (!ReadFile(Native(m_hFile), p + nRead, nCount - nRead, &n, &at))
            return GetLastError() == ERROR_HANDLE_EOF;
        if (n == 0)
            break;
        nRead += n;
    }
    return true;
}

bool CFile::WriteAt(int64_t nOffset, const void* pBuffer, uint32_t nCount, uint32_t& nWritten)
{
    nWritten = 0;
    const auto* p = static_cast<const char*>(pBuffer);
    while (nWritten < nCount) {
        OVERLAPPED at = At(nOffset + nWritten);
        DWORD n = 0;
        if (!WriteFile(Native(m_hFile), p + nWritten, nCount - nWritten, &n, &at))
            return false;
        if (n == 0) {
            SetLastError(ERROR_DISK_FULL);
            return false;
        }
        nWritten += n;
    }
    return true;
}

bool CFile::MakeSparse()
{
    DWORD nReturned = 0;
    return IsOpen() &&
           DeviceIoControl(Native(m_hFile), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &nReturned, nullptr) != FALSE;
}

int64_t FileSizeByName(const std::u16string& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (path.empty() || !GetFileAttributesExW(Wide(path), GetFileExInfoStandard, &data) ||
        (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
        return -1;
    return (static_cast<int64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

bool DeleteFileByName(const std::u16string& path)
{
    return DeleteFileW(Wide(path)) != FALSE;
}

bool IsDirectory(const std::u16string& path)
{
    const DWORD attributes = path.empty() ? INVALID_FILE_ATTRIBUTES : GetFileAttributesW(Wide(path));
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool MakeFolder(const std::u16string& folder)
{
    return CreateDirectoryW(Wide(folder), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS;
}

// With append rights alone, every write goes to the end of the file as it is at that moment.
bool AppendToFileByName(const std::u16string& path, const std::string& bytes,
                        const std::function<std::string()>& prefixWhenEmpty)
{
    const CHandle file(CreateFileW(Wide(path), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                                 FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.Get())
        return false;
    LARGE_INTEGER size;
    const bool bEmpty = GetFileSizeEx(file.Get(), &size) && size.QuadPart == 0;
    const std::string text = bEmpty ? prefixWhenEmpty() + bytes : bytes;
    DWORD nWritten = 0;
    return WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &nWritten, nullptr) &&
           nWritten == text.size();
}

bool ReplaceFileWith(const std::u16string& source, const std::u16string& target)
{
    return MoveFileExW(Wide(source), Wide(target), MOVEFILE_REPLACE_EXISTING) != FALSE;
}

std::u16string FolderOf(const std::u16string& path)
{
    size_t end = path.size();
    while (end > 0 && (path[end - 1] == u'\\' || path[end - 1] == u'/'))
        --end;
    if (end == 0)
        return {};
    const size_t slash = path.find_last_of(u"\\/", end - 1);
    if (slash == std::u16string::npos)
        return {};
    // Keep the separator of a drive root ("C:\") so that it names a folder.
    if (slash == 2 && path[1] == u':')
        return path.substr(0, 3);
    return path.substr(0, slash);
}

uint32_t LastError()
{
    return GetLastError();
}

}  // namespace zu::platform

namespace zu::platform {

bool SetFileReadOnly(const std::u16string& path, bool bReadOnly)
{
    const DWORD attributes = GetFileAttributesW(Wide(path));
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return false;
    const DWORD updated = bReadOnly ? (attributes | FILE_ATTRIBUTE_READONLY)
                                    : (attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
    return SetFileAttributesW(Wide(path), updated) != FALSE;
}

}  // namespace zu::platform

namespace zu::platform {

// The system compares names case-blind already.
std::u16string ExistingFileIgnoringCase(const std::u16string& path)
{
    return FileSizeByName(path) >= 0 ? path : std::u16string();
}

}  // namespace zu::platform
