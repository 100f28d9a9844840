#include "dvd/PackFilter.h"

#include "core/DecimalText.h"
#include "dvd/StreamAttributes.h"

namespace zu::dvd {

namespace {

constexpr uint8_t kPackStart = 0xBA;
constexpr uint8_t kVideo = 0xE0;
constexpr uint8_t kPrivateStream1 = 0xBD;

}  // namespace

void CPackFilter::AddWanted(const CStreamAttributes& attributes)
{
    const int nStream = CDecimalText::ToInt32(attributes.GetValue(u"Stream: ID"));
    const int nSubStream = CDecimalText::ToInt32(attributes.GetValue(u"SubStream: ID"));
    m_Wanted[static_cast<uint16_t>((nStream & 0xFF) | (nSubStream & 0xFF) << 8)] = attributes.GetOutputId();
}

// The next packet is looked for at the current one's offset plus its length, without its six
// header bytes: packs have long been filtered that way and the packs kept must stay the same.
bool CPackFilter::Keep(uint8_t* pPack) const
{
    if (pPack[3] != kPackStart)
        return false;
    uint32_t nOffset = 14 + (pPack[13] & 7);
    while (nOffset + 6 < kPackBytes) {
        const uint8_t nStream = pPack[nOffset + 3];
        const uint32_t nLength = static_cast<uint32_t>(pPack[nOffset + 4]) << 8 | pPack[nOffset + 5];
        if (nLength == 0 || nLength == 255 || nStream == 0xFF)
            return false;
        if (nStream == kVideo)
            return true;
        if (nStream == kPrivateStream1) {
            if (nOffset + 9 >= kPackBytes)
                return false;
            const uint32_t nSubStream = nOffset + 9 + pPack[nOffset + 8];
            if (nSubStream >= kPackBytes)
                return false;
            const auto wanted = m_Wanted.find(static_cast<uint16_t>(kPrivateStream1 | pPack[nSubStream] << 8));
            if (wanted == m_Wanted.end())
                return false;
            pPack[nSubStream] = wanted->second;
            return true;
        }
        nOffset += nLength;
    }
    return false;
}

}  // namespace zu::dvd
