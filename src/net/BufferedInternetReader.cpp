#include "net/BufferedInternetReader.h"

#include "core/DecimalText.h"
#include "core/Format.h"
#include "core/FunctionLog.h"
#include "net/DownloadThread.h"
#include "platform/SystemString.h"
#include "platform/System.h"

#include <algorithm>
#include <exception>

using namespace zu;
using namespace zu::platform;

namespace {

constexpr uint32_t kFailedRead = 0xFFFFFFFFu;
constexpr uint32_t kOpenPollMs = 10;
constexpr uint32_t kPollMs = 1;
constexpr uint32_t kSmallestChunk = 1024;
constexpr uint32_t kLargestChunk = 4 * 1024 * 1024;
constexpr uint32_t kDefaultTimeoutMs = 10000;

double SecondsSince(int64_t nStartCounter)
{
    return static_cast<double>(PerformanceCounter() - nStartCounter) / static_cast<double>(PerformanceFrequency());
}

}  // namespace

CBufferedInternetReader::CBufferedInternetReader(const ZUCHAR* pszURL)
    : m_strURL(pszURL ? reinterpret_cast<const char16_t*>(pszURL) : u"")
{
    m_nTimeout = kDefaultTimeoutMs;
}

CBufferedInternetReader::~CBufferedInternetReader()
{
    Close();
}

ZUBOOL CBufferedInternetReader::Open()
try {
    CFunctionLog log(LOG_READER, u"BufferedInternetReader::Open");
    if (m_bOpen)
        return 1;
    const int64_t nChunk = CDecimalText::ToInt64(GetOption(u"DOWNLOAD_CHUNK"));
    m_nChunk = nChunk > 0 ? static_cast<uint32_t>(std::clamp<int64_t>(nChunk, kSmallestChunk, kLargestChunk))
                          : kDefaultChunk;
    m_FailureInfo.clear();
    m_bWriteFailed = false;
    if (!RunBackgroundReader(0, -1))
        return 0;
    m_nTotalLength = m_pThread->ReportedLength();
    if (m_Cache.IsOpen())
        WaitForActiveEnd(1, kOpenWaitMs, kOpenPollMs);
    else
        StopThread();
    m_bOpen = m_Cache.IsOpen() ? 1 : 0;
    SetReadPosition(0);
    return 1;
} catch (const std::exception&) {
    return 0;
}

void CBufferedInternetReader::Close()
{
    CFunctionLog log(LOG_READER, u"BufferedInternetReader::Close");
    StopThread();
    m_Cache.Close();
    m_Ranges.Clear();
    m_nActiveRange = -1;
    m_nTotalLength = -1;
    SetReadPosition(0);
    m_bOpen = 0;
}

bool CBufferedInternetReader::RunBackgroundReader(int64_t nStart, int64_t nEnd)
try {
    CFunctionLog log(LOG_READER, u"BufferedInternetReader::RunBackgroundReader");
    StopThread();
    auto pThread = std::make_unique<CDownloadThread>(m_strURL, m_Options, m_nTimeout, nStart, nEnd, m_nChunk);
    if (!pThread->IsSourceOpen()) {
        KeepFailure(*pThread);
        return false;
    }
    m_pThread = std::move(pThread);
    // The first download learns the resource's size, which the cache file takes at once. Without
    // a cache file the reader serves nothing, and no download is begun.
    if (!m_Cache.IsOpen() && (m_Ranges.Count() > 0 || !m_Cache.Create(m_pThread->ReportedLength())))
        return true;
    m_nActiveRange = m_Ranges.Add(nStart);
    const CDownloadThread::CShared shared{m_Cache, m_nReadPosition, m_nAwaitedEnd, m_bWriteFailed};
    if (!m_pThread->Begin(shared, m_nActiveRange, m_Ranges.EndOf(m_nActiveRange)))
        return false;
    log.Log(u"Download thread %d starting. Start %I64d end %I64d", m_nActiveRange, nStart, m_pThread->RangeEnd());
    return true;
} catch (const std::exception&) {
    return false;
}

void CBufferedInternetReader::KeepFailure(const CDownloadThread& thread)
{
    for (const char16_t* pszName : {u"Error", u"StatusCode", u"StatusText"})
        m_FailureInfo[pszName] = thread.SourceInfo(pszName);
}

void CBufferedInternetReader::StopThread()
{
    m_pThread.reset();
}

bool CBufferedInternetReader::IsThreadRunning() const
{
    return m_pThread && m_pThread->IsRunning();
}

int32_t CBufferedInternetReader::LiveRange() const
{
    return IsThreadRunning() ? m_nActiveRange : -1;
}

int64_t CBufferedInternetReader::ActiveEnd() const
{
    return m_nActiveRange >= 0 ? m_Ranges.End(m_nActiveRange) : -1;
}

void CBufferedInternetReader::SetReadPosition(int64_t nPosition)
{
    m_nReadPosition.store(nPosition, std::memory_order_release);
}

