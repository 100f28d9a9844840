#include "buffering/SplitterReader.h"

#include <zureader/ZUReader.h>

#include "core/FunctionLog.h"
#include "core/Log.h"
#include "platform/File.h"

#include <algorithm>

using namespace zu;

namespace {

constexpr uint32_t kAlwaysRefresh = 0xFFFFFFFFu;
// A reader looks again at a chunk still being written at most this often.
constexpr int64_t kReopenMilliseconds = 1000;
constexpr uint32_t kDeletionCategory = 0x800;

std::u16string Text(const ZUCHAR* psz)
{
    return psz ? reinterpret_cast<const char16_t*>(psz) : u"";
}

}  // namespace

CSplitterReader::CSplitterReader(const ZUCHAR* pszPath, int64_t nChunkSize, uint32_t nRefreshInterval)
    : m_Path(Text(pszPath)),
      m_nChunkSize(nChunkSize),
      m_bUrl(m_Path.find(u"://") != std::u16string::npos),
      m_nRefreshInterval(nRefreshInterval),
      m_Header(m_Path, m_bUrl != 0),
      m_Names(m_Path, m_bUrl != 0)
{
    m_nType = ZU_READER_SPLITTER;
}

CSplitterReader::~CSplitterReader()
{
    Close();
}

ZUBOOL CSplitterReader::Create()
{
    CFunctionLog log(LOG_READER, u"VSplitterReader::Create");
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    if (m_bOpen)
        return 1;
    if (m_bUrl || m_nChunkSize < 1)
        return 0;
    m_bWrite = true;
    m_nTotalLength = 0;
    m_nFirstKept = 0;
    m_nRangeEnd = -1;
    m_nLastDeleted = -1;
    m_KeptRanges.clear();
    if (!m_Header.Create(m_nTotalLength, m_nChunkSize)) {
        log.Log(u"Creating %s failed (%d)", m_Path, platform::LastError());
        m_Header.Close();
        m_bWrite = false;
        return 0;
    }
    m_HeaderTimer.Restart();
    return StartAtTheBeginning();
}

ZUBOOL CSplitterReader::Open()
{
    CFunctionLog log(LOG_READER, u"VSplitterReader::Open");
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    if (m_bOpen)
        return 1;
    m_bWrite = false;
    if (!RefreshHeader(true) || m_nChunkSize < 1) {
        m_Header.Close();
        return 0;
    }
    return StartAtTheBeginning();
}

ZUBOOL CSplitterReader::StartAtTheBeginning()
{
    m_nCurrentChunk = -1;
    m_nChunkOffset = 0;
    m_bOpen = 1;
    return 1;
}

void CSplitterReader::Close()
{
    CFunctionLog log(LOG_READER, u"VSplitterReader::Close");
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    if (!m_bOpen)
        return;
    CloseChunk(true);
    DeleteStaleChunks(true);
    m_Header.Close();
    m_bWrite = false;
    m_bOpen = 0;
}

ZUBOOL CSplitterReader::IsOpen()
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    return m_bOpen;
}

ZUBOOL CSplitterReader::IsReadOnly()
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    return m_bWrite ? 0 : 1;
}

bool CSplitterReader::RefreshHeader(bool bForced)
{
    if (m_bWrite)
        return false;
    if (!bForced && m_nRefreshInterval != kAlwaysRefresh && m_HeaderTimer.Milliseconds() < m_nRefreshInterval)
        return true;
    m_HeaderTimer.Restart();
    return m_Header.Read(m_nTotalLength, m_nChunkSize);
}

void CSplitterReader::WriteRecord()
{
    m_Header.WriteRecord(m_nTotalLength, m_nChunkSize);
    m_HeaderTimer.Restart();
}

