// CSharedBufferingReaderHelper: the cache that every shared buffering reader of one path shares.
// The newest bytes a writer produced stay in a circle buffer; a worker writes the oldest block to
// the file once the cache is within a block of full, and only then lets those bytes go from the
// cache, so each byte is always in the file or in the cache (or in both) for a reader to find.
#pragma once

#include <zureader/Reader.h>

#include "buffering/CircleBuffer.h"
#include "core/Thread.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

class CSharedBufferingReaderHelper final : public CThread {
public:
    // Owns pFile and pSink. Without a sink a writable cache makes one for the path (created anew);
    // without a file reader it opens one for the path.
    CSharedBufferingReaderHelper(const std::u16string& path, bool bWritable, uint32_t nCapacity, uint32_t nBlockSize,
                                 VReader* pFile, VReader* pSink);
    // Writes what the cache holds, then closes the sink and the file reader.
    ~CSharedBufferingReaderHelper() override;

    uint32_t ReadAt(int64_t nPosition, void* pBuffer, uint32_t nCount);
    // Waits while the cache is full. A write anywhere but the cache's end empties the cache first.
    void WriteAt(int64_t nPosition, const void* pBuffer, uint32_t nCount);
    // The file's length or the cache's end, whichever is further.
    int64_t GetLength();
    ZUBOOL SetEndOfFile();
    bool HasSink() const { return m_pSink != nullptr; }
    // Takes pFile over in place of the file reader it has.
    void ReplaceFileReader(VReader* pFile);

    // Reader objects sharing this cache; the registry counts them under its own lock.
    std::atomic<int32_t> m_nReferences{1};

protected:
    int32_t Thread() override;

private:
    // With m_WriteLock held: writes every cached byte to the sink; the cache then starts at
    // nNewBase, or, given -1, goes on after the bytes written.
    void FlushAll(int64_t nNewBase);
    void StopWorker();
    // Puts up to nCount of the oldest cached bytes into the sink at the base offset, then lets
    // them go from the cache; answers how many went.
    uint32_t WriteOldest(uint32_t nCount);
    // With m_WriteLock held: copies as much as fits at once into the cache.
    uint32_t CopyIntoCache(const unsigned char* pBytes, uint32_t nCount);
    void WaitForRoom();
    // Under m_Lock: up to nCount cached bytes from nOffset bytes after the base.
    uint32_t PeekCache(int64_t nOffset, unsigned char* pBuffer, uint32_t nCount);
    uint32_t ReadFromFile(int64_t nPosition, unsigned char* pBuffer, uint32_t nCount);
    // Bytes a file reader of a file that goes on past the cache has there.
    uint32_t ReadPastTheCache(int64_t nFrom, int64_t nPosition, unsigned char* pBuffer, uint32_t nCount);
    // Under m_Lock: the worker has a block to write.
    bool IsWithinABlockOfFull();

    // Guards the cache's indices and the base offset, never held across a copy of many bytes or a
    // file transfer: the writer copies into free space, and the worker writes held bytes from
    // where they lie, without it, since nobody else touches those bytes meanwhile.
    std::mutex m_Lock;
    // One writing view at a time (and a flush): the free space of the cache is the holder's.
    std::mutex m_WriteLock;
    // The file reader is shared by every view; a read seeks it and reads at once under this lock.
    std::mutex m_FileLock;
    std::condition_variable m_BlockReady;  // the worker has a block to write, or is to stop
    std::condition_variable m_RoomMade;    // a block left the cache
    int64_t m_nBase = 0;                   // file position of the oldest cached byte
    CCircleBuffer m_Cache;
    std::u16string m_Path;
    std::unique_ptr<VReader> m_pSink;
    std::unique_ptr<VReader> m_pFile;
    const uint32_t m_nBlockSize;
};
