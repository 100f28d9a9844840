#include "platform/SharedRecordFile.h"

#include "platform/Text.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace zu::platform {
namespace {

// Locks of the open file description, not of the process: two handles in one process exclude
// each other as handles in two processes do, and closing one handle leaves the other's locks.
struct flock Range(short type, int64_t nOffset, uint32_t nCount)
{
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = nOffset;
    range.l_len = nCount;
    return range;
}

bool LockRange(int fd, short type, int64_t nOffset, uint32_t nCount)
{
    struct flock range = Range(type, nOffset, nCount);
    while (fcntl(fd, F_OFD_SETLKW, &range) != 0)
        if (errno != EINTR)
            return false;
    return true;
}

// Holds a range lock for its lifetime.
class CRangeLock {
public:
    CRangeLock(int fd, short type, int64_t nOffset, uint32_t nCount)
        : m_fd(fd), m_nOffset(nOffset), m_nCount(nCount), m_bLocked(LockRange(fd, type, nOffset, nCount))
    {
    }
    ~CRangeLock()
    {
        if (m_bLocked)
            LockRange(m_fd, F_UNLCK, m_nOffset, m_nCount);
    }
    CRangeLock(const CRangeLock&) = delete;
    CRangeLock& operator=(const CRangeLock&) = delete;
    bool Locked() const { return m_bLocked; }

private:
    int m_fd;
    int64_t m_nOffset;
    uint32_t m_nCount;
    bool m_bLocked;
};

}  // namespace

CSharedRecordFile::~CSharedRecordFile()
{
    Close();
}

// POSIX files have no sharing modes, so nothing refuses the open and there is nothing to wait for.
bool CSharedRecordFile::Open(const std::u16string& path, bool bWrite, bool bCreate, uint32_t /*nWaitMilliseconds*/)
{
    Close();
    int flags = O_CLOEXEC | (bWrite ? O_RDWR : O_RDONLY);
    if (bWrite && bCreate)
        flags |= O_CREAT;
    const int fd = ::open(Utf8FromUtf16(path).c_str(), flags, 0666);
    if (fd < 0)
        return false;
    m_hFile = fd;
    return true;
}

void CSharedRecordFile::Close()
{
    if (m_hFile != -1)
        ::close(static_cast<int>(m_hFile));
    m_hFile = -1;
}

bool CSharedRecordFile::ReadRecord(int64_t nOffset, void* pBuffer, uint32_t nCount)
{
    const int fd = static_cast<int>(m_hFile);
    if (fd < 0)
        return false;
    CRangeLock lock(fd, F_RDLCK, nOffset, nCount);
    return lock.Locked() && ::pread(fd, pBuffer, nCount, nOffset) == static_cast<ssize_t>(nCount);
}

bool CSharedRecordFile::WriteRecord(int64_t nOffset, const void* pBuffer, uint32_t nCount)
{
    const int fd = static_cast<int>(m_hFile);
    if (fd < 0)
        return false;
    CRangeLock lock(fd, F_WRLCK, nOffset, nCount);
    return lock.Locked() && ::pwrite(fd, pBuffer, nCount, nOffset) == static_cast<ssize_t>(nCount);
}

bool CSharedRecordFile::HoldMark(int64_t nOffset)
{
    struct flock range = Range(F_WRLCK, nOffset, 1);
    return m_hFile != -1 && fcntl(static_cast<int>(m_hFile), F_OFD_SETLK, &range) == 0;
}

bool CSharedRecordFile::IsMarkedByAnother(int64_t nOffset)
{
    struct flock range = Range(F_RDLCK, nOffset, 1);
    return m_hFile != -1 && fcntl(static_cast<int>(m_hFile), F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

}  // namespace zu::platform