int64_t CBufferedInternetReader::ReachFrom(int64_t nPosition, int64_t nEnd)
{
    const int32_t nLive = LiveRange();
    int32_t nRange = m_Ranges.FindCovering(nPosition, nLive);
    int64_t nReached = nPosition;
    while (nRange >= 0) {
        nReached = std::max(nReached, m_Ranges.End(nRange));
        if (nReached >= nEnd || nRange == nLive)
            break;
        nRange = m_Ranges.FindCovering(nReached, nLive);
    }
    return nReached;
}

int64_t CBufferedInternetReader::GapEndBefore(int64_t nEnd, int64_t nReached) const
{
    while (nEnd > nReached) {
        const int32_t nRange = m_Ranges.FindReaching(nEnd);
        if (nRange < 0)
            break;
        nEnd = m_Ranges.Start(nRange);
    }
    return nEnd;
}

// The running download brings the gap when it is in its range and already there, or about to be.
bool CBufferedInternetReader::IsOnItsWay(int64_t nGapStart, int64_t nGapEnd) const
{
    if (!IsThreadRunning() || m_pThread->RangeEnd() < nGapEnd)
        return false;
    const int64_t nStart = m_Ranges.Start(m_nActiveRange);
    const int64_t nEnd = ActiveEnd();
    if (nStart <= nGapStart && nGapStart <= nEnd)
        return true;
    return nStart <= nGapStart && nEnd < nGapEnd && nGapEnd - nEnd < CDownloadThread::kNearEnd;
}

int64_t CBufferedInternetReader::LimitFrom(int64_t nFrom, bool bStrictlyAbove) const
{
    const int64_t nNext = m_Ranges.NextStart(nFrom, bStrictlyAbove);
    if (nNext < 0)
        return m_nTotalLength;
    return std::min(nNext, m_nTotalLength);
}

bool CBufferedInternetReader::RestartForGap(int64_t nGapStart, int64_t nGapEnd)
{
    CFunctionLog log(LOG_READER, u"BufferedInternetReader::Read");
    log.Log(u"needs to start a new thread %I64d - %I64d", nGapStart, nGapEnd);
    if (IsThreadRunning()) {
        // A download within a few bytes of its range's end finishes it before it stops.
        StopThread();
        const int64_t nStart = m_Ranges.Start(m_nActiveRange);
        const int64_t nEnd = ActiveEnd();
        if (nStart <= nGapStart && nGapStart < nEnd)
            nGapStart = nEnd;
        if (nStart < nGapEnd && nGapEnd <= nEnd)
            nGapEnd = nStart;
        if (nGapStart >= nGapEnd) {
            log.Log(u"no more need to start thread.  %I64d - %I64d", nGapStart, nGapEnd);
            return true;
        }
    }
    log.Log(u"starting thread.  %I64d - %I64d", nGapStart, nGapEnd);
    return RunBackgroundReader(nGapStart, LimitFrom(nGapEnd, false));
}

bool CBufferedInternetReader::WaitForActiveEnd(int64_t nTarget, uint32_t nMilliseconds, uint32_t nPollMs)
{
    const uint32_t nStart = TickCount();
    while (ActiveEnd() < nTarget) {
        // A download that has ended brings nothing more, and one that cannot write never will.
        if (!IsThreadRunning() || m_bWriteFailed.load(std::memory_order_acquire))
            return ActiveEnd() >= nTarget;
        if (TickCount() - nStart >= nMilliseconds)
            return false;
        SleepMilliseconds(nPollMs);
    }
    return true;
}

uint32_t CBufferedInternetReader::Read(void* pBuffer, uint32_t nCount)
try {
    if (!m_bOpen)
        return 0;
    const int64_t nPosition = m_nReadPosition.load(std::memory_order_relaxed);
    int64_t nEnd = WithinLength(nPosition, nPosition + nCount);
    const int64_t nReached = ReachFrom(nPosition, nEnd);
    if (nReached < nEnd) {
        const int64_t nGapEnd = GapEndBefore(nEnd, nReached);
        if (nReached < nGapEnd && !FetchGap(nReached, nGapEnd))
            return kFailedRead;
        // Fetching may have found where a resource without a length ends.
        nEnd = WithinLength(nPosition, nEnd);
    }
    const uint32_t nRead = m_Cache.Read(nPosition, pBuffer, static_cast<uint32_t>(nEnd - nPosition));
    SetReadPosition(nPosition + nRead);
    return nRead;
} catch (const std::exception&) {
    return kFailedRead;
}

// A read ends at the resource's end, once that is known.
int64_t CBufferedInternetReader::WithinLength(int64_t nPosition, int64_t nEnd) const
{
    return m_nTotalLength >= 0 ? std::min(nEnd, std::max(nPosition, m_nTotalLength)) : nEnd;
}

