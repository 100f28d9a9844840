#include "buffering/SharedBufferingReaderHelper.h"

#include <zureader/ZUReader.h>

#include "core/FunctionLog.h"

#include <algorithm>
#include <chrono>
#include <vector>

using namespace zu;

namespace {

constexpr uint32_t kWorkerPollMilliseconds = 50;
constexpr uint32_t kWriterWaitMilliseconds = 10;

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
    FlushAll(-1);
    if (m_pSink)
        m_pSink->Close();
    if (m_pFile)
        m_pFile->Close();
}

uint32_t CSharedBufferingReaderHelper::CacheUsed()
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    return m_Cache.GetUsed();
}

void CSharedBufferingReaderHelper::WriteOldest(uint32_t nCount, unsigned char* pScratch)
{
    int64_t nBase;
    {
        std::lock_guard<std::recursive_mutex> lock(m_Lock);
        nCount = m_Cache.Peek(pScratch, nCount, 0);
        nBase = m_nBase;
    }
    if (m_pSink && nCount > 0) {
        m_pSink->SetPosition(nBase, ZU_SEEK_BEGIN);
        m_pSink->Write(pScratch, nCount);
    }
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_Cache.Skip(nCount);
    m_nBase += nCount;
}

bool CSharedBufferingReaderHelper::IsWithinABlockOfFull()
{
    return m_Cache.GetFree() + 1 <= m_nBlockSize;
}

// Only a cache within one block of full is written out, a block at a time.
int32_t CSharedBufferingReaderHelper::Thread()
{
    CFunctionLog log(LOG_READER, u"CSharedBufferingReaderHelper::Thread");
    std::vector<unsigned char> block(m_nBlockSize);
    while (!IsStopRequested()) {
        {
            std::unique_lock<std::recursive_mutex> lock(m_Lock);
            if (!IsWithinABlockOfFull()) {
                m_Changed.wait_for(lock, std::chrono::milliseconds(kWorkerPollMilliseconds));
                continue;
            }
        }
        WriteOldest(std::min(m_nBlockSize, CacheUsed()), block.data());
        m_Changed.notify_all();
    }
    return 1;
}

void CSharedBufferingReaderHelper::FlushAll(int64_t nNewBase)
{
    Stop(-1);
    uint32_t nHeld;
    int64_t nOldBase;
    {
        std::lock_guard<std::recursive_mutex> lock(m_Lock);
        nHeld = m_Cache.GetUsed();
        nOldBase = m_nBase;
    }
    std::vector<unsigned char> all(nHeld);
    WriteOldest(nHeld, all.data());
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_nBase = nNewBase == -1 ? nOldBase + nHeld : nNewBase;
}

void CSharedBufferingReaderHelper::WriteAt(int64_t nPosition, const void* pBuffer, uint32_t nCount)
{
    bool bContiguous;
    {
        std::lock_guard<std::recursive_mutex> lock(m_Lock);
        bContiguous = nPosition == m_nBase + m_Cache.GetUsed();
    }
    if (!bContiguous)
        FlushAll(nPosition);
    const auto* pBytes = static_cast<const unsigned char*>(pBuffer);
    uint32_t nDone = 0;
    for (;;) {
        bool bBlockReady;
        {
            std::lock_guard<std::recursive_mutex> lock(m_Lock);
            nDone += m_Cache.Write(pBytes + nDone, nCount - nDone);
            bBlockReady = IsWithinABlockOfFull();
        }
        Start(-1, 0);
        if (bBlockReady)
            m_Changed.notify_all();
        if (nDone >= nCount || !m_Cache.HasMemory())
            return;
        // The cache is full: wait for the worker to take a block out.
        std::unique_lock<std::recursive_mutex> lock(m_Lock);
        m_Changed.wait_for(lock, std::chrono::milliseconds(kWriterWaitMilliseconds),
                           [this] { return m_Cache.GetFree() > 0; });
    }
}

uint32_t CSharedBufferingReaderHelper::ReadFromFile(int64_t nPosition, unsigned char* pBuffer, uint32_t nCount)
{
    if (!m_pFile || nCount == 0 || m_pFile->SetPosition(nPosition, ZU_SEEK_BEGIN) != nPosition)
        return 0;
    return m_pFile->Read(pBuffer, nCount);
}

uint32_t CSharedBufferingReaderHelper::ReadAt(int64_t nPosition, void* pBuffer, uint32_t nCount)
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    auto* pBytes = static_cast<unsigned char*>(pBuffer);
    uint32_t nRead = 0;
    if (nPosition < m_nBase) {
        const uint32_t nWanted = static_cast<uint32_t>(std::min<int64_t>(m_nBase - nPosition, nCount));
        nRead = ReadFromFile(nPosition, pBytes, nWanted);
        if (nRead < nWanted)
            return nRead;
    }
    const int64_t nOffset = std::max<int64_t>(nPosition - m_nBase, 0);
    const int64_t nHeld = m_Cache.GetUsed();
    const int64_t nFromCache = std::max<int64_t>(std::min<int64_t>(nHeld - nOffset, nCount - nRead), 0);
    if (nFromCache > 0)
        nRead += m_Cache.Peek(pBytes + nRead, static_cast<uint32_t>(nFromCache), static_cast<uint32_t>(nOffset));
    if (nRead < nCount && m_pFile && m_pFile->GetLength() > nPosition)
        nRead += ReadFromFile(nPosition + nRead, pBytes + nRead, nCount - nRead);
    return nRead;
}

int64_t CSharedBufferingReaderHelper::GetLength()
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    const int64_t nFile = m_pFile ? m_pFile->GetLength() : -1;
    return std::max<int64_t>(nFile, m_nBase + m_Cache.GetUsed());
}

ZUBOOL CSharedBufferingReaderHelper::SetEndOfFile()
{
    if (!m_pSink)
        return 0;
    FlushAll(-1);
    return m_pSink->SetEndOfFile();
}

void CSharedBufferingReaderHelper::ReplaceFileReader(VReader* pFile)
{
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_pFile.reset(pFile);
}
