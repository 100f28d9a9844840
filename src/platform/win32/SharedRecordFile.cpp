#include "platform/SharedRecordFile.h"

#include "platform/win32/FileOffset.h"
#include "platform/win32/Wide.h"

#include <windows.h>

namespace zu::platform {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kRetryMilliseconds = 10;

HANDLE Native(intptr_t h)
{
    return reinterpret_cast<HANDLE>(h);
}

// Holds a byte-range lock for its lifetime; reads and writes of locked bytes by other handles fail
// rather than wait, so the lock itself is the only wait.
class CRangeLock {
public:
    CRangeLock(HANDLE hFile, bool bExclusive, int64_t nOffset, uint32_t nCount)
        : m_hFile(hFile), m_At(At(nOffset)), m_nCount(nCount)
    {
        m_bLocked = LockFileEx(hFile, bExclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0, 0, nCount, 0, &m_At) != FALSE;
    }
    ~CRangeLock()
    {
        if (m_bLocked) {
            OVERLAPPED at = m_At;
            UnlockFileEx(m_hFile, 0, m_nCount, 0, &at);
        }
    }
    CRangeLock(const CRangeLock&) = delete;
    CRangeLock& operator=(const CRangeLock&) = delete;
    bool Locked() const { return m_bLocked; }

private:
    HANDLE m_hFile;
    OVERLAPPED m_At;
    uint32_t m_nCount;
    bool m_bLocked = false;
};

}  // namespace

CSharedRecordFile::~CSharedRecordFile()
{
    Close();
}

bool CSharedRecordFile::Open(const std::u16string& path, bool bWrite, bool bCreate, uint32_t nWaitMilliseconds)
{
    Close();
    const DWORD access = GENERIC_READ | (bWrite ? GENERIC_WRITE : 0);
    const DWORD disposition = bWrite && bCreate ? OPEN_ALWAYS : OPEN_EXISTING;
    const DWORD start = GetTickCount();
    for (;;) {
        HANDLE h = CreateFileW(Wide(path), access, kShareAll, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (h != INVALID_HANDLE_VALUE) {
            m_hFile = reinterpret_cast<intptr_t>(h);
            return true;
        }
        if (GetLastError() != ERROR_SHARING_VIOLATION || GetTickCount() - start >= nWaitMilliseconds)
            return false;
        Sleep(kRetryMilliseconds);
    }
}

void CSharedRecordFile::Close()
{
    if (m_hFile != -1)
        CloseHandle(Native(m_hFile));
    m_hFile = -1;
}

bool CSharedRecordFile::ReadRecord(int64_t nOffset, void* pBuffer, uint32_t nCount)
{
    if (m_hFile == -1)
        return false;
    CRangeLock lock(Native(m_hFile), false, nOffset, nCount);
    OVERLAPPED at = At(nOffset);
    DWORD nRead = 0;
    return lock.Locked() && ReadFile(Native(m_hFile), pBuffer, nCount, &nRead, &at) && nRead == nCount;
}

bool CSharedRecordFile::WriteRecord(int64_t nOffset, const void* pBuffer, uint32_t nCount)
{
    if (m_hFile == -1)
        return false;
    CRangeLock lock(Native(m_hFile), true, nOffset, nCount);
    OVERLAPPED at = At(nOffset);
    DWORD nWritten = 0;
    return lock.Locked() && WriteFile(Native(m_hFile), pBuffer, nCount, &nWritten, &at) && nWritten == nCount;
}

bool CSharedRecordFile::HoldMark(int64_t nOffset)
{
    OVERLAPPED at = At(nOffset);
    return m_hFile != -1 &&
           LockFileEx(Native(m_hFile), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &at) != FALSE;
}

// Windows has no question for "is this locked": a shared lock that cannot be had answers it.
bool CSharedRecordFile::IsMarkedByAnother(int64_t nOffset)
{
    if (m_hFile == -1)
        return false;
    OVERLAPPED at = At(nOffset);
    if (!LockFileEx(Native(m_hFile), LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &at))
        return true;
    OVERLAPPED again = At(nOffset);
    UnlockFileEx(Native(m_hFile), 0, 1, 0, &again);
    return false;
}

}  // namespace zu::platform
