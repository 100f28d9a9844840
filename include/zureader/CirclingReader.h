// VCirclingReader (type 10, from GetCirclingReader): makes a finite child endless. Once circling is
// on and a restart position is set, a read that runs into the child's end seeks the child back to
// the restart position and goes on from there, so the consumer sees one stream; an end-of-stream
// position, counted across that wrap, caps how far reads may go. Nothing is buffered: positions,
// lengths and seeks are the child's own.
//
// A host reaches these operations through ZUReaderCast<VCirclingReader>. Set circling and the
// restart position before reading; only the end-of-stream position may move while another thread
// reads.
#pragma once

#include <zureader/WrappingReader.h>

class VCirclingReader : public VWrappingReader {
public:
    static bool HasType(uint32_t nType) { return nType == ZU_READER_CIRCLING; }

    // The operations after VWrappingReader::GetChildReader (slot 22), in slot order from 23.
    // Read with a 64-bit count: with bWrap 1 a read that the child's end cut short goes on from the
    // restart position, at most once per call. Read is ReadInt64(pBuffer, nCount, 1).
    virtual int64_t ReadInt64(void* pBuffer, int64_t nBytes, ZUBOOL bWrap) = 0;
    // Off at first.
    virtual void SetCircling(ZUBOOL bCircling) = 0;
    virtual ZUBOOL IsCircling() = 0;
    // Where a wrap goes on; -1 at first, and a wrap to -1 is refused by the child.
    virtual void SetRestartPosition(int64_t nPosition) = 0;
    virtual int64_t GetRestartPosition() = 0;
    // The child position where reads stop, -1 (the default) for none. When it lies behind the
    // current position, reads run to the child's end, wrap, and stop there.
    virtual void SetEndOfStreamPosition(int64_t nPosition) = 0;
    virtual int64_t GetEndOfStreamPosition() = 0;

protected:
    // Owns the child.
    explicit VCirclingReader(VReader* pChild) : VWrappingReader(pChild, EChild::OWNED) {}
};
