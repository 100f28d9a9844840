#include "buffering/BufferedReader.h"

#include "buffering/BackgroundReaderThread.h"
#include "buffering/IcyMetadata.h"
#include "core/FunctionLog.h"
#include "platform/System.h"
#include "platform/SystemString.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <limits>
#include <new>

using namespace zu;
using namespace zu::platform;

namespace {

// How long Close lets a stopping worker finish a child read of its own before it closes the child
// under it (which makes a network read that waits for a stalled server give up at once).
constexpr uint32_t kCloseGraceMilliseconds = 250;

}  // namespace

CBufferedReader::CBufferedReader(VReader* pChild) : VBufferedReader(pChild)
{
    m_nType = ZU_READER_BUFFERED;
}

CBufferedReader::~CBufferedReader()
{
    Close();
    ReplaceWorker(nullptr);
}

ZUBOOL CBufferedReader::Open()
try {
    CFunctionLog log(LOG_READER, u"VBufferedReader::Open");
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    if (!m_pChild || !m_pChild->Open())
        return 0;
    m_bClosed = false;
    return StartBuffering();
} catch (const std::exception&) {
    return 0;
}

void CBufferedReader::Close()
{
    CFunctionLog log(LOG_READER, u"VBufferedReader::Close");
    // A Read blocked in another thread holds the lock: the stop lets it return.
    SignalWorkerStop();
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_bClosed = true;
    // A restart on another thread may have made a worker since, which that stop did not reach.
    SignalWorkerStop();
    StopWorkerForClose();
    if (m_pChild)
        m_pChild->Close();
}

// A child need not bear a Close in the middle of its own Read: the worker leaves it first. A
// remote child's read may wait for a stalled server for ever, though; after a grace the child is
// closed under it, which is what a network reader's Close is for: it ends such a read at once.
// The worker, stopped, makes no further call into the child after the read returns.
void CBufferedReader::StopWorkerForClose()
{
    if (!m_pWorker)
        return;
    const uint32_t nStart = TickCount();
    while (m_pWorker->IsRunning() && TickCount() - nStart < kCloseGraceMilliseconds)
        SleepMilliseconds(1);
    if (m_pWorker->IsRunning() && m_pChild && m_pChild->IsRemote())
        m_pChild->Close();
    ReplaceWorker(nullptr);
}

uint32_t CBufferedReader::Read(void* pBuffer, uint32_t nCount)
try {
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    // Closed, the child has nothing to read ahead; a worker started now would read it while a
    // later Open opens it again.
    if (m_bBuffering && !m_pWorker && !m_bClosed)
        StartBuffering();
    if (m_pWorker)
        return m_pWorker->ReadBuffered(pBuffer, nCount, m_bWaitAtEnd);
    return m_pChild ? m_pChild->Read(pBuffer, nCount) : 0;
} catch (const std::exception&) {
    return 0;
}

int64_t CBufferedReader::GetLength()
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    // A live source's length is what has arrived so far.
    if (m_pWorker && IsLengthUnknown())
        return m_pWorker->GetStartOffset() + m_pWorker->GetWritePosition();
    return m_pChild ? m_pChild->GetLength() : -1;
}

int64_t CBufferedReader::GetPosition()
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    if (m_pWorker)
        return m_pWorker->GetStartOffset() + m_pWorker->GetReadPosition();
    return m_pChild ? m_pChild->GetPosition() : 0;
}

// Both +n and -n count n bytes back from the end. Distances of 2 GiB and more are not supported
// from the end: such an offset is refused rather than read as its low 32 bits.
int64_t CBufferedReader::SeekFromEnd(int64_t nOffset)
{
    if (nOffset < std::numeric_limits<int32_t>::min() || nOffset > std::numeric_limits<int32_t>::max())
        return -1;
    return GetLength() - std::llabs(nOffset);
}

int64_t CBufferedReader::SetPosition(int64_t nOffset, uint32_t nOrigin)
try {
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    if (!m_pWorker)
        return m_pChild ? m_pChild->SetPosition(nOffset, nOrigin) : -1;
    int64_t nTarget;
    switch (nOrigin) {
    case ZU_SEEK_BEGIN:
        nTarget = nOffset;
        break;
    case ZU_SEEK_CURRENT:
        if (__builtin_add_overflow(GetPosition(), nOffset, &nTarget))
            return -1;
        break;
    case ZU_SEEK_END:
        nTarget = SeekFromEnd(nOffset);
        break;
    default:
        return -1;
    }
    if (nTarget == GetPosition())
        return nTarget;
    if (nTarget < 0)
        return -1;
    if (m_pWorker->Seek(nTarget - m_pWorker->GetStartOffset()))
        return GetPosition();
    // A live source cannot go back to bytes the buffer no longer holds, nor skip ahead.
    if (IsLengthUnknown())
        return -1;
    StopBuffering();
    const int64_t nPosition = SetPosition(nTarget, ZU_SEEK_BEGIN);
    StartBuffering();
    return nPosition;
} catch (const std::exception&) {
    return -1;
}

void CBufferedReader::SetBufferInFile(ZUBOOL bInFile)
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_bBufferInFile = bInFile;
}