std::unique_ptr<VReader> CSplitterReader::OpenChunkFile(int64_t nIndex, bool bNew, bool bTemporary)
{
    const std::u16string suffix = m_Header.GetSuffix();
    for (const bool bTemporaryName : {bTemporary, true}) {
        const std::u16string name = m_Names.Name(nIndex, suffix, bTemporaryName);
        std::unique_ptr<VReader> pChunk(GetGenericReader(reinterpret_cast<const ZUCHAR*>(name.c_str())));
        if (pChunk && !m_bWrite)
            pChunk->SetOption(reinterpret_cast<const ZUCHAR*>(u"READ_ONLY"), reinterpret_cast<const ZUCHAR*>(u"1"));
        if (pChunk && (bNew ? pChunk->Create() : pChunk->Open()))
            return pChunk;
        // A reader finds a chunk still being filled, or one whose writer died before naming it
        // final, under its temporary name.
        if (m_bWrite || bTemporaryName)
            break;
    }
    return nullptr;
}

bool CSplitterReader::OpenChunk(int64_t nIndex)
{
    if (nIndex == -1)
        nIndex = m_nCurrentChunk + 1;
    const int64_t nStart = m_nChunkSize * nIndex;
    const bool bNew = m_bWrite && nStart >= m_nTotalLength;
    const bool bTemporary = m_bTemporaryNames && m_bWrite && m_nTotalLength - nStart < m_nChunkSize;
    std::unique_ptr<VReader> pChunk = OpenChunkFile(nIndex, bNew, bTemporary);
    if (!pChunk)
        return false;
    CloseChunk(false);
    m_nCurrentChunk = nIndex;
    m_nChunkOffset = 0;
    m_pChunk = std::move(pChunk);
    return true;
}

void CSplitterReader::CloseChunk(bool bFinal)
{
    if (m_pChunk) {
        m_pChunk->Close();
        m_pChunk.reset();
    }
    const bool bJustFull = (m_nCurrentChunk + 1) * m_nChunkSize == m_nTotalLength;
    if (m_bTemporaryNames && m_nCurrentChunk >= 0 && m_bWrite && (bFinal || bJustFull)) {
        const std::u16string suffix = m_Header.GetSuffix();
        platform::ReplaceFileWith(m_Names.Name(m_nCurrentChunk, suffix, true), m_Names.Name(m_nCurrentChunk, suffix, false));
    }
    if (m_bWrite)
        WriteRecord();
    m_nChunkOffset = 0;
    m_nCurrentChunk = -1;
}

bool CSplitterReader::ReopenGrowingChunk()
{
    const int64_t nOffset = m_nChunkOffset;
    if (!OpenChunk(m_nCurrentChunk) || m_pChunk->SetPosition(nOffset, ZU_SEEK_BEGIN) != nOffset)
        return false;
    m_nChunkOffset = nOffset;
    m_ReopenTimer.Restart();
    return true;
}

// Never past what the header announced: bytes a writer put into a chunk before it died, but
// never announced, are not part of the recording.
uint32_t CSplitterReader::ReadFromChunk(unsigned char* pBuffer, uint32_t nWanted)
{
    const int64_t nAnnounced = std::max<int64_t>(m_nTotalLength - GetPosition(), 0);
    const int64_t nAsk = std::min({static_cast<int64_t>(nWanted), m_nChunkSize - m_nChunkOffset, nAnnounced});
    if (!m_pChunk || nAsk < 1)
        return 0;
    const uint32_t nRead = m_pChunk->Read(pBuffer, static_cast<uint32_t>(nAsk));
    m_nChunkOffset += nRead;
    return nRead;
}

