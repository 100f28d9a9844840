// CCircleBuffer: a fixed-size byte ring between one producer and one consumer, in memory of its own
// ("the heap": private pages from the system, huge where it can) or in a mapped file so that buffers
// of a hundred megabytes cost no private memory. It holds at most capacity - 1
// bytes: equal read and write indices mean empty.
//
// With locking on, the ring guards its indices with its own lock, and a caller makes "how much is
// there" and "copy it" one step: GetUsed or GetFree with bRelease false keeps the lock, and the
// one Read, Peek or Write that follows gives it back. A transfer called without such a query takes
// and gives back the lock itself. Transfers do not check counts against what is held or free: the
// caller does (they only keep every copy inside the ring's memory).
#pragma once

#include "platform/LargeMemory.h"
#include "platform/MappedFile.h"

#include <cstdint>
#include <mutex>
#include <string>

class CCircleBuffer {
public:
    // bFileBacked: the memory is a mapping of the file at path, or, with an empty path, of a new
    // temporary file named after "Circle Buffer" (under a name nobody can foresee, readable by its
    // owner alone) that the destructor deletes. The file's whole length is reserved on the disk
    // first. Without memory (a failed allocation, a full disk or another failed mapping, which is
    // logged, or a capacity of 0) HasMemory is false and every transfer copies nothing.
    CCircleBuffer(uint32_t nCapacity, bool bLocking, bool bFileBacked, const std::u16string& path = {});
    // Deletes a temporary file; cuts a caller-named file that is longer than the bytes ever written
    // to that many, so a ring that never wrapped leaves exactly its bytes behind.
    ~CCircleBuffer();
    CCircleBuffer(const CCircleBuffer&) = delete;
    CCircleBuffer& operator=(const CCircleBuffer&) = delete;

    bool HasMemory() const { return m_pData != nullptr; }
    uint32_t GetCapacity() const { return m_nCapacity; }
    // The backing file (empty when heap backed) and whether the ring named it itself.
    const std::u16string& GetPath() const { return m_Path; }
    bool IsTemporary() const { return m_bTemporary; }

    // Bytes held. With bRelease false the lock stays held for the transfer that must follow.
    uint32_t GetUsed(bool bRelease = true);
    // Room for capacity - used - 1 more bytes; same locking rule as GetUsed.
    uint32_t GetFree(bool bRelease = true);

    // Copies nCount bytes out from the read index and moves it past them; 0 for a null destination.
    uint32_t Read(void* pDestination, uint32_t nCount);
    // Copies nCount bytes that start nOffset bytes after the read index, leaving the index.
    uint32_t Peek(void* pDestination, uint32_t nCount, uint32_t nOffset);
    // Copies nCount bytes in at the write index and moves it past them.
    uint32_t Write(const void* pSource, uint32_t nCount);
    // For a producer that fills the ring in place: the free memory from the write index on, up to
    // nMax bytes and no further than the end of the memory (nSpace bytes; null when none). It stays
    // out of a Rewind's reach until CommitWrite moves the write index past the nCount bytes put
    // there (at most nSpace). Gives back a preceding query's lock, as a transfer does.
    unsigned char* BeginWrite(uint32_t nMax, uint32_t& nSpace);
    void CommitWrite(uint32_t nCount);
    // How far Rewind can go back now: free space not being written. Same locking rule as GetUsed.
    uint32_t GetRewindable(bool bRelease = true);

    // Moves the read index back by up to nCount bytes, never further than the free space, so that
    // only bytes the writer has not overwritten come back.
    void Rewind(int64_t nCount);
    // Moves the read index forward by up to nCount bytes, never past the bytes held.
    void Skip(int64_t nCount);

    uint64_t GetTotalWritten();

private:
    void Lock();
    void Unlock();
    // Gives back the query's lock, or keeps it for the transfer that follows.
    uint32_t EndQuery(uint32_t nAnswer, bool bRelease);
    // Gives back the transfer's own lock and the one a preceding query kept.
    void EndTransfer();
    uint32_t UsedLocked() const;
    uint32_t FreeLocked() const;
    uint32_t RewindableLocked() const;
    void CopyOut(unsigned char* pDestination, uint32_t nStart, uint32_t nCount) const;
    void CopyIn(const unsigned char* pSource, uint32_t nStart, uint32_t nCount);
    static bool IsSmall(uint32_t nCount) { return nCount <= 8192; }
    uint32_t Bounded(uint32_t nCount) const { return nCount < m_nCapacity ? nCount : m_nCapacity; }
    uint32_t Advanced(uint32_t nIndex, uint64_t nCount) const;
    void CreateFileMemory(const std::u16string& path);
    void LogMappingFailure() const;
    void ReleaseFile();

    const bool m_bLocking;
    std::recursive_mutex m_Lock;
    int m_nQueryHolds = 0;  // locks kept by GetUsed/GetFree for the next transfer
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
