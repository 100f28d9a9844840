#include "buffering/BackgroundReaderThread.h"

#include "buffering/BufferedReader.h"
#include "buffering/IcyMetadata.h"
#include "buffering/IcyStripper.h"
#include "core/FunctionLog.h"
#include "platform/System.h"
#include "platform/SystemString.h"

#include <algorithm>

using namespace zu;
using namespace zu::platform;

namespace {

constexpr uint32_t kLiveReadSize = 1024;              // remote, length unknown: low latency
constexpr uint32_t kRemoteReadSize = 16384;
constexpr uint32_t kLocalReadSize = 1048576;
constexpr uint32_t kFallbackReadSize = 16384;
// One child read never asks for more than this, whatever interval a station announces.
constexpr uint32_t kMaxChunk = 1048576;
constexpr uint32_t kMaxBlock = 255 * 16;
constexpr uint32_t kRetryWaitMilliseconds = 500;
constexpr uint32_t kFullBufferWaitMilliseconds = 20;
constexpr uint32_t kReaderWaitMilliseconds = 10;
constexpr uint32_t kShortChunkPauseMilliseconds = 5;

std::string InfoOf(VReader* pReader, const char16_t* pszName)
{
    const ZUBSTR bstr = pReader->GetInfo(reinterpret_cast<const ZUCHAR*>(pszName));
    if (!bstr)
        return {};
    const auto* pText = reinterpret_cast<const char16_t*>(bstr);
    const std::string text = CIcyMetadata::TextToTitle(std::u16string(pText, SystemStringLength(bstr)));
    FreeSystemString(bstr);
    return text;
}

int64_t MillisecondsSince(int64_t nStartCount)
{
    const int64_t nFrequency = PerformanceFrequency();
    return nFrequency > 0 ? (PerformanceCounter() - nStartCount) * 1000 / nFrequency : 0;
}

}  // namespace

CBackgroundReaderThread::CBackgroundReaderThread(VBufferedReader* pOwner, int64_t nStartOffset, uint32_t nCapacity,
                                                 bool bFileBacked, const std::u16string& bufferFile, bool bIcy)
    : m_nStartOffset(nStartOffset),
      m_pOwner(pOwner),
      m_bIcy(bIcy),
      m_Buffer(nCapacity, true, bFileBacked, bufferFile)
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

VReader* CBackgroundReaderThread::Child() const
{
    return m_pOwner->Child();
}

std::string CBackgroundReaderThread::GetTitle()
{
    std::lock_guard<std::mutex> lock(m_TitleLock);
    return m_Title;
}

void CBackgroundReaderThread::SetTitle(const std::string& title)
{
    std::lock_guard<std::mutex> lock(m_TitleLock);
    m_Title = title.substr(0, CIcyMetadata::kMaxText);
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
    if (!m_Buffer.HasMemory() || !Child())
        return 0;
    const uint32_t nReadSize = ChooseReadSize();
    // A child that reads at once fills the buffer in place, saving a copy. A live one may keep a
    // read waiting, and the space it would fill meanwhile is out of a seek back's reach.
    m_bInPlace = !Child()->IsLengthUnknown();
    if (m_bIcy)
        StartStripping();
    // A live station is asked for one part at a time (audio up to the next block, the length
    // byte, the block) so that a read never waits for audio while a title is due.
    const bool bByPart = m_pStripper && !m_bInPlace;
    const uint32_t nLargestRead = std::max({nReadSize, kFallbackReadSize, static_cast<uint32_t>(std::max(m_nMetadataInterval, 0))});
    const uint32_t nChunkLimit = std::min(nLargestRead, kMaxChunk);
    m_Chunk.resize(nChunkLimit);
    while (!IsStopRequested()) {
        const uint32_t nWanted = bByPart ? m_pStripper->BytesToPartEnd() : nReadSize;
        if (ReadChunk(std::min(nWanted, nChunkLimit)) == 0)
            break;
    }
    return 1;
}

void CBackgroundReaderThread::StartStripping()
{
    uint32_t nAudio = ExamineStreamHeader();
    if (m_nMetadataInterval <= 0)
        return;  // no usable interval: every byte passes
    const auto nInterval = static_cast<uint32_t>(m_nMetadataInterval);
    // Audio that came with the header may already span whole intervals (with empty blocks between
    // them): the next block is due after the rest of the current one.
    while (nAudio > nInterval)
        nAudio -= nInterval + 1;
    m_pStripper = std::make_unique<CIcyStripper>(nInterval, nAudio, GetTitle());
    m_Probe.resize(std::max<size_t>(m_Probe.size(), kMaxBlock));
}

uint32_t CBackgroundReaderThread::ChooseReadSize()
{
    const uint32_t nCapacity = m_Buffer.GetCapacity();
    uint32_t nSize = nCapacity / 16;
    VReader* pChild = Child();
    if (pChild->IsRemote())
        nSize = std::min(nSize, pChild->IsLengthUnknown() ? kLiveReadSize : kRemoteReadSize);
    else
        nSize = std::min(nSize, kLocalReadSize);
    return std::max(std::min(nSize, nCapacity / 2), 1u);
}

