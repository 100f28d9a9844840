// CCacheFile: the temporary file a remote resource is downloaded into, each byte at its offset in
// the resource. It is made under a fresh name nobody could foresee (never over an existing file or
// a link planted there), for its owner alone, sparse, so that a resource of gigabytes costs only
// what was fetched, and it is deleted when closed. Reads and writes name their offset, so the
// owner's reads and a download thread's writes share the one handle without a lock.
#pragma once

#include "platform/File.h"

#include <cstdint>
#include <string>

class CCacheFile {
public:
    CCacheFile() = default;
    ~CCacheFile();
    CCacheFile(const CCacheFile&) = delete;
    CCacheFile& operator=(const CCacheFile&) = delete;

    // nSize below 0: not known yet, the file grows as it is written.
    bool Create(int64_t nSize);
    // Closes the file and deletes it.
    void Close();
    bool IsOpen() const { return m_File.IsOpen(); }
    const std::u16string& Path() const { return m_Path; }

    // Fewer bytes than asked only at the file's end or on failure.
    uint32_t Read(int64_t nOffset, void* pBuffer, uint32_t nCount);
    // False, with the system's error in nError, unless every byte was written.
    bool Write(int64_t nOffset, const void* pBuffer, uint32_t nCount, uint32_t& nError);

private:
    zu::platform::CFile m_File;
    std::u16string m_Path;
};
