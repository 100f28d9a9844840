// CCircleBuffer: a fixed-size byte ring between one producer and one consumer, in memory of its own
// ("the heap": private pages from the system, huge where it can) or in a mapped file so that buffers
// of a hundred megabytes cost no private memory. It holds at most capacity - 1
// bytes: equal read and write indices mean empty.
//
// With locking on, every call takes the ring's lock and gives it back before it returns. A
// transfer measures what is held or free itself, under that lock, and moves at most that much, so
// no caller needs a "how much" and a transfer to be one step: the answers of GetUsed and GetFree
// are only for deciding whether to wait.
#pragma once

#include "platform/LargeMemory.h"
#include "platform/MappedFile.h"

#include <cstdint>
#include <mutex>
#include <string>

class CCircleBuffer {
public:
    // bFileBacked: the memory is a mapping of the file at path, or, with an empty path, of a new
    // temporary file named after "Circle Buffer" that goes with the ring: file memory the system
    // does not write back to a disk, in no folder where the system can have such a file, else in
    // the temporary folder under a name nobody can foresee, the owner's alone. The file's whole
    // length is reserved first. Without memory (a failed allocation, a full disk or memory or another failed
    // mapping, which is logged, or a capacity of 0) HasMemory is false and every transfer copies
    // nothing.
    CCircleBuffer(uint32_t nCapacity, bool bLocking, bool bFileBacked, const std::u16string& path = {});
    // Deletes a temporary file; cuts a caller-named file that is longer than the bytes ever written
    // to that many, so a ring that never wrapped leaves exactly its bytes behind.
    ~CCircleBuffer();
    CCircleBuffer(const CCircleBuffer&) = delete;
    CCircleBuffer& operator=(const CCircleBuffer&) = delete;

    bool HasMemory() const { return m_pData != nullptr; }
    uint32_t GetCapacity() const { return m_nCapacity; }
    // The backing file (empty when heap backed, or when the ring's own file is in no folder) and
    // whether the ring named it itself.
    const std::u16string& GetPath() const { return m_Path; }
    bool IsTemporary() const { return m_bTemporary; }

    // Bytes held, and room for capacity - used - 1 more.
    uint32_t GetUsed();
    uint32_t GetFree();

    // Copies up to nMax of the bytes held out from the read index and moves it past them; 0 for a
    // null destination.
    uint32_t Read(void* pDestination, uint32_t nMax);
    // Copies up to nMax of the bytes held from nOffset bytes after the read index, leaving the index.
    uint32_t Peek(void* pDestination, uint32_t nMax, uint32_t nOffset);
    // Copies up to nMax bytes in at the write index, as many as there is room for, and moves the
    // index past them.
    uint32_t Write(const void* pSource, uint32_t nMax);
    // For a consumer that takes bytes where they lie: the bytes held from nOffset bytes after the
    // read index, up to nMax and no further than the end of the memory (nSpan bytes; null when
    // none). The producer never writes into held bytes, so they stay put until the read index
    // moves past them.
    const unsigned char* PeekInPlace(uint32_t nMax, uint32_t nOffset, uint32_t& nSpan);
    // For a producer that fills the ring in place: the free memory from the write index on, up to
    // nMax bytes and no further than the end of the memory (nSpace bytes; null when none). It stays
    // out of a Rewind's reach until CommitWrite moves the write index past the nCount bytes put
    // there (at most nSpace).
    unsigned char* BeginWrite(uint32_t nMax, uint32_t& nSpace);
    void CommitWrite(uint32_t nCount);
    // How far Rewind can go back now: free space not being written.
    uint32_t GetRewindable();

    // Moves the read index back by nCount bytes when the ring still holds them (the writer has not
    // taken their space); false, and nothing moves, when it does not.
    bool Rewind(int64_t nCount);
    // Moves the read index forward by up to nCount bytes, never past the bytes held.
    void Skip(int64_t nCount);

    uint64_t GetTotalWritten();

private:
    void Lock();
    void Unlock();
    uint32_t UsedLocked() const;
    uint32_t FreeLocked() const;
    uint32_t RewindableLocked() const;
    void CopyOut(unsigned char* pDestination, uint32_t nStart, uint32_t nCount) const;
    void CopyIn(const unsigned char* pSource, uint32_t nStart, uint32_t nCount);
    static bool IsSmall(uint32_t nCount) { return nCount <= 8192; }
    uint32_t Advanced(uint32_t nIndex, uint64_t nCount) const;
    void CreateFileMemory(const std::u16string& path);
    void LogMappingFailure() const;
    void ReleaseFile();

    const bool m_bLocking;
    std::recursive_mutex m_Lock;
    const bool m_bFileBacked;
    const uint32_t m_nCapacity;
    uint32_t m_nReadIndex = 0;
    uint32_t m_nWriteIndex = 0;
    unsigned char* m_pData = nullptr;
    zu::platform::CLargeMemory m_Memory;  // the ring's memory when it is not a file's
    zu::platform::CMappedFile m_Mapping;
    std::u16string m_Path;
    bool m_bTemporary = false;
    uint64_t m_nTotalWritten = 0;
    uint32_t m_nWriting = 0;  // free bytes a Write or a producer is filling, out of a Rewind's reach
};
