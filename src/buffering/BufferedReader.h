// CBufferedReader: the read-ahead reader behind VBufferedReader. It reads its child ahead on a
// worker (CBackgroundReaderThread) into a large circle buffer.
//
// One lock serialises the caller's operations, a blocking Read included. The worker never takes
// it: it gets the settings it needs as values when it is made and shares only the circle buffer.
// A stop is signalled before the lock is taken, so that a Read blocked in another thread returns at
// once, and again under it for a worker that another thread's restart made meanwhile. The child is
// closed only once the worker has left it (or, for a remote child, to end a read that waits).
#pragma once

#include <zureader/BufferedReader.h>

#include <memory>
#include <mutex>
#include <string>

class CBackgroundReaderThread;

class CBufferedReader final : public VBufferedReader {
public:
    // Owns the child.
    explicit CBufferedReader(VReader* pChild);
    ~CBufferedReader() override;

    ZUBOOL Open() override;
    void Close() override;
    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    int64_t GetLength() override;
    int64_t GetPosition() override;
    int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) override;

    void SetBufferInFile(ZUBOOL bInFile) override;
    void SetBufferFile(const ZUCHAR* pszPath) override;
    void SetRetryTime(int32_t nMilliseconds) override;
    void EnableIcyMetadata() override;
    void SetWaitAtEnd(ZUBOOL bWait) override;
    void SetBufferSize(uint32_t nBytes) override;
    void SetBuffering(ZUBOOL bBuffering) override;
    ZUBOOL StartBuffering() override;
    ZUBOOL StopBuffering() override;
    ZUBOOL GetBufferState(uint32_t* pActive, uint32_t* pBuffered, uint32_t* pCapacity, uint32_t* pEnd) override;
    float GetBufferFullness() override;
    ZUBSTR GetStreamTitle() override;
    ZUBSTR GetStreamTitleAtReadPosition(uint32_t* pBytesToNext) override;

private:
    // Both the worker pointer's lock and the reader's are held while the worker is replaced.
    void ReplaceWorker(std::unique_ptr<CBackgroundReaderThread> pWorker);
    void SignalWorkerStop();
    void StopWorkerForClose();
    int64_t SeekFromEnd(int64_t nOffset);

    std::recursive_mutex m_Lock;
    // Guards the worker pointer alone, so that a stop can reach the worker while a Read holds
    // m_Lock; never held while waiting.
    std::mutex m_WorkerLock;
    std::unique_ptr<CBackgroundReaderThread> m_pWorker;
    ZUBOOL m_bBufferInFile = 1;
    std::u16string m_BufferFile;
    uint32_t m_nBufferSize = kDefaultBufferSize;
    int32_t m_nRetryTime = 0;
    ZUBOOL m_bIcyMetadata = 0;
    ZUBOOL m_bBuffering = 1;
    bool m_bClosed = false;  // by Close, until the next Open
    bool m_bWaitAtEnd = true;
};
