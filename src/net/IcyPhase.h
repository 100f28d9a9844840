// CIcyPhase: where a stream with in-band titles stands in its cycle (so many audio bytes, a length
// byte, that many 16-byte blocks of metadata, over again). A stream taken up on a new connection
// starts a cycle afresh; knowing the phase, the reader can splice it on so that whoever strips the
// metadata downstream never loses count: it drops the new stream's audio up to the point the old
// cycle had reached, or pads metadata that broke off with zero bytes.
#pragma once

#include <cstddef>
#include <cstdint>

class CIcyPhase {
public:
    explicit CIcyPhase(uint32_t nInterval) : m_nInterval(nInterval), m_nAudioLeft(nInterval) {}

    // Follows bytes handed on to the caller.
    void Pass(const unsigned char* pBytes, size_t nCount);
    // What to do with a new connection's stream: drop its first nDrop bytes, or hand on nPad zero
    // bytes before it.
    void Splice(uint32_t& nDrop, uint32_t& nPad) const;

private:
    const uint32_t m_nInterval;
    uint32_t m_nAudioLeft;
    uint32_t m_nMetadataLeft = 0;
};