uint32_t CSplitterReader::Read(void* pBuffer, uint32_t nCount)
{
    CFunctionLog log(LOG_READER, u"VSplitterReader::Read");
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    if (!m_bOpen || m_bWrite || !pBuffer)
        return 0;
    RefreshHeader(false);
    auto* pBytes = static_cast<unsigned char*>(pBuffer);
    uint32_t nTotal = 0;
    for (;;) {
        nTotal += ReadFromChunk(pBytes + nTotal, nCount - nTotal);
        if (nTotal == nCount)
            break;
        if (m_nCurrentChunk == -1 || m_nChunkOffset == m_nChunkSize) {
            if (OpenChunk(-1))
                continue;
            // Bytes from before a jump reach the caller on their own; the next read jumps.
            if (nTotal != 0 || !SkipToNextKeptChunk())
                break;
            continue;
        }
        // The chunk is still growing: look at it again at most once a second.
        if (m_ReopenTimer.Milliseconds() <= kReopenMilliseconds)
            break;
        RefreshHeader(false);
        if (GetPosition() >= m_nTotalLength || !ReopenGrowingChunk())
            break;
    }
    return nTotal;
}

// A rolling recording deletes its oldest chunks, also under a reader that lags behind. That
// reader goes on from the next chunk still there (the oldest kept, or a kept range), never from
// anything else. A chunk between its two names for a moment (the writer renaming it as it fills)
// is not taken for deleted: it is asked for once more after a later chunk was found.
bool CSplitterReader::SkipToNextKeptChunk()
{
    RefreshHeader(true);
    const int64_t nMissing = m_nCurrentChunk + 1;
    const int64_t nLast = (m_nTotalLength - 1) / m_nChunkSize;
    for (int64_t nIndex = nMissing + 1; nIndex <= nLast; ++nIndex) {
        if (!OpenChunk(nIndex))
            continue;
        if (OpenChunk(nMissing))
            return true;
        Log(LOG_READER, u"VSplitterReader::Read", u"Chunks %I64d to %I64d were deleted; reading on at %I64d",
            nMissing, nIndex - 1, GetPosition());
        return true;
    }
    return false;
}

uint32_t CSplitterReader::WriteIntoChunk(const unsigned char* pBuffer, uint32_t nCount)
{
    if (!m_pChunk)
        return 0;
    const uint32_t nWant = static_cast<uint32_t>(std::min<int64_t>(nCount, m_nChunkSize - m_nChunkOffset));
    const uint32_t nWritten = nWant ? m_pChunk->Write(pBuffer, nWant) : 0;
    m_nChunkOffset += nWritten;
    // The bytes are in the chunk before the header announces them.
    if (GetPosition() > m_nTotalLength) {
        m_nTotalLength = GetPosition();
        WriteRecord();
    }
    return nWritten;
}

uint32_t CSplitterReader::Write(const void* pBuffer, uint32_t nCount)
{
    CFunctionLog log(LOG_READER, u"VSplitterReader::Write");
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    if (!m_bOpen || !m_bWrite || !pBuffer)
        return 0;
    const auto* pBytes = static_cast<const unsigned char*>(pBuffer);
    uint32_t nWritten = WriteIntoChunk(pBytes, nCount);
    while (nWritten < nCount && OpenChunk(-1)) {
        const uint32_t nMore = WriteIntoChunk(pBytes + nWritten, nCount - nWritten);
        if (nMore == 0)
            break;
        nWritten += nMore;
    }
    return nWritten;
}

int64_t CSplitterReader::GetLength()
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    RefreshHeader(false);
    return m_nTotalLength;
}

int64_t CSplitterReader::GetPosition()
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    return m_nCurrentChunk == -1 ? 0 : m_nCurrentChunk * m_nChunkSize + m_nChunkOffset;
}

int64_t CSplitterReader::SeekTarget(int64_t nOffset, uint32_t nOrigin)
{
    int64_t nTarget = nOffset;
    if (nOrigin == ZU_SEEK_END || (nOrigin == ZU_SEEK_CURRENT && __builtin_add_overflow(nOffset, GetPosition(), &nTarget)))
        return -1;
    return nTarget;
}

