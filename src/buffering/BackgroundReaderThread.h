// CBackgroundReaderThread: the worker of a VBufferedReader. It reads the owner's child ahead of the
// caller into a circle buffer, strips Internet-radio metadata blocks out of the stream while it
// keeps the latest title, and hands the buffered bytes to the caller's reads and in-buffer seeks.
//
// Positions are relative to the child's position when the worker was made (the start offset).
// The caller's side moves the read position, the worker the write position; the two meet only in
// the circle buffer, whose lock makes every "how much" and the transfer that follows one step.
// The worker never takes the owner's lock.
#pragma once

#include "buffering/CircleBuffer.h"
#include "buffering/IcyStripper.h"
#include "core/Thread.h"
#include "platform/Thread.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class VBufferedReader;
class VReader;

class CBackgroundReaderThread : public CThread {
public:
    // Starts at once. The owner must outlive the worker.
    CBackgroundReaderThread(VBufferedReader* pOwner, int64_t nStartOffset, uint32_t nCapacity, bool bFileBacked,
                            const std::u16string& bufferFile, bool bIcy);
    // Stops the body, killing it after kStopTimeout.
    ~CBackgroundReaderThread() override;

    static constexpr int32_t kStopTimeout = 5000;

    bool HasMemory() const { return m_Buffer.HasMemory(); }

    // The caller's read: copies up to nCount buffered bytes, waiting for the worker as the owner's
    // wait-at-end setting says.
    uint32_t ReadBuffered(void* pBuffer, uint32_t nCount);
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
    std::string GetTitle();

protected:
    int32_t Thread() override;

private:
    VReader* Child() const;
    int32_t ReadAhead();
    uint32_t ChooseReadSize();
    // The first examination: the station header from the child's information or the stream's
    // head. Answers the audio bytes it has already put into the buffer.
    uint32_t ExamineStreamHeader();
    // Examines the header and, when it names an interval, sets up the stripping of the blocks.
    void StartStripping();
    uint32_t ReadChunk(uint32_t nSize);
    // What one chunk took from the child: its bytes, the audio among them, and whether the child
    // gave fewer than it was asked for.
    struct CChildRead {
        uint32_t nBytes = 0;
        uint32_t nAudio = 0;
        bool bShort = false;
    };
    // Up to nSize bytes of audio into pTarget.
    CChildRead ReadFromChild(unsigned char* pTarget, uint32_t nSize);
    CChildRead ReadAroundMetadata(unsigned char* pTarget, uint32_t nSize);
    // Takes the metadata out of bytes just read and notes a new title; answers the audio left.
    uint32_t StripMetadata(unsigned char* pBytes, uint32_t nCount);
    bool IsChildAtKnownEnd() const;
    // Reads until nCount bytes came or the child has none.
    uint32_t ReadFully(unsigned char* pBuffer, uint32_t nCount);
    bool RetryEmptyRead(CChildRead& read, unsigned char* pTarget, uint32_t nSize);
    uint32_t WaitForRoom(uint32_t nWanted);
    // Blocks while the buffer is full; false when a stop came first.
    bool PutIntoBuffer(const unsigned char* pBytes, uint32_t nCount);
    void SetTitle(const std::string& title);
    // Gives back the lock that a GetUsed or GetFree with bRelease false kept, without a transfer.
    void ReleaseBufferQuery() { m_Buffer.Read(nullptr, 0); }
    // Waits up to nMilliseconds for the other side to signal; a sleep when the event is missing.
    static void WaitForSignal(const zu::platform::CEvent& event, uint32_t nMilliseconds);
    // A waiting side is woken only once what it waits for is there, not for every chunk.
    void WakeReaderIfServed();
    void WakeWriterIfRoom();

    std::mutex m_TitleLock;
    std::string m_Title;
    const int64_t m_nStartOffset;
    std::atomic<int64_t> m_nReadPosition{0};
    std::atomic<int64_t> m_nWritePosition{0};
    VBufferedReader* const m_pOwner;
    int32_t m_nMetadataInterval = -1;
    const bool m_bIcy;  // asked for; stripping happens only once a usable interval is found
    bool m_bInPlace = false;  // the child may read straight into the buffer's free space
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
    std::vector<unsigned char> m_Probe;
    std::unique_ptr<CIcyStripper> m_pStripper;
};