// Brings the missing bytes from nGapStart to nGapEnd into the cache, waiting for them.
bool CBufferedInternetReader::FetchGap(int64_t nGapStart, int64_t nGapEnd)
{
    CFunctionLog log(LOG_READER, u"BufferedInternetReader::Read");
    // Published before a download starts: its first chunk may already be judged against it.
    m_nAwaitedEnd.store(nGapEnd, std::memory_order_release);
    const struct CNoLongerAwaited {
        std::atomic<int64_t>& awaitedEnd;
        ~CNoLongerAwaited() { awaitedEnd.store(-1, std::memory_order_release); }
    } noLongerAwaited{m_nAwaitedEnd};
    if (!IsOnItsWay(nGapStart, nGapEnd) && !RestartForGap(nGapStart, nGapEnd))
        return LearnedEnd(nGapStart);
    const int64_t nWaitStart = PerformanceCounter();
    const bool bArrived = WaitForActiveEnd(nGapEnd, kReadWaitMs, kPollMs);
    log.Log(u"waited %f sec", SecondsSince(nWaitStart));
    if (m_bWriteFailed.load(std::memory_order_acquire))
        m_FailureInfo[u"StatusText"] = u"The cache file could not be written: the disk may be full.";
    return bArrived || LearnedEnd(nGapStart);
}

// A server that named no length tells where the resource ends by closing a download short of
// what it was asked, or by refusing a range that starts there (416). The length is known from then.
bool CBufferedInternetReader::LearnedEnd(int64_t nGapStart)
{
    if (m_nTotalLength >= 0)
        return false;
    if (m_pThread && m_pThread->DataEnd() >= 0)
        m_nTotalLength = m_pThread->DataEnd();
    else if (nGapStart > 0 && m_FailureInfo[u"StatusCode"] == u"416")
        m_nTotalLength = nGapStart;
    return m_nTotalLength >= 0;
}

uint32_t CBufferedInternetReader::Write(const void*, uint32_t)
{
    return 0;
}

int64_t CBufferedInternetReader::SetPosition(int64_t nOffset, uint32_t nOrigin)
try {
    CFunctionLog log(LOG_READER, u"BufferedInternetReader::SetPosition");
    if (nOrigin != ZU_SEEK_BEGIN || !m_bOpen || nOffset < 0)
        return -1;
    // The end itself is a place to be, though no byte is there to fetch.
    if (m_Ranges.FindCovering(nOffset, LiveRange()) >= 0 || nOffset == m_nTotalLength) {
        SetReadPosition(nOffset);
        return nOffset;
    }
    if (m_nTotalLength >= 0 && nOffset > m_nTotalLength)
        return -1;
    const int64_t nActiveEnd = ActiveEnd();
    if (IsThreadRunning() && nActiveEnd < nOffset && m_pThread->RangeEnd() >= nOffset &&
        nOffset - nActiveEnd < CDownloadThread::kNearEnd) {
        WaitForActiveEnd(nOffset, kNearSeekWaitMs, kPollMs);
        SetReadPosition(nOffset);
        return nOffset;
    }
    const int64_t nLimit = LimitFrom(nOffset, true);
    const int64_t nJoin = m_Ranges.LastEndUpTo(nOffset);
    const bool bJoin = nJoin >= 0 && nJoin < nOffset && nOffset - nJoin < kSeekJoinGap;
    // The new download counts its read-ahead from the new position, from its first chunk on;
    // judged against the old one it could stop for good at once.
    const int64_t nPrevious = GetPosition();
    SetReadPosition(nOffset);
    if (!RunBackgroundReader(bJoin ? nJoin : nOffset, nLimit)) {
        SetReadPosition(nPrevious);
        return -1;
    }
    if (bJoin)
        WaitForActiveEnd(nOffset, kShortWaitMs, kPollMs);
    return nOffset;
} catch (const std::exception&) {
    return -1;
}

int64_t CBufferedInternetReader::GetLength()
{
    return m_nTotalLength;
}

int64_t CBufferedInternetReader::GetPosition()
{
    return m_nReadPosition.load(std::memory_order_relaxed);
}

ZUBOOL CBufferedInternetReader::SetEndOfFile()
{
    return 0;
}

ZUBOOL CBufferedInternetReader::IsLengthUnknown()
{
    return 1;
}

ZUBOOL CBufferedInternetReader::IsRemote()
{
    return 1;
}

ZUBOOL CBufferedInternetReader::IsOpen()
{
    return m_Cache.IsOpen() ? 1 : 0;
}

ZUBOOL CBufferedInternetReader::IsReadOnly()
{
    return 1;
}

std::u16string CBufferedInternetReader::RangesText() const
{
    std::u16string text;
    for (int32_t i = 0; i < m_Ranges.Count(); ++i)
        text += Format(i == 0 ? u"%I64d-%I64d" : u",%I64d-%I64d", m_Ranges.Start(i), m_Ranges.End(i));
    return text;
}

ZUBSTR CBufferedInternetReader::GetInfo(const ZUCHAR* pszName)
try {
    const std::u16string name = pszName ? reinterpret_cast<const char16_t*>(pszName) : u"";
    if (name == u"Location")
        return AllocSystemString(m_strURL);
    if (name == u"CacheFile")
        return AllocSystemString(m_Cache.Path());
    if (name == u"Ranges")
        return AllocSystemString(RangesText());
    const auto found = m_FailureInfo.find(name);
    return found == m_FailureInfo.end() ? nullptr : AllocSystemString(found->second);
} catch (const std::exception&) {
    return nullptr;
}
