// VCirclingReader: makes a finite child endless. A read that runs into the child's end seeks the
// child back to the restart position and goes on from there, so the consumer sees one stream; an
// end-of-stream position, counted across that wrap, caps how far reads may go. Nothing is buffered:
// positions, lengths and seeks are the child's own.
#pragma once

#include "core/WrappingReader.h"

#include <mutex>

class VCirclingReader : public VWrappingReader {
public:
    // Owns the child. Circling is off, and there is neither an end-of-stream nor a restart position
    // (both -1): a wrap needs a restart position, or it asks the child for position -1.
    explicit VCirclingReader(VReader* pChild);

    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    // The first operation after GetChildReader. With bWrap 1 a read that the child's end cut short
    // goes on from the restart position, at most once per call.
    virtual int64_t ReadInt64(void* pBuffer, int64_t nBytes, ZUBOOL bWrap);

    // Set by the owner before reading; only the end-of-stream position may move while reads run on
    // another thread.
    void SetCircling(bool bCircling) { m_bCircling = bCircling; }
    bool IsCircling() const { return m_bCircling; }
    void SetRestartPosition(int64_t nPosition) { m_nRestartPosition = nPosition; }
    int64_t GetRestartPosition() const { return m_nRestartPosition; }
    // -1 for none. When it lies behind the current position, reads run to the child's end, wrap,
    // and stop there.
    void SetEndOfStreamPosition(int64_t nPosition);
    int64_t GetEndOfStreamPosition();

private:
    int64_t BytesBeforeEndOfStream(int64_t nEnd, int64_t nPosition);

    bool m_bCircling = false;
    int64_t m_nEndOfStreamPosition = -1;
    int64_t m_nRestartPosition = -1;
    std::recursive_mutex m_Lock;  // guards the end-of-stream position
};
