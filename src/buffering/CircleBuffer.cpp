#include "buffering/CircleBuffer.h"

#include "core/Log.h"
#include "host/TempFileName.h"
#include "platform/File.h"

#include <algorithm>
#include <cstring>

using namespace zu;

CCircleBuffer::CCircleBuffer(uint32_t nCapacity, bool bLocking, bool bFileBacked, const std::u16string& path)
    : m_bLocking(bLocking), m_bFileBacked(bFileBacked), m_nCapacity(nCapacity)
{
    if (nCapacity == 0)
        return;
    if (bFileBacked) {
        CreateFileMemory(path);
    } else {
        if (m_Memory.Allocate(nCapacity))
            m_pData = m_Memory.Data();
    }
}

CCircleBuffer::~CCircleBuffer()
{
    Lock();
    if (m_bFileBacked)
        ReleaseFile();
    m_Memory.Release();
    m_pData = nullptr;
    Unlock();
}

// A name of the ring's own is made only where nothing holds it yet, so that nobody can put a link
// there first and have the ring write through it into their target. Where the system keeps such a
// file in no folder, the name is only the file's label and the ring reports no path.
void CCircleBuffer::CreateFileMemory(const std::u16string& path)
{
    m_bTemporary = path.empty();
    bool bMapped;
    if (m_bTemporary) {
        bMapped = host::CTempFileName::Create(
            u"Circle Buffer", u"dat",
            [this](const std::u16string& name) {
                if (m_Mapping.Create(name, m_nCapacity, platform::EMappedFileName::Temporary))
                    return host::CTempFileName::EAttempt::Created;
                return m_Mapping.LastFailure() == platform::EMappedFileFailure::NameTaken
                           ? host::CTempFileName::EAttempt::NameTaken
                           : host::CTempFileName::EAttempt::Failed;
            },
            m_Path);
    } else {
        m_Path = path;
        bMapped = m_Mapping.Create(m_Path, m_nCapacity);
    }
    if (!bMapped) {
        LogMappingFailure();
        return;
    }
    m_pData = m_Mapping.Data();
    if (!m_Mapping.InFolder())
        m_Path.clear();
}

void CCircleBuffer::LogMappingFailure() const
{
    if (m_Mapping.LastFailure() == platform::EMappedFileFailure::NoSpace)
        Log(LOG_READER, u"CCircleBuffer::CCircleBuffer",
            u"No room for a %u-byte buffer in %s: the disk or the memory is full (error %u)", m_nCapacity, m_Path,
            m_Mapping.LastError());
    else
        Log(LOG_READER, u"CCircleBuffer::CCircleBuffer", u"Cannot make the %u-byte buffer file %s (error %u)",
            m_nCapacity, m_Path, m_Mapping.LastError());
}

// A temporary file goes with its view. The view goes first: a mapped file cannot be cut on Windows.
void CCircleBuffer::ReleaseFile()
{
    m_Mapping.Close();
    if (m_bTemporary)
        return;
    const int64_t nLength = platform::FileSizeByName(m_Path);
    if (nLength >= 0 && static_cast<uint64_t>(nLength) > m_nTotalWritten) {
        platform::CFile file;
        if (file.Open(m_Path, platform::FILE_ACCESS_READ | platform::FILE_ACCESS_WRITE, 0, platform::FILE_OPEN_EXISTING) &&
            file.Seek(static_cast<int64_t>(m_nTotalWritten), 0) >= 0)
            file.SetEndOfFile();
    }
}

void CCircleBuffer::Lock()
{
    if (m_bLocking)
        m_Lock.lock();
}

void CCircleBuffer::Unlock()
{
    if (m_bLocking)
        m_Lock.unlock();
}

uint32_t CCircleBuffer::UsedLocked() const
{
    if (!m_pData)
        return 0;
    return m_nWriteIndex >= m_nReadIndex ? m_nWriteIndex - m_nReadIndex : m_nWriteIndex + m_nCapacity - m_nReadIndex;
}

uint32_t CCircleBuffer::FreeLocked() const
{
    return m_pData ? m_nCapacity - UsedLocked() - 1 : 0;
}

// Counts never exceed the capacity on the hot path, where one subtraction replaces a division.
uint32_t CCircleBuffer::Advanced(uint32_t nIndex, uint64_t nCount) const
{
    const uint64_t nSum = nIndex + nCount;
    if (nSum < m_nCapacity)
        return static_cast<uint32_t>(nSum);
    return static_cast<uint32_t>(nSum < 2ull * m_nCapacity ? nSum - m_nCapacity : nSum % m_nCapacity);
}

uint32_t CCircleBuffer::GetUsed()
{
    Lock();
    const uint32_t nUsed = UsedLocked();
    Unlock();
    return nUsed;
}

uint32_t CCircleBuffer::GetFree()
{
    Lock();
    const uint32_t nFree = FreeLocked();
    Unlock();
    return nFree;
}

void CCircleBuffer::CopyOut(unsigned char* pDestination, uint32_t nStart, uint32_t nCount) const
{
    const uint32_t nFirst = std::min(nCount, m_nCapacity - nStart);
    std::memcpy(pDestination, m_pData + nStart, nFirst);
    if (nCount > nFirst)
        std::memcpy(pDestination + nFirst, m_pData, nCount - nFirst);
}

