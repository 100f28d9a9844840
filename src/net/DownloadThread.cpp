#include "net/DownloadThread.h"

#include "core/Log.h"
#include "net/CacheFile.h"
#include "net/InternetReader.h"
#include "platform/SystemString.h"

#include <algorithm>
#include <vector>

using namespace zu;
using namespace zu::platform;

namespace {

constexpr char16_t kLogName[] = u"BufferedInternetReader::OnThreadEnds";

// Options that are the range's own, or would let a wrong answer through as the range's bytes.
bool IsRangeOwnOption(const std::u16string& key)
{
    return key == u"RANGE_START" || key == u"RANGE_FINISH" || key == u"SUCCEED_ON_ERROR";
}

std::u16string Decimal(int64_t nValue)
{
    return Format(u"%I64d", nValue);
}

}  // namespace

CDownloadThread::CDownloadThread(const std::u16string& url,
                                 const std::unordered_map<std::u16string, std::u16string>& options, uint32_t nTimeout,
                                 int64_t nStart, int64_t nEnd, uint32_t nChunk)
    : m_nStart(nStart), m_nEnd(nEnd), m_nChunk(nChunk)
{
    SetStopPollInterval(1);
    auto pSource = std::make_unique<CInternetReader>(reinterpret_cast<const ZUCHAR*>(url.c_str()));
    const auto setOption = [&pSource](const std::u16string& key, const std::u16string& value) {
        pSource->SetOption(reinterpret_cast<const ZUCHAR*>(key.c_str()), reinterpret_cast<const ZUCHAR*>(value.c_str()));
    };
    pSource->SetTimeout(nTimeout);
    // A range is placed by its offset: a stream begun anew would land at the wrong one.
    pSource->SetLiveReconnect(false);
    // A dropped connection is taken up again where it broke unless the caller said otherwise.
    setOption(u"RECONNECT", u"1");
    for (const auto& [key, value] : options) {
        if (!IsRangeOwnOption(key))
            setOption(key, value);
    }
    if (nStart > 0)
        setOption(u"RANGE_START", Decimal(nStart));
    // The range header names its last byte, so the server sends the byte at nEnd as well.
    if (nEnd > nStart)
        setOption(u"RANGE_FINISH", Decimal(nEnd));
    m_pSource = std::move(pSource);
    m_bSourceOpen = m_pSource->Open() != 0;
    if (!m_bSourceOpen)
        return;
    m_nReportedLength = m_pSource->GetLength();
    // The server reports what is left from nStart; the range's end is an offset in the resource.
    if (m_nEnd == -1 && m_nReportedLength >= 0)
        m_nEnd = nStart + m_nReportedLength;
}

std::u16string CDownloadThread::SourceInfo(const char16_t* pszName) const
{
    const ZUBSTR value = m_pSource->GetInfo(reinterpret_cast<const ZUCHAR*>(pszName));
    std::u16string text = value ? reinterpret_cast<const char16_t*>(value) : u"";
    FreeSystemString(value);
    return text;
}

CDownloadThread::~CDownloadThread()
{
    if (m_pRangeEnd && IsRunning()) {
        SetStopRequest(1);
        // A chunk under way could take the whole time-out on a slow server, and everything it
        // brings would be thrown away: the transfer is cut instead, unless the range is all but done.
        if (m_nEnd < 0 || m_nEnd - m_pRangeEnd->load(std::memory_order_acquire) >= kCancelGrace)
            m_pSource->CancelTransfer();
    }
    Stop(-1);
}

bool CDownloadThread::Begin(const CShared& shared, int32_t nIndex, std::atomic<int64_t>& rangeEnd)
{
    if (!m_bSourceOpen)
        return false;
    m_pShared = std::make_unique<CShared>(shared);
    m_nIndex = nIndex;
    m_pRangeEnd = &rangeEnd;
    return Start(PRIORITY_NORMAL, 0) != 0;
}

int32_t CDownloadThread::Thread()
{
    std::vector<unsigned char> chunk(m_nChunk);
    int64_t nPosition = m_nStart;
    bool bKeepGoing = true;
    bool bFinishAnyway = false;
    while (bKeepGoing && (!IsStopRequested() || bFinishAnyway)) {
        bFinishAnyway = false;
        uint32_t nWanted = m_nChunk;
        if (m_nEnd > nPosition)
            nWanted = static_cast<uint32_t>(std::min<int64_t>(nWanted, m_nEnd - nPosition));
        const uint32_t nRead = m_pSource->Read(chunk.data(), nWanted);
        if (nRead == 0 || nRead > nWanted) {
            NoteDataEnd(nPosition);
            bKeepGoing = false;
            break;
        }
        uint32_t nError = 0;
        if (!m_pShared->cache.Write(nPosition, chunk.data(), nRead, nError)) {
            Log(LOG_READER, kLogName, u"Download thread %d cannot write the cache file at %I64d: error %u", m_nIndex,
                nPosition, nError);
            m_pShared->writeFailed.store(true, std::memory_order_release);
            bKeepGoing = false;
            break;
        }
        nPosition += nRead;
        m_pRangeEnd->store(nPosition, std::memory_order_release);
        // Short only at the end of the data (or when the transfer broke for good).
        if (nRead < nWanted)
            NoteDataEnd(nPosition);
        bKeepGoing = KeepGoingAfter(nPosition);
        if (IsStopRequested() && m_nEnd - nPosition < kCancelGrace)
            bFinishAnyway = true;
    }
    LogEnd(bKeepGoing);
    m_pSource->Close();
    return 1;
}

// A download that ran too far ahead of the reader pauses for good; whatever the reader later
// finds missing gets a download of its own. Near its range's end it always finishes the range.
bool CDownloadThread::KeepGoingAfter(int64_t nPosition) const
{
    if (nPosition >= m_nEnd)
        return false;
    if (m_nEnd - nPosition < kNearEnd)
        return true;
    if (nPosition < m_pShared->awaitedEnd.load(std::memory_order_acquire))
        return true;
    return nPosition - m_pShared->readPosition.load(std::memory_order_acquire) <= kReadAheadLimit;
}

// Where a resource of unknown length ends shows only here (a body without a length ends when
// the server closes); a range of known length ending short is a broken transfer, not the end,
// and so is a transfer cut on purpose.
void CDownloadThread::NoteDataEnd(int64_t nPosition)
{
    if (m_nReportedLength < 0 && !m_pSource->IsTransferCancelled())
        m_nDataEnd.store(nPosition, std::memory_order_release);
}

void CDownloadThread::LogEnd(bool bKeepGoing)
{
    Log(LOG_READER, kLogName, u"Download thread %d stopping.  Start %I64d, end %I64d. Canceled %d, Discontinued %d",
        m_nIndex, m_nStart, m_pRangeEnd->load(std::memory_order_acquire), IsStopRequested() ? 1 : 0,
        bKeepGoing ? 0 : 1);
}
