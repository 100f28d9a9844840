// File seam: one operating-system file handle and the by-name file operations the readers need.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace zu::platform {

// Access bits.
enum : uint32_t { FILE_ACCESS_READ = 1, FILE_ACCESS_WRITE = 2, FILE_ACCESS_ATTRIBUTES = 4 };
// Share bits (advisory on POSIX, where no sharing mode exists).
enum : uint32_t { FILE_SHARE_READ_BIT = 1, FILE_SHARE_WRITE_BIT = 2, FILE_SHARE_DELETE_BIT = 4 };
// Dispositions; any other value means open existing.
enum : uint32_t {
    FILE_CREATE_ALWAYS = 0,
    FILE_CREATE_NEW = 1,
    FILE_OPEN_ALWAYS = 2,
    FILE_OPEN_EXISTING = 3,
    FILE_TRUNCATE_EXISTING = 4
};
// Hints and flags.
// FILE_FLAG_OWNER_ONLY_BIT: a file created now is for its owner alone (POSIX mode 0600; on Windows
// the temporary folder is the account's own already).
enum : uint32_t {
    FILE_HINT_RANDOM = 1,
    FILE_HINT_SEQUENTIAL = 2,
    FILE_FLAG_DELETE_ON_CLOSE_BIT = 4,
    FILE_FLAG_OWNER_ONLY_BIT = 8
};

// Owns one handle; closed on destruction. Not thread-safe: callers lock around shared use.
class CFile {
public:
    CFile() = default;
    ~CFile();
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    // Closes any open handle first. Sets the last error on failure.
    bool Open(const std::u16string& path, uint32_t access, uint32_t share, uint32_t disposition,
              uint32_t flags = 0);
    void Close();
    bool IsOpen() const;

    // One system read or write; the count transferred is stored even on failure.
    bool Read(void* pBuffer, uint32_t nCount, uint32_t& nRead);
    bool Write(const void* pBuffer, uint32_t nCount, uint32_t& nWritten);
    // Returns the resulting position, -1 when not open or on failure.
    int64_t Seek(int64_t nDistance, uint32_t nOrigin);
    int64_t Size() const;
    bool SetEndOfFile();

    // Transfers at an offset that need no seek first, so one handle may serve a writer on one
    // thread and readers on others at once. Each goes on until the count is done, the end of the
    // file (reads) or a failure; the count transferred is stored even on failure.
    bool ReadAt(int64_t nOffset, void* pBuffer, uint32_t nCount, uint32_t& nRead);
    bool WriteAt(int64_t nOffset, const void* pBuffer, uint32_t nCount, uint32_t& nWritten);
    // Lets the file's size run ahead of what was written without taking room for the difference.
    // POSIX file systems do that unasked; NTFS only for files marked so.
    bool MakeSparse();

private:
    intptr_t m_hFile = -1;
    std::u16string m_DeleteOnClosePath;  // POSIX has no delete-on-close flag; unlink at Close
};

// Size of the named file, -1 when it does not exist or is not a regular file.
int64_t FileSizeByName(const std::u16string& path);
bool DeleteFileByName(const std::u16string& path);
bool IsDirectory(const std::u16string& path);
// Creates every missing folder of a folder path; true when it exists afterwards.
bool CreateFolders(const std::u16string& folder);
// Creates one folder whose parent exists; true when it exists afterwards.
bool MakeFolder(const std::u16string& folder);
// Writes bytes at the end of the named file, creating it when it does not exist; when the file is
// empty, what prefixWhenEmpty makes goes before them. Each call is one write at the end, whole,
// however many threads and processes append to the file at once. Holds no lock and shares the
// file for reading and writing. False when the file cannot be opened or written.
bool AppendToFileByName(const std::u16string& path, const std::string& bytes,
                        const std::function<std::string()>& prefixWhenEmpty);
// Atomically replaces `target` with `source` (both on the same volume).
bool ReplaceFileWith(const std::u16string& source, const std::u16string& target);
// The folder part of a path, without the trailing separator ("" when there is none).
std::u16string FolderOf(const std::u16string& path);
// The system's error number of the calling thread's last failed call.
uint32_t LastError();

}  // namespace zu::platform

namespace zu::platform {
// Sets or clears the read-only state of a file (the attribute on Windows, every write bit on POSIX).
bool SetFileReadOnly(const std::u16string& path, bool bReadOnly);
}  // namespace zu::platform

namespace zu::platform {
// The named file as it exists, its last part's ASCII letters compared case-blind the way Windows
// compares every name (a disc's VTS_01_0.IFO is asked for as VTS_01_0.ifo); empty when none does.
std::u16string ExistingFileIgnoringCase(const std::u16string& path);
}  // namespace zu::platform