void CCircleBuffer::CopyIn(const unsigned char* pSource, uint32_t nStart, uint32_t nCount)
{
    const uint32_t nFirst = std::min(nCount, m_nCapacity - nStart);
    std::memcpy(m_pData + nStart, pSource, nFirst);
    if (nCount > nFirst)
        std::memcpy(m_pData, pSource + nFirst, nCount - nFirst);
}

// Large copies run without the lock so that the producer and the consumer copy at the same time;
// a small one costs less than a second round on the lock, and is made under it.
// Only the consumer moves the read index, and the producer never writes into held bytes, so the
// bytes being read stay put; the index moves once they are out.
uint32_t CCircleBuffer::Read(void* pDestination, uint32_t nMax)
{
    Lock();
    const uint32_t nCopied = pDestination ? std::min(nMax, UsedLocked()) : 0;
    if (nCopied == 0) {
        Unlock();
        return 0;
    }
    const uint32_t nStart = m_nReadIndex;
    const bool bUnlocked = !IsSmall(nCopied);
    if (bUnlocked)
        Unlock();
    CopyOut(static_cast<unsigned char*>(pDestination), nStart, nCopied);
    if (bUnlocked)
        Lock();
    m_nReadIndex = Advanced(nStart, nCopied);
    Unlock();
    return nCopied;
}

uint32_t CCircleBuffer::Peek(void* pDestination, uint32_t nMax, uint32_t nOffset)
{
    Lock();
    const uint32_t nUsed = UsedLocked();
    const uint32_t nCopied = pDestination && nOffset < nUsed ? std::min(nMax, nUsed - nOffset) : 0;
    if (nCopied > 0)
        CopyOut(static_cast<unsigned char*>(pDestination), Advanced(m_nReadIndex, nOffset), nCopied);
    Unlock();
    return nCopied;
}

const unsigned char* CCircleBuffer::PeekInPlace(uint32_t nMax, uint32_t nOffset, uint32_t& nSpan)
{
    Lock();
    const uint32_t nUsed = UsedLocked();
    const uint32_t nStart = nOffset < nUsed ? Advanced(m_nReadIndex, nOffset) : 0;
    nSpan = nOffset < nUsed ? std::min({nMax, nUsed - nOffset, m_nCapacity - nStart}) : 0;
    const unsigned char* pSpan = nSpan > 0 ? m_pData + nStart : nullptr;
    Unlock();
    return pSpan;
}

// As Read: the copy runs without the lock. The bytes being written are free space that a step
// back (Rewind) could otherwise claim meanwhile, so they are marked as taken until the index moves.
uint32_t CCircleBuffer::Write(const void* pSource, uint32_t nMax)
{
    Lock();
    const uint32_t nCopied = pSource ? std::min(nMax, FreeLocked()) : 0;
    if (nCopied == 0) {
        Unlock();
        return 0;
    }
    const uint32_t nStart = m_nWriteIndex;
    const bool bUnlocked = !IsSmall(nCopied);
    if (bUnlocked) {
        m_nWriting = nCopied;
        Unlock();
    }
    CopyIn(static_cast<const unsigned char*>(pSource), nStart, nCopied);
    if (bUnlocked)
        Lock();
    m_nWriteIndex = Advanced(nStart, nCopied);
    m_nTotalWritten += nCopied;
    m_nWriting = 0;
    Unlock();
    return nCopied;
}

unsigned char* CCircleBuffer::BeginWrite(uint32_t nMax, uint32_t& nSpace)
{
    Lock();
    nSpace = std::min({nMax, FreeLocked(), m_nCapacity - m_nWriteIndex});
    m_nWriting = nSpace;
    unsigned char* pSpace = nSpace > 0 ? m_pData + m_nWriteIndex : nullptr;
    Unlock();
    return pSpace;
}

void CCircleBuffer::CommitWrite(uint32_t nCount)
{
    Lock();
    nCount = std::min(nCount, m_nWriting);
    m_nWriteIndex = Advanced(m_nWriteIndex, nCount);
    m_nTotalWritten += nCount;
    m_nWriting = 0;
    Unlock();
}

uint32_t CCircleBuffer::RewindableLocked() const
{
    return FreeLocked() > m_nWriting ? FreeLocked() - m_nWriting : 0;
}

uint32_t CCircleBuffer::GetRewindable()
{
    Lock();
    const uint32_t nRewindable = RewindableLocked();
    Unlock();
    return nRewindable;
}

bool CCircleBuffer::Rewind(int64_t nCount)
{
    Lock();
    const bool bHeld = nCount >= 0 && nCount <= RewindableLocked();
    if (bHeld && nCount > 0)
        m_nReadIndex = Advanced(m_nReadIndex, m_nCapacity - static_cast<uint32_t>(nCount));
    Unlock();
    return bHeld;
}

void CCircleBuffer::Skip(int64_t nCount)
{
    Lock();
    if (m_pData && nCount > 0)
        m_nReadIndex = Advanced(m_nReadIndex, static_cast<uint64_t>(std::min<int64_t>(nCount, UsedLocked())));
    Unlock();
}

uint64_t CCircleBuffer::GetTotalWritten()
{
    Lock();
    const uint64_t nTotal = m_nTotalWritten;
    Unlock();
    return nTotal;
}