void CBufferedReader::SetBufferFile(const ZUCHAR* pszPath)
try {
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_BufferFile = pszPath ? reinterpret_cast<const char16_t*>(pszPath) : u"";
} catch (const std::exception&) {
}

void CBufferedReader::SetRetryTime(int32_t nMilliseconds)
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_nRetryTime = nMilliseconds;
}

void CBufferedReader::EnableIcyMetadata()
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_bIcyMetadata = 1;
}

void CBufferedReader::SetWaitAtEnd(ZUBOOL bWait)
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_bWaitAtEnd = bWait != 0;
}

void CBufferedReader::SetBufferSize(uint32_t nBytes)
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_nBufferSize = nBytes;
}

void CBufferedReader::SetBuffering(ZUBOOL bBuffering)
try {
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    const bool bChanged = (bBuffering != 0) != (m_bBuffering != 0);
    m_bBuffering = bBuffering;
    if (!bChanged || bBuffering || !m_pWorker)
        return;
    const int64_t nPosition = GetPosition();
    StopBuffering();
    if (m_pChild)
        m_pChild->SetPosition(nPosition, ZU_SEEK_BEGIN);
} catch (const std::exception&) {
}

ZUBOOL CBufferedReader::StartBuffering()
try {
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    if (m_pWorker) {
        // A worker that has ended runs again with a new stop event: under the pointer's lock, so
        // that a stop signalled from another thread meets neither the old event as it is closed
        // nor a flag about to be cleared.
        std::lock_guard<std::mutex> pointerLock(m_WorkerLock);
        m_pWorker->Start(PRIORITY_NORMAL, 0);
        return 0;
    }
    if (!m_bBuffering)
        return 1;
    if (!m_pChild)
        return 0;
    CBackgroundReaderThread::CSettings settings;
    settings.nStartOffset = std::max<int64_t>(m_pChild->GetPosition(), 0);
    settings.nCapacity = m_nBufferSize;
    settings.bFileBacked = m_bBufferInFile != 0;
    settings.bufferFile = m_BufferFile;
    settings.bIcy = m_bIcyMetadata != 0;
    settings.nRetryTime = m_nRetryTime;
    std::unique_ptr<CBackgroundReaderThread> pWorker(new (std::nothrow) CBackgroundReaderThread(m_pChild, settings));
    if (!pWorker)
        return 0;
    const bool bHasMemory = pWorker->HasMemory();
    ReplaceWorker(std::move(pWorker));
    return bHasMemory ? 1 : 0;
} catch (const std::exception&) {
    return 0;
}

ZUBOOL CBufferedReader::StopBuffering()
{
    SignalWorkerStop();
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    ReplaceWorker(nullptr);
    return 1;
}

ZUBOOL CBufferedReader::GetBufferState(uint32_t* pActive, uint32_t* pBuffered, uint32_t* pCapacity, uint32_t* pEnd)
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    const bool bActive = m_pWorker != nullptr;
    if (pActive)
        *pActive = bActive ? 1 : 0;
    if (pBuffered)
        *pBuffered = bActive ? m_pWorker->GetBuffered() : 0;
    if (pCapacity)
        *pCapacity = bActive ? m_pWorker->GetCapacity() : m_nBufferSize;
    if (pEnd)
        *pEnd = bActive && m_pWorker->IsEndOfData() ? 1 : 0;
    return 1;
}

float CBufferedReader::GetBufferFullness()
{
    uint32_t nActive = 0, nBuffered = 0, nCapacity = 0, nEnd = 0;
    GetBufferState(&nActive, &nBuffered, &nCapacity, &nEnd);
    if (!nActive || nCapacity < 1)
        return 0.0f;
    return static_cast<float>(nBuffered) / static_cast<float>(nCapacity);
}

ZUBSTR CBufferedReader::GetStreamTitle()
try {
    std::string title;
    {
        std::lock_guard<std::mutex> lock(m_WorkerLock);
        if (m_pWorker)
            title = m_pWorker->GetTitle();
    }
    return AllocSystemString(CIcyMetadata::TitleToText(title));
} catch (const std::exception&) {
    return nullptr;
}

ZUBSTR CBufferedReader::GetStreamTitleAtReadPosition(uint32_t* pBytesToNext)
try {
    std::string title;
    int64_t nToNext = -1;
    {
        std::lock_guard<std::mutex> lock(m_WorkerLock);
        if (m_pWorker)
            title = m_pWorker->GetTitleAtReadPosition(nToNext);
    }
    if (pBytesToNext)
        *pBytesToNext = nToNext < 0 || nToNext > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(nToNext);
    return AllocSystemString(CIcyMetadata::TitleToText(title));
} catch (const std::exception&) {
    return nullptr;
}

void CBufferedReader::SignalWorkerStop()
{
    std::lock_guard<std::mutex> lock(m_WorkerLock);
    if (m_pWorker)
        m_pWorker->SetStopRequest(1);
}

void CBufferedReader::ReplaceWorker(std::unique_ptr<CBackgroundReaderThread> pWorker)
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    std::unique_ptr<CBackgroundReaderThread> pOld;
    {
        std::lock_guard<std::mutex> pointerLock(m_WorkerLock);
        pOld.swap(m_pWorker);
        m_pWorker = std::move(pWorker);
    }
    // Stopping the old worker waits for its body: outside the pointer's lock.
    pOld.reset();
}
