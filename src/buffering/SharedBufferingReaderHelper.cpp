#include "buffering/SharedBufferingReaderHelper.h"

#include <zureader/ZUReader.h>

#include "core/FunctionLog.h"

#include <algorithm>
#include <chrono>
#include <cstring>

using namespace zu;

namespace {

constexpr auto kWorkerPoll = std::chrono::milliseconds(50);
constexpr auto kWriterWait = std::chrono::milliseconds(10);

std::unique_ptr<VReader> ReaderFor(const std::u16string& path)
{
    return std::unique_ptr<VReader>(GetGenericReader(reinterpret_cast<const ZUCHAR*>(path.c_str())));
}

}  // namespace

CSharedBufferingReaderHelper::CSharedBufferingReaderHelper(const std::u16string& path, bool bWritable, uint32_t nCapacity,
                                                           uint32_t nBlockSize, VReader* pFile, VReader* pSink)
    : m_Cache(nCapacity, false, false),
      m_Path(path),
      m_pSink(pSink),
      m_pFile(pFile),
      m_nBlockSize(std::max<uint32_t>(nBlockSize, 1))
{
    if (!m_pSink && bWritable) {
        m_pSink = ReaderFor(path);
        if (m_pSink)
            m_pSink->Create();
    }
    if (!m_pFile) {
        m_pFile = ReaderFor(path);
        if (m_pFile)
            m_pFile->Open();
    }
}

CSharedBufferingReaderHelper::~CSharedBufferingReaderHelper()
{
    {
        std::lock_guard<std::mutex> writing(m_WriteLock);
        FlushAll(-1);
    }
    if (m_pSink)
        m_pSink->Close();
    if (m_pFile)
        m_pFile->Close();
}

bool CSharedBufferingReaderHelper::IsWithinABlockOfFull()
{
    return m_Cache.GetFree() + 1 <= m_nBlockSize;
}

// The held bytes lie still while they go to the sink: the writer only fills free space, and only
// this worker (or a flush, which stops it first) lets bytes go.
uint32_t CSharedBufferingReaderHelper::WriteOldest(uint32_t nCount)
{
    int64_t nBase;
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        nBase = m_nBase;
    }
    uint32_t nDone = 0;
    while (nDone < nCount) {
        uint32_t nSpan = 0;
        const unsigned char* pSpan;
        {
            std::lock_guard<std::mutex> lock(m_Lock);
            pSpan = m_Cache.PeekInPlace(nCount - nDone, nDone, nSpan);
        }
        if (!pSpan)
            break;
        if (m_pSink) {
            m_pSink->SetPosition(nBase + nDone, ZU_SEEK_BEGIN);
            m_pSink->Write(pSpan, nSpan);
        }
        nDone += nSpan;
    }
    std::lock_guard<std::mutex> lock(m_Lock);
    m_Cache.Skip(nDone);
    m_nBase += nDone;
    return nDone;
}

// Only a cache within one block of full is written out, a block at a time.
int32_t CSharedBufferingReaderHelper::Thread()
{
    CFunctionLog log(LOG_READER, u"CSharedBufferingReaderHelper::Thread");
    for (;;) {
        uint32_t nBlock;
        {
            std::unique_lock<std::mutex> lock(m_Lock);
            m_BlockReady.wait_for(lock, kWorkerPoll, [this] { return IsStopRequested() || IsWithinABlockOfFull(); });
            if (IsStopRequested())
                return 1;
            if (!IsWithinABlockOfFull())
                continue;
            nBlock = std::min(m_nBlockSize, m_Cache.GetUsed());
        }
        WriteOldest(nBlock);
        m_RoomMade.notify_all();
    }
}

// The request is made under the lock the worker waits with, so that it cannot slip in between the
// worker's look at it and its wait.
void CSharedBufferingReaderHelper::StopWorker()
{
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        SetStopRequest(1);
    }
    m_BlockReady.notify_all();
    Stop(-1);
}

void CSharedBufferingReaderHelper::FlushAll(int64_t nNewBase)
{
    StopWorker();
    uint32_t nHeld;
    int64_t nOldBase;
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        nHeld = m_Cache.GetUsed();
        nOldBase = m_nBase;
    }
    WriteOldest(nHeld);
    std::lock_guard<std::mutex> lock(m_Lock);
    m_nBase = nNewBase == -1 ? nOldBase + nHeld : nNewBase;
}

// The free space is the writer's alone (readers and the worker take held bytes only), so the copy
// runs without the lock; the bytes count as held once it is done.
uint32_t CSharedBufferingReaderHelper::CopyIntoCache(const unsigned char* pBytes, uint32_t nCount)
{
    uint32_t nSpace = 0;
    unsigned char* pSpace;
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        pSpace = m_Cache.BeginWrite(nCount, nSpace);
    }
    if (!pSpace)
        return 0;
    std::memcpy(pSpace, pBytes, nSpace);
    bool bBlockReady;
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        m_Cache.CommitWrite(nSpace);
        bBlockReady = IsWithinABlockOfFull();
    }
    if (bBlockReady)
        m_BlockReady.notify_all();
    return nSpace;
}

