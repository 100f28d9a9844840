#include "buffering/IcyStripper.h"

#include "buffering/IcyMetadata.h"

#include <algorithm>
#include <cstring>

CIcyStripper::CIcyStripper(uint32_t nInterval, uint32_t nAudioDone, std::string title, CTitleHistory& titles,
                           int64_t nAudioPosition)
    : m_nInterval(nInterval),
      m_Part(nAudioDone < nInterval ? EPart::AUDIO : EPart::LENGTH),
      m_nPartLeft(nAudioDone < nInterval ? nInterval - nAudioDone : 1),
      m_Title(std::move(title)),
      m_Titles(titles),
      m_nAudioPosition(nAudioPosition)
{
}

uint32_t CIcyStripper::Strip(unsigned char* pBytes, uint32_t nCount)
{
    uint32_t nKept = 0;
    for (uint32_t nAt = 0; nAt < nCount;) {
        switch (m_Part) {
        case EPart::AUDIO: {
            const uint32_t nTaken = TakeAudio(pBytes, nAt, nCount, nKept);
            nAt += nTaken;
            nKept += nTaken;
            break;
        }
        case EPart::LENGTH:
            nAt += TakeLength(pBytes[nAt]);
            break;
        case EPart::BLOCK:
            nAt += TakeBlock(pBytes + nAt, nCount - nAt);
            break;
        }
    }
    return nKept;
}

uint32_t CIcyStripper::TakeAudio(unsigned char* pBytes, uint32_t nAt, uint32_t nCount, uint32_t nKept)
{
    const uint32_t nTaken = std::min(m_nPartLeft, nCount - nAt);
    if (nKept != nAt)
        std::memmove(pBytes + nKept, pBytes + nAt, nTaken);
    m_nPartLeft -= nTaken;
    m_nAudioPosition += nTaken;
    if (m_nPartLeft == 0) {
        m_Part = EPart::LENGTH;
        m_nPartLeft = 1;
    }
    return nTaken;
}

uint32_t CIcyStripper::TakeLength(unsigned char nUnits)
{
    m_Block.clear();
    m_Part = nUnits > 0 ? EPart::BLOCK : EPart::AUDIO;
    m_nPartLeft = nUnits > 0 ? nUnits * 16u : m_nInterval;
    return 1;
}

uint32_t CIcyStripper::TakeBlock(const unsigned char* pBytes, uint32_t nCount)
{
    const uint32_t nTaken = std::min(m_nPartLeft, nCount);
    m_Block.append(reinterpret_cast<const char*>(pBytes), nTaken);
    m_nPartLeft -= nTaken;
    if (m_nPartLeft == 0) {
        if (CIcyMetadata::ApplyBlock(reinterpret_cast<const unsigned char*>(m_Block.data()), m_Block.size(), m_Title))
            m_Titles.Add(m_nAudioPosition, m_Title);
        m_Part = EPart::AUDIO;
        m_nPartLeft = m_nInterval;
    }
    return nTaken;
}

uint32_t CIcyStripper::BytesToPartEnd() const
{
    return m_nPartLeft;
}