uint32_t CBackgroundReaderThread::ExamineStreamHeader()
{
    m_nMetadataInterval = 0;
    std::string intervalText;
    const std::string name = InfoOf(m_pOwner, u"icy-name");
    if (!name.empty()) {
        SetTitle(name);
        intervalText = InfoOf(m_pOwner, u"icy-metaint").substr(0, CIcyMetadata::kMaxText);
    }
    uint32_t nAudio = 0;
    if (name.empty()) {
        // The station's header did not come as the child's information: it leads the stream.
        m_Probe.assign(CIcyMetadata::kHeaderProbe, 0);
        const uint32_t nRead = ReadFully(m_Probe.data(), CIcyMetadata::kHeaderProbe);
        const CIcyMetadata::CStreamHeader header = CIcyMetadata::ParseStreamHeader(m_Probe.data(), nRead);
        SetTitle(header.m_Title);
        intervalText = header.m_IntervalText;
        const uint32_t nSkip = std::min(static_cast<uint32_t>(header.m_nHeaderLength), nRead);
        PutIntoBuffer(m_Probe.data() + nSkip, nRead - nSkip);
        nAudio = nRead - nSkip;
    }
    m_nMetadataInterval = CIcyMetadata::ParseInterval(intervalText);
    return nAudio;
}

uint32_t CBackgroundReaderThread::ReadFully(unsigned char* pBuffer, uint32_t nCount)
{
    uint32_t nTotal = 0;
    while (nTotal < nCount && !IsStopRequested()) {
        const uint32_t nRead = Child()->Read(pBuffer + nTotal, nCount - nTotal);
        if (nRead == 0)
            break;
        nTotal += nRead;
    }
    return nTotal;
}

// In place only with room to spare: the space a read fills is out of a step back's reach until the
// read ends, and the bytes just behind the caller must stay within reach however long the child
// takes. With less room the chunk goes through scratch space, which holds nothing while it waits.
uint32_t CBackgroundReaderThread::ReadChunk(uint32_t nSize)
{
    unsigned char* pTarget = m_Chunk.data();
    bool bInPlace = false;
    if (m_bInPlace) {
        // Woken once there is room for the read and as much again, a writer facing a full ring
        // still reads in place.
        const uint32_t nFree = WaitForRoom(std::min(2 * nSize, m_Buffer.GetCapacity() - 1));
        if (nFree == 0)
            return 0;
        bInPlace = nFree / 2 >= nSize;
        if (!bInPlace)
            ReleaseBufferQuery();
        else if (!(pTarget = m_Buffer.BeginWrite(nSize, nSize)))
            return 0;
    }
    CChildRead read = ReadFromChild(pTarget, nSize);
    m_bEndOfData.store(read.nBytes == 0, std::memory_order_release);
    if (read.nBytes == 0)
        WakeReaderIfServed();  // a reader that does not wait at the end returns now
    const bool bRetried = read.nBytes > 0 || m_pOwner->GetRetryTime() <= 0 || RetryEmptyRead(read, pTarget, nSize);
    if (bInPlace) {
        m_Buffer.CommitWrite(read.nAudio);
        m_nWritePosition.fetch_add(read.nAudio, std::memory_order_acq_rel);
        WakeReaderIfServed();
    } else if (bRetried && !PutIntoBuffer(pTarget, read.nAudio)) {
        return 0;
    }
    // Stopped, the worker leaves the child alone: it may be being closed under this very read.
    if (!bRetried || IsStopRequested())
        return 0;
    if (read.bShort && !IsChildAtKnownEnd())
        SleepMilliseconds(kShortChunkPauseMilliseconds);
    return read.nBytes;
}

CBackgroundReaderThread::CChildRead CBackgroundReaderThread::ReadFromChild(unsigned char* pTarget, uint32_t nSize)
{
    if (m_pStripper && m_bInPlace)
        return ReadAroundMetadata(pTarget, nSize);
    CChildRead read;
    read.nBytes = Child()->Read(pTarget, nSize);
    read.nAudio = StripMetadata(pTarget, read.nBytes);
    read.bShort = read.nBytes < nSize;
    return read;
}

// The audio goes straight to its place run by run, each read ending with the length byte after
// its run, and the blocks go to scratch space: nothing is moved afterwards, and the whole space
// is committed at once.
CBackgroundReaderThread::CChildRead CBackgroundReaderThread::ReadAroundMetadata(unsigned char* pTarget, uint32_t nSize)
{
    CChildRead read;
    while (read.nAudio < nSize && !read.bShort && !IsStopRequested()) {
        const bool bAudio = m_pStripper->IsInAudio();
        unsigned char* pInto = bAudio ? pTarget + read.nAudio : m_Probe.data();
        const uint32_t nPart = m_pStripper->BytesToPartEnd();
        const uint32_t nWanted = bAudio ? std::min(nPart + 1, nSize - read.nAudio) : nPart;
        const uint32_t nRead = Child()->Read(pInto, nWanted);
        read.nBytes += nRead;
        read.nAudio += StripMetadata(pInto, nRead);
        read.bShort = nRead < nWanted;
    }
    return read;
}

