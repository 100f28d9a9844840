// VBufferedReader: a decorator that reads its child ahead of the caller on a worker
// (CBackgroundReaderThread) into a large circle buffer, so that a slow or bursty source is
// decoupled from the consumer. Seeks inside the bytes the buffer still holds cost nothing; others
// restart the worker at the new place, or fail on a live source, which cannot seek. For
// Internet-radio streams the worker strips the metadata blocks out of the audio and keeps the title.
//
// One lock serialises the caller's operations, a blocking Read included. The worker never takes
// it: it reads the settings it needs from atomics and shares only the circle buffer. A stop is
// signalled before the lock is taken, so that a Read blocked in another thread returns at once,
// and again under it for a worker that another thread's restart made meanwhile. The child is
// closed only once the worker has left it (or, for a remote child, to end a read that waits).
#pragma once

#include "core/WrappingReader.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

class CBackgroundReaderThread;

class VBufferedReader : public VWrappingReader {
public:
    static constexpr uint32_t kDefaultBufferSize = 104857600;

    // Owns the child.
    explicit VBufferedReader(VReader* pChild);
    ~VBufferedReader() override;

    ZUBOOL Open() override;
    void Close() override;
    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    int64_t GetLength() override;
    int64_t GetPosition() override;
    int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) override;

    // After VWrappingReader::GetChildReader, in this order. The setters take effect when the next
    // worker is made.
    virtual void SetBufferInFile(ZUBOOL bInFile);
    virtual void SetBufferFile(const ZUCHAR* pszPath);
    // How long a child read that brings nothing is retried before it counts as the end.
    virtual void SetRetryTime(int32_t nMilliseconds);
    // The child carries Internet-radio metadata blocks to strip; cannot be switched off again.
    virtual void EnableIcyMetadata();
    // With 1 (the default) a read at the end of the buffered bytes waits until the worker ends.
    virtual void SetWaitAtEnd(ZUBOOL bWait);
    virtual void SetBufferSize(uint32_t nBytes);
    // 0 turns the reader into a pass-through that continues where the caller was.
    virtual void SetBuffering(ZUBOOL bBuffering);
    // 1 when a new worker got its buffer (or buffering is off); 0 when the buffer's memory could
    // not be had, and also when a worker already exists.
    virtual ZUBOOL StartBuffering();
    virtual ZUBOOL StopBuffering();
    // Outputs: a worker exists, bytes buffered, buffer capacity, the child's end reached.
    virtual ZUBOOL GetBufferState(uint32_t* pActive, uint32_t* pBuffered, uint32_t* pCapacity, uint32_t* pEnd);
    // Buffered bytes over capacity, 0.0 without a worker.
    virtual float GetBufferFullness();
    // The latest Internet-radio title (the station's name until the first title arrives), as a
    // system string the caller frees with ZUFreeString; empty without a worker or a station.
    // Does not wait for a Read blocked in another thread.
    virtual ZUBSTR GetStreamTitle();

    // What the worker reads while it runs.
    int32_t GetRetryTime() const { return m_nRetryTime.load(std::memory_order_relaxed); }
    bool IsWaitAtEnd() const { return m_bWaitAtEnd.load(std::memory_order_relaxed); }
    VReader* Child() const { return m_pChild; }

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
    std::atomic<int32_t> m_nRetryTime{0};
    ZUBOOL m_bIcyMetadata = 0;
    ZUBOOL m_bBuffering = 1;
    bool m_bClosed = false;  // by Close, until the next Open
    std::atomic<bool> m_bWaitAtEnd{true};
};
