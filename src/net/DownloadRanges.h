// CDownloadRanges: the byte ranges of a remote resource that its cache file holds. A range starts
// where a download began and ends where that download has written up to (exclusive). Ranges are
// only ever added, never merged or removed, and only by the owner; a download thread moves the end
// of its own range alone. So each end is an atomic that only grows, and the ranges live in a deque,
// where adding one never moves the others: a download thread's end stays where it was handed out.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>

class CDownloadRanges {
public:
    // Adds the empty range (nStart, nStart); answers its index.
    int32_t Add(int64_t nStart);
    // Only while no download runs: a download thread holds the end of its range.
    void Clear() { m_Ranges.clear(); }
    int32_t Count() const { return static_cast<int32_t>(m_Ranges.size()); }
    int64_t Start(int32_t nIndex) const { return m_Ranges[nIndex].nStart; }
    int64_t End(int32_t nIndex) const { return m_Ranges[nIndex].nEnd.load(std::memory_order_acquire); }
    // What a download thread stores its progress through.
    std::atomic<int64_t>& EndOf(int32_t nIndex) { return m_Ranges[nIndex].nEnd; }

    // The first range that covers nPosition, -1 when none does. nLive is the range whose download
    // is still running (-1 when none is): its end counts too, since those bytes are on their way.
    int32_t FindCovering(int64_t nPosition, int32_t nLive) const;
    // The first range with start < nEnd <= end, -1 when none.
    int32_t FindReaching(int64_t nEnd) const;
    // The smallest start at or above nPosition (above it with bStrictlyAbove); -1 when none.
    int64_t NextStart(int64_t nPosition, bool bStrictlyAbove) const;
    // The highest end at or below nPosition; -1 when none.
    int64_t LastEndUpTo(int64_t nPosition) const;

private:
    struct CRange {
        explicit CRange(int64_t nFrom) : nStart(nFrom), nEnd(nFrom) {}
        const int64_t nStart;
        std::atomic<int64_t> nEnd;
    };

    bool Covers(int32_t nIndex, int64_t nPosition, int32_t nLive) const;

    std::deque<CRange> m_Ranges;
};
