// CBufferedInternetReader: makes a remote resource seekable. It downloads the resource into a
// temporary cache file of the resource's size, one download thread at a time, each fetching one
// byte range with a Range request, and keeps the list of ranges the file holds. Read serves bytes
// from the cache file: at once when they are there, after a wait when the running download is about
// to bring them, otherwise after starting a download where they are missing. SetPosition does the
// same for a seek. Reads never touch the network on the caller's thread.
//
// Options are passed on to each download's Internet reader (RECONNECT is on for them unless set to
// "0"); "DOWNLOAD_CHUNK" sets how many bytes a download fetches and writes in one step.
#pragma once

#include <zureader/Reader.h>

#include "net/CacheFile.h"
#include "net/DownloadRanges.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

class CDownloadThread;

class CBufferedInternetReader : public VReader {
public:
    explicit CBufferedInternetReader(const ZUCHAR* pszURL);
    ~CBufferedInternetReader() override;

    ZUBOOL Open() override;
    void Close() override;
    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    uint32_t Write(const void* pBuffer, uint32_t nCount) override;
    int64_t GetLength() override;
    int64_t GetPosition() override;
    int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) override;
    ZUBOOL SetEndOfFile() override;
    ZUBOOL IsLengthUnknown() override;
    ZUBOOL IsRemote() override;
    ZUBOOL IsOpen() override;
    ZUBOOL IsReadOnly() override;
    // "Location"; "CacheFile", the cache file's path; "Ranges", the byte ranges the cache holds
    // as "start-end" pairs (end exclusive) joined by commas, in the order their downloads began,
    // for a seek bar that shows what is buffered; and after a failed download "Error",
    // "StatusCode" and "StatusText" as the Internet reader gave them.
    ZUBSTR GetInfo(const ZUCHAR* pszName) override;

    // Replaces the download thread by one for the range nStart to nEnd (-1: to the end).
    bool RunBackgroundReader(int64_t nStart, int64_t nEnd);

    static constexpr uint32_t kDefaultChunk = 64 * 1024;
    static constexpr int64_t kSeekJoinGap = 16 * 1024;
    static constexpr uint32_t kOpenWaitMs = 20000;
    static constexpr uint32_t kReadWaitMs = 30000;
    static constexpr uint32_t kNearSeekWaitMs = 2000;
    static constexpr uint32_t kShortWaitMs = 1000;

private:
    bool IsThreadRunning() const;
    // The active range while its download runs, -1 otherwise.
    int32_t LiveRange() const;
    int64_t ActiveEnd() const;
    // How far from nPosition the cache holds the bytes without a gap, counting bytes on their way.
    int64_t ReachFrom(int64_t nPosition, int64_t nEnd);
    // The start of the bytes before nEnd that the cache already holds from there to nEnd.
    int64_t GapEndBefore(int64_t nEnd, int64_t nReached) const;
    bool IsOnItsWay(int64_t nGapStart, int64_t nGapEnd) const;
    // Stops the running download and starts one for the gap unless the stopped one covered it.
    bool RestartForGap(int64_t nGapStart, int64_t nGapEnd);
    // The end of a new download that is to cover nFrom onwards: the next range's start, or the
    // resource's end when that comes first.
    int64_t LimitFrom(int64_t nFrom, bool bStrictlyAbove) const;
    // Polls until the active range reaches nTarget, its download ends, or nMilliseconds pass.
    bool WaitForActiveEnd(int64_t nTarget, uint32_t nMilliseconds, uint32_t nPollMs);
    void StopThread();
    int64_t WithinLength(int64_t nPosition, int64_t nEnd) const;
    bool FetchGap(int64_t nGapStart, int64_t nGapEnd);
    bool LearnedEnd(int64_t nGapStart);
    void KeepFailure(const CDownloadThread& thread);
    void SetReadPosition(int64_t nPosition);
    std::u16string RangesText() const;

    const std::u16string m_strURL;
    CCacheFile m_Cache;
    CDownloadRanges m_Ranges;
    int32_t m_nActiveRange = -1;
    std::atomic<int64_t> m_nReadPosition{0};
    std::atomic<int64_t> m_nAwaitedEnd{-1};
    std::atomic<bool> m_bWriteFailed{false};
    int64_t m_nTotalLength = -1;
    uint32_t m_nChunk = kDefaultChunk;
    std::map<std::u16string, std::u16string> m_FailureInfo;
    std::unique_ptr<CDownloadThread> m_pThread;
};