int64_t CSplitterReader::SetPosition(int64_t nOffset, uint32_t nOrigin)
{
    CFunctionLog log(LOG_READER, u"VSplitterReader::SetPosition");
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    const int64_t nTarget = SeekTarget(nOffset, nOrigin);
    if (!m_bOpen || nTarget < 0)
        return -1;
    if (nTarget == GetPosition())
        return nTarget;
    if (nTarget > m_nTotalLength && (RefreshHeader(false), nTarget > m_nTotalLength))
        return -1;
    int64_t nIndex = nTarget / m_nChunkSize;
    // The end of a recording that fills its last chunk lies in that chunk, not in one to come.
    if (!m_bWrite && nTarget == m_nTotalLength && nIndex > 0 && nTarget % m_nChunkSize == 0)
        --nIndex;
    if (nIndex < m_nFirstKept)
        return -1;
    if ((nIndex != m_nCurrentChunk || !m_pChunk) && !OpenChunk(nIndex))
        return -1;
    const int64_t nInChunk = nTarget - nIndex * m_nChunkSize;
    if (m_pChunk->SetPosition(nInChunk, ZU_SEEK_BEGIN) != nInChunk)
        return -1;
    m_nChunkOffset = nInChunk;
    return GetPosition();
}

ZUBOOL CSplitterReader::SetFirstNeededPosition(int64_t nPosition, ZUBOOL bDeleteNow)
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    if (!m_bWrite)
        return 0;
    const int64_t nIndex = nPosition / m_nChunkSize;
    if (nIndex <= m_nFirstKept)
        return 1;
    m_nFirstKept = nIndex;
    if (bDeleteNow)
        DeleteStaleChunks(false);
    return 1;
}

ZUBOOL CSplitterReader::KeepRangeUpTo(int64_t nPosition)
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    if (!m_bWrite)
        return 0;
    const int64_t nIndex = nPosition / m_nChunkSize;
    if (nIndex <= m_nRangeEnd)
        return 1;
    m_nRangeEnd = nIndex;
    m_KeptRanges.emplace_back(m_nFirstKept, nIndex);
    m_nFirstKept = -1;
    m_nRangeEnd = -1;
    return 1;
}

void CSplitterReader::SetTemporaryNames(ZUBOOL bTemporary)
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_bTemporaryNames = bTemporary != 0;
}

void CSplitterReader::SetDeleteAllOnClose(ZUBOOL bDelete)
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_bDeleteAllOnClose = bDelete != 0;
}

ZUBOOL CSplitterReader::IsBeingWritten()
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    if (!m_bOpen)
        return 0;
    if (m_bWrite || m_Header.IsWriterPresent())
        return 1;
    // The writer is gone, so the header holds its last word: whatever the refresh interval, the
    // length a follower asks for next is the final one.
    RefreshHeader(true);
    return 0;
}

bool CSplitterReader::IsKept(int64_t nIndex) const
{
    return std::any_of(m_KeptRanges.begin(), m_KeptRanges.end(),
                       [nIndex](const auto& range) { return nIndex >= range.first && nIndex <= range.second; });
}

void CSplitterReader::DeleteChunk(int64_t nIndex)
{
    CFunctionLog log(kDeletionCategory, u"VSplitterReader::DeleteStaleChunks");
    const std::u16string name = m_Names.Name(nIndex, m_Header.GetSuffix(), false);
    log.Log(u"Deleting file %s returned %d", name, platform::DeleteFileByName(name) ? 1 : 0);
}

void CSplitterReader::DeleteStaleChunks(bool bFinal)
{
    for (int64_t i = m_nLastDeleted + 1; i < m_nFirstKept; ++i)
        if (!IsKept(i))
            DeleteChunk(i);
    if (m_nFirstKept >= 0)
        m_nLastDeleted = m_nFirstKept - 1;
    if (!bFinal || !m_bDeleteAllOnClose)
        return;
    for (int64_t i = m_nLastDeleted + 1; i < m_nTotalLength / m_nChunkSize; ++i)
        if (!IsKept(i))
            DeleteChunk(i);
}
