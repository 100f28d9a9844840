#include "net/IcyPhase.h"

#include <algorithm>

void CIcyPhase::Pass(const unsigned char* pBytes, size_t nCount)
{
    while (nCount > 0) {
        uint32_t& nLeft = m_nMetadataLeft > 0 ? m_nMetadataLeft : m_nAudioLeft;
        if (nLeft > 0) {
            const uint32_t nTaken = static_cast<uint32_t>(std::min<size_t>(nLeft, nCount));
            nLeft -= nTaken;
            pBytes += nTaken;
            nCount -= nTaken;
            if (&nLeft == &m_nMetadataLeft && nLeft == 0)
                m_nAudioLeft = m_nInterval;
            continue;
        }
        // The length byte, in blocks of 16.
        m_nMetadataLeft = 16u * *pBytes++;
        --nCount;
        if (m_nMetadataLeft == 0)
            m_nAudioLeft = m_nInterval;
    }
}

void CIcyPhase::Splice(uint32_t& nDrop, uint32_t& nPad) const
{
    nPad = m_nMetadataLeft;
    nDrop = m_nMetadataLeft > 0 ? 0 : m_nInterval - m_nAudioLeft;
}
