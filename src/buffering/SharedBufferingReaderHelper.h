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
    // Writes every cached byte to the sink; the cache then starts at nNewBase, or, given -1, goes on
    // after the bytes written.
    void FlushAll(int64_t nNewBase);
    // Puts n cached bytes to the sink at the base offset, then lets them go from the cache.
    void WriteOldest(uint32_t nCount, unsigned char* pScratch);
    uint32_t ReadFromFile(int64_t nPosition, unsigned char* pBuffer, uint32_t nCount);
    uint32_t CacheUsed();
    // Under the lock: the worker has a block to write.
    bool IsWithinABlockOfFull();

    std::recursive_mutex m_Lock;  // guards the cache, the base offset and the file reader
    // Wakes the worker when the cache has a block for it, and a waiting writer when a block has
    // left; both still look again after their poll intervals.
    std::condition_variable_any m_Changed;
    int64_t m_nBase = 0;          // file position of the oldest cached byte
    CCircleBuffer m_Cache;
    std::u16string m_Path;
    std::unique_ptr<VReader> m_pSink;
    std::unique_ptr<VReader> m_pFile;
    const uint32_t m_nBlockSize;
};