uint32_t CBackgroundReaderThread::StripMetadata(unsigned char* pBytes, uint32_t nCount)
{
    if (!m_pStripper)
        return nCount;
    const uint32_t nAudio = m_pStripper->Strip(pBytes, nCount);
    std::string title;
    if (m_pStripper->TakeNewTitle(title))
        SetTitle(title);
    return nAudio;
}

// A short read that reached a known length is the end, not a trickle worth pausing for: the next
// read says so at once.
bool CBackgroundReaderThread::IsChildAtKnownEnd() const
{
    VReader* pChild = Child();
    return !pChild->IsLengthUnknown() && pChild->GetPosition() >= pChild->GetLength();
}

// False when a stop came while waiting.
bool CBackgroundReaderThread::RetryEmptyRead(CChildRead& read, unsigned char* pTarget, uint32_t nSize)
{
    const int64_t nStart = PerformanceCounter();
    while (read.nBytes == 0 && MillisecondsSince(nStart) < m_pOwner->GetRetryTime()) {
        WaitForStopOrExit(kRetryWaitMilliseconds);
        if (IsStopRequested())
            return false;
        read = ReadFromChild(pTarget, nSize);
        if (read.nBytes != 0)
            m_bEndOfData.store(false, std::memory_order_release);
    }
    return true;
}

bool CBackgroundReaderThread::PutIntoBuffer(const unsigned char* pBytes, uint32_t nCount)
{
    // Whatever fits goes in at once; the rest waits for the caller to read. Only the free space
    // may be written: the caller's step back (Rewind) lives in it, so it is measured again, under
    // the buffer's lock, for every write.
    while (nCount > 0) {
        const uint32_t nFree = WaitForRoom(std::min(nCount, m_Buffer.GetCapacity() / 2));
        if (nFree == 0)
            break;
        const uint32_t nPart = std::min(nCount, nFree);
        m_Buffer.Write(pBytes, nPart);
        // Counted once in the buffer, so that a seek to the write position finds every byte.
        m_nWritePosition.fetch_add(nPart, std::memory_order_acq_rel);
        WakeReaderIfServed();
        pBytes += nPart;
        nCount -= nPart;
    }
    return nCount == 0;
}

// The free space once there is any (keeping the buffer's lock for the transfer that must follow);
// 0 when a stop came first. A waiting writer is woken once nWanted bytes are free.
uint32_t CBackgroundReaderThread::WaitForRoom(uint32_t nWanted)
{
    for (;;) {
        // Set before the query: room made after it is signalled.
        m_nWriterNeeds.store(std::max(nWanted, 1u), std::memory_order_release);
        m_SpaceFreed.Reset();
        const uint32_t nFree = m_Buffer.GetFree(false);
        if (nFree > 0) {
            m_nWriterNeeds.store(0, std::memory_order_release);
            return nFree;
        }
        ReleaseBufferQuery();
        if (IsStopRequested()) {
            m_nWriterNeeds.store(0, std::memory_order_release);
            return 0;
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

uint32_t CBackgroundReaderThread::ReadBuffered(void* pBuffer, uint32_t nCount)
{
    if (nCount == 0)
        return 0;
    auto* pBytes = static_cast<unsigned char*>(pBuffer);
    uint32_t nDelivered = 0;
    for (;;) {
        // Set before the query: bytes that come after it are signalled.
        m_nReaderWants.store(nCount - nDelivered, std::memory_order_release);
        m_DataArrived.Reset();
        // While the query holds the buffer's lock the worker can neither add bytes nor end after
        // adding them, so "ended" and "nothing more" are seen together.
        const uint32_t nAvailable = std::min(m_Buffer.GetUsed(false), nCount - nDelivered);
        const bool bRunning = IsRunning();
        // A read of nothing still ends the query.
        const uint32_t nCopied = m_Buffer.Read(pBytes + nDelivered, nAvailable);
        if (nCopied > 0)
            WakeWriterIfRoom();
        nDelivered += nCopied;
        if (nDelivered >= nCount || !bRunning || IsStopRequested() || (IsEndOfData() && !m_pOwner->IsWaitAtEnd()))
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
        // The check and the step back are one step under the buffer's lock: the worker writes
        // into exactly the space the step back reclaims.
        // Held are the bytes read so far, as far back as the writer has not taken their space.
        const int64_t nRewindable = std::min<int64_t>(nRead, m_Buffer.GetRewindable(false));
        const bool bHeld = nRead - nTarget <= nRewindable;
        if (bHeld)
            m_Buffer.Rewind(nRead - nTarget);
        ReleaseBufferQuery();
        if (!bHeld)
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
