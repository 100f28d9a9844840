#include "buffering/BackgroundReaderThread.h"

#include "core/FunctionLog.h"
#include "platform/System.h"

#include <algorithm>

using namespace zu;
using namespace zu::platform;

namespace {

constexpr uint32_t kLiveReadSize = 1024;              // remote, length unknown: low latency
constexpr uint32_t kRemoteReadSize = 16384;
constexpr uint32_t kLocalReadSize = 1048576;
constexpr uint32_t kRetryWaitMilliseconds = 500;
constexpr uint32_t kFullBufferWaitMilliseconds = 20;
constexpr uint32_t kReaderWaitMilliseconds = 10;
constexpr uint32_t kShortChunkPauseMilliseconds = 5;

int64_t MillisecondsSince(int64_t nStartCount)
{
    const int64_t nFrequency = PerformanceFrequency();
    return nFrequency > 0 ? (PerformanceCounter() - nStartCount) * 1000 / nFrequency : 0;
}

}  // namespace

CBackgroundReaderThread::CBackgroundReaderThread(VReader* pChild, const CSettings& settings)
    : m_pChild(pChild),
      m_pStripping(settings.bIcy ? std::make_unique<CIcyStrippingReader>(pChild) : nullptr),
      m_pSource(m_pStripping ? m_pStripping.get() : pChild),
      m_nStartOffset(settings.nStartOffset),
      m_nRetryTime(settings.nRetryTime),
      m_Buffer(settings.nCapacity, true, settings.bFileBacked, settings.bufferFile)
{
    m_DataArrived.Create();
    m_SpaceFreed.Create();
    SetStopPollInterval(1);
    Start(PRIORITY_NORMAL, 0);
}

CBackgroundReaderThread::~CBackgroundReaderThread()
{
    Stop(kStopTimeout);
}

std::string CBackgroundReaderThread::GetTitle() const
{
    return m_pStripping ? m_pStripping->Titles().Latest() : std::string();
}

std::string CBackgroundReaderThread::GetTitleAtReadPosition(int64_t& nToNext) const
{
    nToNext = -1;
    return m_pStripping ? m_pStripping->Titles().At(GetReadPosition(), nToNext) : std::string();
}

void CBackgroundReaderThread::WaitForSignal(const CEvent& event, uint32_t nMilliseconds)
{
    if (event.Get())
        event.Wait(nMilliseconds);
    else
        SleepMilliseconds(nMilliseconds);
}

int32_t CBackgroundReaderThread::Thread()
{
    CFunctionLog log(LOG_READER, u"CBackgroundReaderThread::Thread");
    const int32_t nResult = ReadAhead();
    m_DataArrived.Signal();  // a reader waiting for more hears that none will come
    return nResult;
}

int32_t CBackgroundReaderThread::ReadAhead()
{
    if (!m_Buffer.HasMemory() || !m_pChild)
        return 0;
    const uint32_t nReadSize = ChooseReadSize();
    // A child that reads at once fills the buffer in place, saving a copy. A live one may keep a
    // read waiting, and the space it would fill meanwhile is out of a seek back's reach.
    m_bInPlace = !m_pChild->IsLengthUnknown();
    while (!IsStopRequested()) {
        if (ReadChunk(nReadSize) == 0)
            break;
        // Titles of audio the buffer no longer holds are out of every reader's reach.
        if (m_pStripping)
            m_pStripping->Titles().ForgetBefore(GetWritePosition() - m_Buffer.GetCapacity());
    }
    return 1;
}

uint32_t CBackgroundReaderThread::ChooseReadSize()
{
    const uint32_t nCapacity = m_Buffer.GetCapacity();
    uint32_t nSize = nCapacity / 16;
    if (m_pChild->IsRemote())
        nSize = std::min(nSize, m_pChild->IsLengthUnknown() ? kLiveReadSize : kRemoteReadSize);
    else
        nSize = std::min(nSize, kLocalReadSize);
    return std::max(std::min(nSize, nCapacity / 2), 1u);
}

// In place only with room to spare: the space a read fills is out of a step back's reach until the
// read ends, and the bytes just behind the caller must stay within reach however long the child
// takes. With less room the chunk goes through scratch space, which holds nothing while it waits.
uint32_t CBackgroundReaderThread::ReadChunk(uint32_t nSize)
{
    bool bInPlace = false;
    unsigned char* pTarget = nullptr;
    if (m_bInPlace) {
        // Woken once there is room for the read and as much again, a writer facing a full ring
        // still reads in place.
        const uint32_t nFree = WaitForRoom(std::min(2 * nSize, m_Buffer.GetCapacity() - 1));
        if (nFree == 0)
            return 0;
        bInPlace = nFree / 2 >= nSize;
        if (bInPlace && !(pTarget = m_Buffer.BeginWrite(nSize, nSize)))
            return 0;
    }
    if (!bInPlace) {
        m_Chunk.resize(std::max<size_t>(m_Chunk.size(), nSize));
        pTarget = m_Chunk.data();
    }
    uint32_t nRead = m_pSource->Read(pTarget, nSize);
    m_bEndOfData.store(nRead == 0, std::memory_order_release);
    if (nRead == 0)
        WakeReaderIfServed();  // a reader that does not wait at the end returns now
    const bool bRetried = nRead > 0 || m_nRetryTime <= 0 || RetryEmptyRead(nRead, pTarget, nSize);
    if (bInPlace) {
        m_Buffer.CommitWrite(nRead);
        NoteWritten(nRead);
    } else if (bRetried && !PutIntoBuffer(pTarget, nRead)) {
        return 0;
    }
    // Stopped, the worker leaves the child alone: it may be being closed under this very read.
    if (!bRetried || IsStopRequested())
        return 0;
    if (nRead < nSize && !IsChildAtKnownEnd())
        SleepMilliseconds(kShortChunkPauseMilliseconds);
    return nRead;
}

