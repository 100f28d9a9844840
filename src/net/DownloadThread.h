// CDownloadThread: fetches one byte range of a remote resource into the cache file, on a worker.
// The constructor makes and opens the Internet reader for the range (so its owner knows at once
// whether the range can be had); Start then runs the body, which writes chunk after chunk at the
// range's offsets and moves the range's end after each. It stops at the range's end, at the end of
// the data, on a stop request (unless within the last few bytes of the range, which it finishes),
// or for good once it is more than the read-ahead limit ahead of its owner's reader.
#pragma once

#include "core/Thread.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

class CCacheFile;
class CInternetReader;

class CDownloadThread : public CThread {
public:
    // What the owner lends its download thread for the thread's whole life.
    struct CShared {
        CCacheFile& cache;
        // Where the owner reads: the read-ahead limit counts from here.
        const std::atomic<int64_t>& readPosition;
        // The end of a read the owner waits for, which a read larger than the limit may put
        // beyond it; -1 while none waits.
        const std::atomic<int64_t>& awaitedEnd;
        // Set when writing the cache failed (the disk is full): no download can help then.
        std::atomic<bool>& writeFailed;
    };

    // nEnd -1: up to the end of the resource. Options and the time-out are the owner's.
    CDownloadThread(const std::u16string& url, const std::unordered_map<std::u16string, std::u16string>& options,
                    uint32_t nTimeout, int64_t nStart, int64_t nEnd, uint32_t nChunk);
    ~CDownloadThread() override;

    bool IsSourceOpen() const { return m_bSourceOpen; }
    // What the Internet reader says (GetInfo), also of a range it could not open.
    std::u16string SourceInfo(const char16_t* pszName) const;
    // The length the server reported for the range; -1 when it named none.
    int64_t ReportedLength() const { return m_nReportedLength; }
    int64_t RangeStart() const { return m_nStart; }
    int64_t RangeEnd() const { return m_nEnd; }
    // Where the data ended, when the server named no length and the data ended; -1 otherwise.
    int64_t DataEnd() const { return m_nDataEnd.load(std::memory_order_acquire); }
    // Runs the body, writing into the range nIndex whose end is rangeEnd.
    bool Begin(const CShared& shared, int32_t nIndex, std::atomic<int64_t>& rangeEnd);

    static constexpr int64_t kReadAheadLimit = 16 * 1024 * 1024;
    static constexpr int64_t kNearEnd = 128 * 1024;
    static constexpr int64_t kCancelGrace = 3072;

protected:
    int32_t Thread() override;
    // The body always ends soon on its own (a chunk, or the reader's time-out on a silent server);
    // killing it inside the transfer library would leave that library's state to chance.
    ZUBOOL CanTerminate() override { return 0; }

private:
    // Whether the body should fetch more after writing up to nPosition.
    bool KeepGoingAfter(int64_t nPosition) const;
    void NoteDataEnd(int64_t nPosition);
    void LogEnd(bool bKeepGoing);

    std::unique_ptr<CInternetReader> m_pSource;
    bool m_bSourceOpen = false;
    const int64_t m_nStart;
    int64_t m_nEnd;
    int64_t m_nReportedLength = -1;
    const uint32_t m_nChunk;
    std::unique_ptr<CShared> m_pShared;
    int32_t m_nIndex = -1;
    std::atomic<int64_t>* m_pRangeEnd = nullptr;
    std::atomic<int64_t> m_nDataEnd{-1};
};
