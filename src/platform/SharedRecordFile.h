// Shared record file seam: a small file that one process writes while others read it, each
// transfer of a record whole. A reader never sees half of an old record and half of a new one:
// writes take an exclusive lock on the bytes they change and reads a shared one (open-file-
// description locks on Linux, byte-range locks on Windows), and both kinds of lock end with the
// handle, so a writer killed mid-write leaves nothing locked. The file is shared for reading,
// writing and deleting, so neither side stands in the way of the other's open, rename or delete.
#pragma once

#include <cstdint>
#include <string>

namespace zu::platform {

class CSharedRecordFile {
public:
    CSharedRecordFile() = default;
    ~CSharedRecordFile();
    CSharedRecordFile(const CSharedRecordFile&) = delete;
    CSharedRecordFile& operator=(const CSharedRecordFile&) = delete;

    // bWrite opens for reading and writing, and with bCreate makes the file when it does not exist
    // (an existing one keeps its bytes until they are written over). An open
    // that another program's sharing refuses is tried again for up to nWaitMilliseconds.
    bool Open(const std::u16string& path, bool bWrite, bool bCreate, uint32_t nWaitMilliseconds);
    void Close();
    bool IsOpen() const { return m_hFile != -1; }

    // The whole count at nOffset, or false.
    bool ReadRecord(int64_t nOffset, void* pBuffer, uint32_t nCount);
    bool WriteRecord(int64_t nOffset, const void* pBuffer, uint32_t nCount);

    // A mark on the byte at nOffset (which may lie past the file's end) that this handle holds
    // until it closes, also when its process dies; another handle, in this process or another,
    // can tell that somebody holds it. A writer marks the file as in use this way.
    bool HoldMark(int64_t nOffset);
    bool IsMarkedByAnother(int64_t nOffset);

private:
    intptr_t m_hFile = -1;
};

}  // namespace zu::platform
