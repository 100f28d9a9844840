#include "buffering/CirclingReader.h"

#include "core/FunctionLog.h"

#include <algorithm>
#include <limits>

using namespace zu;

CCirclingReader::CCirclingReader(VReader* pChild) : VCirclingReader(pChild)
{
    m_nType = ZU_READER_CIRCLING;
}

void CCirclingReader::SetEndOfStreamPosition(int64_t nPosition)
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_nEndOfStreamPosition = nPosition;
}

int64_t CCirclingReader::GetEndOfStreamPosition()
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    return m_nEndOfStreamPosition;
}

uint32_t CCirclingReader::Read(void* pBuffer, uint32_t nCount)
{
    CFunctionLog log(LOG_READER, u"VCirclingReader::Read");
    log.Log(u"Reading %d bytes", nCount);
    return static_cast<uint32_t>(ReadInt64(pBuffer, nCount, 1));
}

// An end behind the current position lies in the next lap: the rest of this lap, then the part of
// the next one from the restart position up to the end. Positions are the host's and the child's
// to set (an unknown one is -1): a distance beyond 64 bits counts as no limit.
int64_t CCirclingReader::BytesBeforeEndOfStream(int64_t nEnd, int64_t nPosition)
{
    constexpr int64_t kNoLimit = std::numeric_limits<int64_t>::max();
    int64_t nBefore;
    if (nEnd >= nPosition)
        return __builtin_sub_overflow(nEnd, nPosition, &nBefore) ? kNoLimit : nBefore;
    int64_t nRestOfLap;
    int64_t nNextLap;
    if (__builtin_sub_overflow(GetLength(), nPosition, &nRestOfLap) ||
        __builtin_sub_overflow(nEnd, m_nRestartPosition, &nNextLap) ||
        __builtin_add_overflow(nRestOfLap, nNextLap, &nBefore))
        return kNoLimit;
    return nBefore;
}

int64_t CCirclingReader::ReadInt64(void* pBuffer, int64_t nBytes, ZUBOOL bWrap)
{
    CFunctionLog log(LOG_READER, u"VCirclingReader::ReadInt64");
    const int64_t nEnd = GetEndOfStreamPosition();
    int64_t nWanted = nBytes;
    if (nEnd >= 0) {
        const int64_t nPosition = GetPosition();
        log.Log(u"EOSPosition %I64d Curr Position %I64d", nEnd, nPosition);
        const int64_t nBefore = BytesBeforeEndOfStream(nEnd, nPosition);
        log.Log(u"Bytes before EOS %I64d bytes", nBefore);
        nWanted = std::min(std::max<int64_t>(nBefore, 0), nBytes);
    }
    nWanted = std::clamp<int64_t>(nWanted, 0, std::numeric_limits<uint32_t>::max());
    int64_t nRead = VWrappingReader::Read(pBuffer, static_cast<uint32_t>(nWanted));
    // Short of the request for another reason than the end-of-stream cap: the child's end.
    if (bWrap == 1 && nRead < nBytes && nRead != nWanted && GetPosition() >= GetLength() && m_bCircling) {
        log.Log(u"Seeking to %I64d", m_nRestartPosition);
        SetPosition(m_nRestartPosition, ZU_SEEK_BEGIN);
        nRead += ReadInt64(static_cast<unsigned char*>(pBuffer) + nRead, nBytes - nRead, 0);
    }
    log.Log(u"%d bytes read", nRead);
    return nRead;
}