void CSharedBufferingReaderHelper::WaitForRoom()
{
    std::unique_lock<std::mutex> lock(m_Lock);
    m_RoomMade.wait_for(lock, kWriterWait, [this] { return m_Cache.GetFree() > 0; });
}

void CSharedBufferingReaderHelper::WriteAt(int64_t nPosition, const void* pBuffer, uint32_t nCount)
{
    std::lock_guard<std::mutex> writing(m_WriteLock);
    bool bContiguous;
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        bContiguous = nPosition == m_nBase + m_Cache.GetUsed();
    }
    if (!bContiguous)
        FlushAll(nPosition);
    const auto* pBytes = static_cast<const unsigned char*>(pBuffer);
    uint32_t nDone = 0;
    while (nDone < nCount && m_Cache.HasMemory()) {
        const uint32_t nCopied = CopyIntoCache(pBytes + nDone, nCount - nDone);
        nDone += nCopied;
        Start(-1, 0);
        // A full cache: wait for the worker to take a block out.
        if (nCopied == 0)
            WaitForRoom();
    }
}

uint32_t CSharedBufferingReaderHelper::PeekCache(int64_t nOffset, unsigned char* pBuffer, uint32_t nCount)
{
    const int64_t nHeld = m_Cache.GetUsed();
    if (nOffset >= nHeld)
        return 0;
    return m_Cache.Peek(pBuffer, nCount, static_cast<uint32_t>(nOffset));
}

uint32_t CSharedBufferingReaderHelper::ReadFromFile(int64_t nPosition, unsigned char* pBuffer, uint32_t nCount)
{
    std::lock_guard<std::mutex> lock(m_FileLock);
    if (!m_pFile || nCount == 0 || m_pFile->SetPosition(nPosition, ZU_SEEK_BEGIN) != nPosition)
        return 0;
    return m_pFile->Read(pBuffer, nCount);
}

uint32_t CSharedBufferingReaderHelper::ReadPastTheCache(int64_t nFrom, int64_t nPosition, unsigned char* pBuffer,
                                                        uint32_t nCount)
{
    {
        std::lock_guard<std::mutex> lock(m_FileLock);
        if (!m_pFile || m_pFile->GetLength() <= nFrom)
            return 0;
    }
    return ReadFromFile(nPosition, pBuffer, nCount);
}

// Bytes below the base are in the file for good, so they are read there without holding up the
// writer and the worker; the base may move on meanwhile, and what left the cache is then read
// from the file too.
uint32_t CSharedBufferingReaderHelper::ReadAt(int64_t nPosition, void* pBuffer, uint32_t nCount)
{
    auto* pBytes = static_cast<unsigned char*>(pBuffer);
    uint32_t nRead = 0;
    while (nRead < nCount) {
        const int64_t nAt = nPosition + nRead;
        int64_t nBase;
        {
            std::lock_guard<std::mutex> lock(m_Lock);
            nBase = m_nBase;
            if (nAt >= nBase) {
                nRead += PeekCache(nAt - nBase, pBytes + nRead, nCount - nRead);
                break;
            }
        }
        const uint32_t nWanted = static_cast<uint32_t>(std::min<int64_t>(nBase - nAt, nCount - nRead));
        const uint32_t nGot = ReadFromFile(nAt, pBytes + nRead, nWanted);
        nRead += nGot;
        if (nGot < nWanted)
            return nRead;
    }
    if (nRead < nCount)
        nRead += ReadPastTheCache(nPosition, nPosition + nRead, pBytes + nRead, nCount - nRead);
    return nRead;
}

int64_t CSharedBufferingReaderHelper::GetLength()
{
    int64_t nCacheEnd;
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        nCacheEnd = m_nBase + m_Cache.GetUsed();
    }
    std::lock_guard<std::mutex> lock(m_FileLock);
    const int64_t nFile = m_pFile ? m_pFile->GetLength() : -1;
    return std::max<int64_t>(nFile, nCacheEnd);
}

ZUBOOL CSharedBufferingReaderHelper::SetEndOfFile()
{
    if (!m_pSink)
        return 0;
    std::lock_guard<std::mutex> writing(m_WriteLock);
    FlushAll(-1);
    return m_pSink->SetEndOfFile();
}

void CSharedBufferingReaderHelper::ReplaceFileReader(VReader* pFile)
{
    std::lock_guard<std::mutex> lock(m_FileLock);
    m_pFile.reset(pFile);
}
