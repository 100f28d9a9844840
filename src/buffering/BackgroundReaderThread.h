// CBackgroundReaderThread: the worker of the read-ahead reader. It reads a source ahead of the
// caller into a circle buffer and hands the buffered bytes to the caller's reads and in-buffer
// seeks. For an Internet-radio stream the source is a CIcyStrippingReader over the child, so the
// buffer holds audio alone and the titles are kept by audio position.
//
// Positions are relative to the child's position when the worker was made (the start offset).
// The caller's side moves the read position, the worker the write position; the two meet only in
// the circle buffer, each of whose calls is one step under its lock. The worker knows nothing of
// the reader that made it: everything it needs comes in CSettings.
#pragma once

#include "buffering/CircleBuffer.h"
#include "buffering/IcyStrippingReader.h"
#include "core/Thread.h"
#include "platform/Thread.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class VReader;

class CBackgroundReaderThread : public CThread {
public:
    struct CSettings {
        int64_t nStartOffset = 0;
        uint32_t nCapacity = 0;
        bool bFileBacked = true;
        std::u16string bufferFile;
        bool bIcy = false;  // the child carries Internet-radio metadata to strip
        int32_t nRetryTime = 0;  // how long an empty child read is retried before it is the end
    };

    // Starts at once. The child, open, must outlive the worker.
    CBackgroundReaderThread(VReader* pChild, const CSettings& settings);
    // Stops the body, killing it after kStopTimeout.
    ~CBackgroundReaderThread() override;

    static constexpr int32_t kStopTimeout = 5000;

    bool HasMemory() const { return m_Buffer.HasMemory(); }

    // The caller's read: copies up to nCount buffered bytes. It waits until the count is there or
    // the worker has ended; at the end of the data with bWaitAtEnd false it answers at once.
    uint32_t ReadBuffered(void* pBuffer, uint32_t nCount, bool bWaitAtEnd);
    // Moves the read position to nTarget (relative) when the bytes there are still, or already, in
    // the buffer; false otherwise, and nothing moves.
    bool Seek(int64_t nTarget);

    int64_t GetStartOffset() const { return m_nStartOffset; }
    int64_t GetReadPosition() const { return m_nReadPosition.load(std::memory_order_acquire); }
    int64_t GetWritePosition() const { return m_nWritePosition.load(std::memory_order_acquire); }
    bool IsEndOfData() const { return m_bEndOfData.load(std::memory_order_acquire); }
    uint32_t GetBuffered() { return m_Buffer.GetUsed(); }
    uint32_t GetCapacity() const { return m_Buffer.GetCapacity(); }
    // The station's name at first, then the latest StreamTitle; 8-bit text as the station sent it.
    std::string GetTitle() const;
    // The title of the audio at the read position, and in nToNext the bytes until another title
    // takes over (-1 when none is known yet).
    std::string GetTitleAtReadPosition(int64_t& nToNext) const;

protected:
    int32_t Thread() override;

private:
    int32_t ReadAhead();
    uint32_t ChooseReadSize();
    uint32_t ReadChunk(uint32_t nSize);
    bool IsChildAtKnownEnd() const;
    // Reads again while the source has nothing, for up to the retry time; false when a stop came.
    bool RetryEmptyRead(uint32_t& nRead, unsigned char* pTarget, uint32_t nSize);
    // Waits until nWanted bytes are free, or any are once the wait ends; 0 when a stop came first.
    uint32_t WaitForRoom(uint32_t nWanted);
    // Blocks while the buffer is full; false when a stop came first.
    bool PutIntoBuffer(const unsigned char* pBytes, uint32_t nCount);
    void NoteWritten(uint32_t nCount);
    // Waits up to nMilliseconds for the other side to signal; a sleep when the event is missing.
    static void WaitForSignal(const zu::platform::CEvent& event, uint32_t nMilliseconds);
    // A waiting side is woken only once what it waits for is there, not for every chunk.
    void WakeReaderIfServed();
    void WakeWriterIfRoom();

    VReader* const m_pChild;
    const std::unique_ptr<CIcyStrippingReader> m_pStripping;  // null unless the child is a station
    VReader* const m_pSource;  // what the body reads: the stripping reader or the child
    const int64_t m_nStartOffset;
    const int32_t m_nRetryTime;
    std::atomic<int64_t> m_nReadPosition{0};
    std::atomic<int64_t> m_nWritePosition{0};
    bool m_bInPlace = false;  // the source may read straight into the buffer's free space
    CCircleBuffer m_Buffer;
    std::atomic<bool> m_bEndOfData{false};
    // Each side wakes the other at once: bytes came (or the body ended), room was made. The waits
    // keep their bounds so that a stop request is still seen without a signal.
    zu::platform::CEvent m_DataArrived;
    zu::platform::CEvent m_SpaceFreed;
    std::atomic<uint32_t> m_nReaderWants{0};  // bytes a waiting reader still needs; 0: none waits
    std::atomic<uint32_t> m_nWriterNeeds{0};  // room a waiting writer needs; 0: none waits
    // Scratch space of the body, kept here so that a body killed in a child's read leaks nothing.
    std::vector<unsigned char> m_Chunk;
};