// A short read that reached a known length is the end, not a trickle worth pausing for: the next
// read says so at once.
bool CBackgroundReaderThread::IsChildAtKnownEnd() const
{
    return !m_pChild->IsLengthUnknown() && m_pChild->GetPosition() >= m_pChild->GetLength();
}

bool CBackgroundReaderThread::RetryEmptyRead(uint32_t& nRead, unsigned char* pTarget, uint32_t nSize)
{
    const int64_t nStart = PerformanceCounter();
    while (nRead == 0 && MillisecondsSince(nStart) < m_nRetryTime) {
        WaitForStopOrExit(kRetryWaitMilliseconds);
        if (IsStopRequested())
            return false;
        nRead = m_pSource->Read(pTarget, nSize);
        if (nRead != 0)
            m_bEndOfData.store(false, std::memory_order_release);
    }
    return true;
}

// Whatever fits goes in at once; the rest waits for the caller to read. The ring measures its free
// space itself for every write, as the caller's step back (Rewind) lives in it.
bool CBackgroundReaderThread::PutIntoBuffer(const unsigned char* pBytes, uint32_t nCount)
{
    while (nCount > 0) {
        if (WaitForRoom(std::min(nCount, m_Buffer.GetCapacity() / 2)) == 0)
            break;
        const uint32_t nPart = m_Buffer.Write(pBytes, nCount);
        NoteWritten(nPart);
        pBytes += nPart;
        nCount -= nPart;
    }
    return nCount == 0;
}

// Counted once in the buffer, so that a seek to the write position finds every byte.
void CBackgroundReaderThread::NoteWritten(uint32_t nCount)
{
    m_nWritePosition.fetch_add(nCount, std::memory_order_acq_rel);
    WakeReaderIfServed();
}

uint32_t CBackgroundReaderThread::WaitForRoom(uint32_t nWanted)
{
    for (;;) {
        // Set before the query: room made after it is signalled.
        m_nWriterNeeds.store(std::max(nWanted, 1u), std::memory_order_release);
        m_SpaceFreed.Reset();
        const uint32_t nFree = m_Buffer.GetFree();
        if (nFree > 0 || IsStopRequested()) {
            m_nWriterNeeds.store(0, std::memory_order_release);
            return IsStopRequested() ? 0 : nFree;
        }
        WaitForSignal(m_SpaceFreed, kFullBufferWaitMilliseconds);
    }
}

void CBackgroundReaderThread::WakeReaderIfServed()
{
    const uint32_t nWanted = m_nReaderWants.load(std::memory_order_acquire);
    if (nWanted > 0 && (m_Buffer.GetUsed() >= nWanted || IsEndOfData()))
        m_DataArrived.Signal();
}

void CBackgroundReaderThread::WakeWriterIfRoom()
{
    const uint32_t nNeeded = m_nWriterNeeds.load(std::memory_order_acquire);
    if (nNeeded > 0 && m_Buffer.GetFree() >= nNeeded)
        m_SpaceFreed.Signal();
}

uint32_t CBackgroundReaderThread::ReadBuffered(void* pBuffer, uint32_t nCount, bool bWaitAtEnd)
{
    if (nCount == 0)
        return 0;
    auto* pBytes = static_cast<unsigned char*>(pBuffer);
    uint32_t nDelivered = 0;
    for (;;) {
        // Set before the read: bytes that come after it are signalled.
        m_nReaderWants.store(nCount - nDelivered, std::memory_order_release);
        m_DataArrived.Reset();
        // Looked at before the read: a worker seen ended, or at the end, had put every byte it
        // ever will into the buffer, so the read takes them all.
        const bool bRunning = IsRunning();
        const bool bAtEnd = IsEndOfData();
        const uint32_t nCopied = m_Buffer.Read(pBytes + nDelivered, nCount - nDelivered);
        if (nCopied > 0)
            WakeWriterIfRoom();
        nDelivered += nCopied;
        if (nDelivered >= nCount || !bRunning || IsStopRequested() || (bAtEnd && !bWaitAtEnd))
            break;
        WaitForSignal(m_DataArrived, kReaderWaitMilliseconds);
    }
    m_nReaderWants.store(0, std::memory_order_release);
    m_nReadPosition.fetch_add(nDelivered, std::memory_order_acq_rel);
    return nDelivered;
}

bool CBackgroundReaderThread::Seek(int64_t nTarget)
{
    const int64_t nRead = GetReadPosition();
    if (nTarget == nRead)
        return true;
    if (nTarget < nRead) {
        // Held are the bytes read so far, as far back as the writer has not taken their space; the
        // ring checks that and steps back in one step, as the worker writes into exactly the space
        // the step back reclaims.
        if (nTarget < 0 || !m_Buffer.Rewind(nRead - nTarget))
            return false;
    } else {
        if (nTarget > GetWritePosition())
            return false;
        m_Buffer.Skip(nTarget - nRead);
        WakeWriterIfRoom();
    }
    m_nReadPosition.store(nTarget, std::memory_order_release);
    return true;
}
