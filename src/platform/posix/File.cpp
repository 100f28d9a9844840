#include "platform/File.h"

#include "platform/Text.h"
#include "platform/Thread.h"
#include "platform/posix/Descriptor.h"

#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <memory>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zu::platform {
namespace {

thread_local uint32_t t_nLastError = 0;

bool Fail(int error = errno)
{
    t_nLastError = static_cast<uint32_t>(error);
    return false;
}

std::string NativePath(const std::u16string& path)
{
    return Utf8FromUtf16(path);
}

int OpenFlags(uint32_t access, uint32_t disposition)
{
    int flags = O_CLOEXEC;
    if ((access & FILE_ACCESS_WRITE) && (access & FILE_ACCESS_READ))
        flags |= O_RDWR;
    else if (access & FILE_ACCESS_WRITE)
        flags |= O_WRONLY;
    else
        flags |= O_RDONLY;
    switch (disposition) {
    case FILE_CREATE_ALWAYS: return flags | O_CREAT | O_TRUNC;
    case FILE_CREATE_NEW: return flags | O_CREAT | O_EXCL;
    case FILE_OPEN_ALWAYS: return flags | O_CREAT;
    case FILE_TRUNCATE_EXISTING: return flags | O_TRUNC;
    default: return flags;
    }
}

// A file without any write bit is read-only for everyone, as a file with the read-only attribute
// is on Windows; root would otherwise open it for writing regardless.
bool IsWriteProtected(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
           (st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

CFile::~CFile()
{
    Close();
}

bool CFile::Open(const std::u16string& path, uint32_t access, uint32_t /*share*/,
                 uint32_t disposition, uint32_t flags)
{
    Close();
    if (path.empty())
        return Fail(ENOENT);
    const std::string native = NativePath(path);
    if ((access & FILE_ACCESS_WRITE) && IsWriteProtected(native))
        return Fail(EACCES);
    const int fd = ::open(native.c_str(), OpenFlags(access, disposition), (flags & FILE_FLAG_OWNER_ONLY_BIT) ? 0600 : 0666);
    if (fd < 0)
        return Fail();
    struct stat st;
    if (fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
        ::close(fd);
        return Fail(EISDIR);
    }
    if (flags & FILE_HINT_RANDOM)
        posix_fadvise(fd, 0, 0, POSIX_FADV_RANDOM);
    if (flags & FILE_HINT_SEQUENTIAL)
        posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    if (flags & FILE_FLAG_DELETE_ON_CLOSE_BIT)
        m_DeleteOnClosePath = path;
    m_hFile = fd;
    return true;
}

void CFile::Close()
{
    if (m_hFile < 0)
        return;
    // close is a cancellation point, and a kill acted on inside a destructor ends the process.
    {
        const CNoKillScope noKill;
        ::close(static_cast<int>(m_hFile));
    }
    m_hFile = -1;
    if (!m_DeleteOnClosePath.empty()) {
        DeleteFileByName(m_DeleteOnClosePath);
        m_DeleteOnClosePath.clear();
    }
}

bool CFile::IsOpen() const
{
    return m_hFile >= 0;
}

bool CFile::Read(void* pBuffer, uint32_t nCount, uint32_t& nRead)
{
    nRead = 0;
    if (m_hFile < 0)
        return Fail(EBADF);
    ssize_t n;
    do {
        n = ::read(static_cast<int>(m_hFile), pBuffer, nCount);
    } while (n < 0 && errno == EINTR);
    if (n < 0)
        return Fail();
    nRead = static_cast<uint32_t>(n);
    return true;
}

bool CFile::Write(const void* pBuffer, uint32_t nCount, uint32_t& nWritten)
{
    nWritten = 0;
    if (m_hFile < 0)
        return Fail(EBADF);
    // One call on Windows writes the whole count to a disk file; loop over partial writes here.
    const auto* p = static_cast<const char*>(pBuffer);
    while (nWritten < nCount) {
        const ssize_t n = ::write(static_cast<int>(m_hFile), p + nWritten, nCount - nWritten);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return Fail();
        nWritten += static_cast<uint32_t>(n);
    }
    return true;
}

int64_t CFile::Seek(int64_t nDistance, uint32_t nOrigin)
{
    if (m_hFile < 0 || nOrigin > 2) {
        Fail(EINVAL);
        return -1;
    }
    static const int kWhence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    const off_t position = lseek(static_cast<int>(m_hFile), nDistance, kWhence[nOrigin]);
    if (position < 0)
        Fail();
    return position < 0 ? -1 : position;
}

int64_t CFile::Size() const
{
    struct stat st;
    if (m_hFile < 0 || fstat(static_cast<int>(m_hFile), &st) != 0)
        return -1;
    return st.st_size;
}

bool CFile::SetEndOfFile()
{
    const int fd = static_cast<int>(m_hFile);
    if (fd < 0)
        return Fail(EBADF);
    const off_t position = lseek(fd, 0, SEEK_CUR);
    return (position >= 0 && ftruncate(fd, position) == 0) || Fail();
}

bool CFile::ReadAt(int64_t nOffset, void* pBuffer, uint32_t nCount, uint32_t& nRead)
{
    nRead = 0;
    if (m_hFile < 0)
        return Fail(EBADF);
    auto* p = static_cast<char*>(pBuffer);
    while (nRead < nCount) {
        const ssize_t n = ::pread(static_cast<int>(m_hFile), p + nRead, nCount - nRead, nOffset + nRead);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return Fail();
        if (n == 0)
            break;
        nRead += static_cast<uint32_t>(n);
    }
    return true;
}

bool CFile::WriteAt(int64_t nOffset, const void* pBuffer, uint32_t nCount, uint32_t& nWritten)
{
    nWritten = 0;
    if (m_hFile < 0)
        return Fail(EBADF);
    const auto* p = static_cast<const char*>(pBuffer);
    while (nWritten < nCount) {
        const ssize_t n = ::pwrite(static_cast<int>(m_hFile), p + nWritten, nCount - nWritten, nOffset + nWritten);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return Fail(n == 0 ? ENOSPC : errno);
        nWritten += static_cast<uint32_t>(n);
    }
    return true;
}

bool CFile::MakeSparse()
{
    return m_hFile >= 0 || Fail(EBADF);
}

int64_t FileSizeByName(const std::u16string& path)
{
    struct stat st;
    if (path.empty() || stat(NativePath(path).c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        return -1;
    return st.st_size;
}

bool DeleteFileByName(const std::u16string& path)
{
    return ::unlink(NativePath(path).c_str()) == 0 || Fail();
}

bool IsDirectory(const std::u16string& path)
{
    struct stat st;
    return !path.empty() && stat(NativePath(path).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool MakeFolder(const std::u16string& folder)
{
    return ::mkdir(NativePath(folder).c_str(), 0777) == 0 || errno == EEXIST || Fail();
}

bool AppendToFileByName(const std::u16string& path, const std::string& bytes,
                        const std::function<std::string()>& prefixWhenEmpty)
{
    if (path.empty())
        return Fail(ENOENT);
    const CDescriptor file(::open(NativePath(path).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
    if (file.Get() < 0)
        return Fail();
    struct stat st;
    const bool bEmpty = fstat(file.Get(), &st) == 0 && st.st_size == 0;
    const std::string text = bEmpty ? prefixWhenEmpty() + bytes : bytes;
    // One write: with O_APPEND it lands whole at the end, whoever else appends meanwhile.
    const ssize_t nWritten = ::write(file.Get(), text.data(), text.size());
    return nWritten == static_cast<ssize_t>(text.size()) || Fail(nWritten < 0 ? errno : EIO);
}

bool ReplaceFileWith(const std::u16string& source, const std::u16string& target)
{
    return std::rename(NativePath(source).c_str(), NativePath(target).c_str()) == 0 || Fail();
}

std::u16string FolderOf(const std::u16string& path)
{
    size_t end = path.size();
    while (end > 1 && path[end - 1] == u'/')
        --end;
    const size_t slash = path.rfind(u'/', end - 1);
    if (slash == std::u16string::npos)
        return {};
    return slash == 0 ? u"/" : path.substr(0, slash);
}

uint32_t LastError()
{
    return t_nLastError;
}

}  // namespace zu::platform

namespace zu::platform {

bool SetFileReadOnly(const std::u16string& path, bool bReadOnly)
{
    const std::string native = NativePath(path);
    struct stat st;
    if (stat(native.c_str(), &st) != 0)
        return Fail();
    const mode_t writeBits = S_IWUSR | S_IWGRP | S_IWOTH;
    const mode_t mode = bReadOnly ? (st.st_mode & ~writeBits) : (st.st_mode | S_IWUSR);
    return chmod(native.c_str(), mode & 07777) == 0 || Fail();
}

}  // namespace zu::platform

namespace zu::platform {

namespace {

bool SameIgnoringAsciiCase(const std::string& a, const std::string& b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i) {
        const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
        if (lower(a[i]) != lower(b[i]))
            return false;
    }
    return true;
}

struct CDirectoryClose {
    void operator()(DIR* pDir) const { closedir(pDir); }
};

}  // namespace

std::u16string ExistingFileIgnoringCase(const std::u16string& path)
{
    if (FileSizeByName(path) >= 0)
        return path;
    const size_t slash = path.rfind(u'/');
    const std::u16string folder = slash == std::u16string::npos ? u"." : path.substr(0, slash + 1);
    const std::string name = NativePath(slash == std::u16string::npos ? path : path.substr(slash + 1));
    std::unique_ptr<DIR, CDirectoryClose> pDir(opendir(NativePath(folder).c_str()));
    if (!pDir || name.empty())
        return {};
    while (const dirent* pEntry = readdir(pDir.get())) {
        if (!SameIgnoringAsciiCase(pEntry->d_name, name))
            continue;
        const std::u16string found = (slash == std::u16string::npos ? u"" : folder) + Utf16FromUtf8(pEntry->d_name);
        if (FileSizeByName(found) >= 0)
            return found;
    }
    return {};
}

}  // namespace zu::platform
