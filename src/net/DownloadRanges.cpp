#include "net/DownloadRanges.h"

int32_t CDownloadRanges::Add(int64_t nStart)
{
    m_Ranges.emplace_back(nStart);
    return Count() - 1;
}

bool CDownloadRanges::Covers(int32_t nIndex, int64_t nPosition, int32_t nLive) const
{
    const int64_t nEnd = End(nIndex);
    return Start(nIndex) <= nPosition && (nPosition < nEnd || (nPosition == nEnd && nIndex == nLive));
}

int32_t CDownloadRanges::FindCovering(int64_t nPosition, int32_t nLive) const
{
    for (int32_t i = 0; i < Count(); ++i) {
        if (Covers(i, nPosition, nLive))
            return i;
    }
    return -1;
}

int32_t CDownloadRanges::FindReaching(int64_t nEnd) const
{
    for (int32_t i = 0; i < Count(); ++i) {
        if (Start(i) < nEnd && nEnd <= End(i))
            return i;
    }
    return -1;
}

int64_t CDownloadRanges::NextStart(int64_t nPosition, bool bStrictlyAbove) const
{
    int64_t nBest = -1;
    for (int32_t i = 0; i < Count(); ++i) {
        const int64_t nStart = Start(i);
        const bool bAfter = bStrictlyAbove ? nStart > nPosition : nStart >= nPosition;
        if (bAfter && (nBest < 0 || nStart < nBest))
            nBest = nStart;
    }
    return nBest;
}

int64_t CDownloadRanges::LastEndUpTo(int64_t nPosition) const
{
    int64_t nBest = -1;
    for (int32_t i = 0; i < Count(); ++i) {
        const int64_t nEnd = End(i);
        if (nEnd <= nPosition && nEnd > nBest)
            nBest = nEnd;
    }
    return nBest;
}
