// VBufferedReader (type 8, from GetBufferedReader): reads its child ahead of the caller on a worker
// thread into a circle buffer, so that a slow or bursty source is decoupled from the consumer.
// Seeks inside the bytes the buffer still holds cost nothing; others restart the worker at the new
// place, or fail on a live source (length -1), which cannot seek. For Internet-radio streams the
// worker strips the metadata blocks out of the audio and keeps the station's title.
//
// A host reaches these operations through ZUReaderCast<VBufferedReader>. Every one may be called
// while the reader is open; the setters take effect when the next worker is made (at Open, at a
// seek outside the buffer, or at StartBuffering).
#pragma once

#include <zureader/WrappingReader.h>

class VBufferedReader : public VWrappingReader {
public:
    static constexpr uint32_t kDefaultBufferSize = 104857600;

    static bool HasType(uint32_t nType) { return nType == ZU_READER_BUFFERED; }

    // The operations after VWrappingReader::GetChildReader (slot 22), in slot order from 23.
    // 1 (the default): the buffer is a mapped temporary file, not private memory; 0: on the heap.
    virtual void SetBufferInFile(ZUBOOL bInFile) = 0;
    // The file of a file-backed buffer; empty (the default) makes a temporary one that is deleted.
    virtual void SetBufferFile(const ZUCHAR* pszPath) = 0;
    // How long a child read that brings nothing is retried before it counts as the end (0).
    virtual void SetRetryTime(int32_t nMilliseconds) = 0;
    // The child carries Internet-radio metadata blocks to strip; cannot be switched off again.
    virtual void EnableIcyMetadata() = 0;
    // With 1 (the default) a read at the end of the buffered bytes waits until the worker ends;
    // with 0 it answers what is there, possibly 0, at once.
    virtual void SetWaitAtEnd(ZUBOOL bWait) = 0;
    // The buffer's capacity in bytes (kDefaultBufferSize); it holds one byte less.
    virtual void SetBufferSize(uint32_t nBytes) = 0;
    // 0 turns the reader into a pass-through that continues where the caller was; 1 buffers again
    // from the next Read.
    virtual void SetBuffering(ZUBOOL bBuffering) = 0;
    // 1 when a new worker got its buffer (or buffering is off); 0 when the buffer's memory could
    // not be had, and also when a worker already exists.
    virtual ZUBOOL StartBuffering() = 0;
    // Stops and removes the worker and its buffered bytes; always 1.
    virtual ZUBOOL StopBuffering() = 0;
    // Outputs (each may be null): a worker exists, bytes buffered, buffer capacity, the child's end
    // reached. Always 1.
    virtual ZUBOOL GetBufferState(uint32_t* pActive, uint32_t* pBuffered, uint32_t* pCapacity, uint32_t* pEnd) = 0;
    // Buffered bytes over capacity, 0.0 without a worker.
    virtual float GetBufferFullness() = 0;
    // The latest Internet-radio title (the station's name until the first title arrives), as a
    // system string the caller frees with ZUFreeString; empty without a worker or a station.
    // Does not wait for a Read blocked in another thread.
    virtual ZUBSTR GetStreamTitle() = 0;
    // The title of the audio at the read position: the one whose metadata block came before the
    // next byte Read answers, so a host that buffers far ahead shows the title of what it plays,
    // not of what arrived last. In *pBytesToNext (may be null) the bytes that can be read before
    // another title takes over: 0xFFFFFFFF when no later title has arrived (or it lies further).
    // A system string the caller frees; empty without a worker or a station.
    virtual ZUBSTR GetStreamTitleAtReadPosition(uint32_t* pBytesToNext) = 0;

protected:
    // Owns the child.
    explicit VBufferedReader(VReader* pChild) : VWrappingReader(pChild, EChild::OWNED) {}
};
