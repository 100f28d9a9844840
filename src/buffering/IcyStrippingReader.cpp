#include "buffering/IcyStrippingReader.h"

#include "buffering/IcyMetadata.h"
#include "platform/SystemString.h"

#include <algorithm>
#include <cstring>

using namespace zu::platform;

namespace {

constexpr uint32_t kMaxBlock = 255 * 16;

std::string InfoOf(VReader* pReader, const char16_t* pszName)
{
    const ZUBSTR bstr = pReader->GetInfo(reinterpret_cast<const ZUCHAR*>(pszName));
    if (!bstr)
        return {};
    const auto* pText = reinterpret_cast<const char16_t*>(bstr);
    const std::string text = CIcyMetadata::TextToTitle(std::u16string(pText, SystemStringLength(bstr)));
    FreeSystemString(bstr);
    return text;
}

}  // namespace

CIcyStrippingReader::CIcyStrippingReader(VReader* pChild) : VWrappingReader(pChild, EChild::BORROWED) {}

CIcyStrippingReader::~CIcyStrippingReader() = default;

uint32_t CIcyStrippingReader::Read(void* pBuffer, uint32_t nCount)
{
    if (!m_pChild || nCount == 0)
        return 0;
    if (!m_bExamined)
        ExamineStreamHeader();
    auto* pBytes = static_cast<unsigned char*>(pBuffer);
    const uint32_t nPending = TakePending(pBytes, nCount);
    if (nPending == nCount || (m_bLive && nPending > 0))
        return nPending;
    if (!m_pStripper)
        return nPending + m_pChild->Read(pBytes + nPending, nCount - nPending);
    return nPending + ReadStripped(pBytes + nPending, nCount - nPending);
}

void CIcyStrippingReader::ExamineStreamHeader()
{
    m_bExamined = true;
    m_bLive = m_pChild->IsLengthUnknown() != 0;
    std::string title = InfoOf(m_pChild, u"icy-name");
    std::string intervalText;
    if (!title.empty())
        intervalText = InfoOf(m_pChild, u"icy-metaint").substr(0, CIcyMetadata::kMaxText);
    else
        ReadStreamHeader(title, intervalText);
    title.resize(std::min(title.size(), CIcyMetadata::kMaxText));
    m_Titles.Add(0, title);
    const int32_t nInterval = CIcyMetadata::ParseInterval(intervalText);
    if (nInterval <= 0)
        return;  // no usable interval: every byte passes
    // Audio that came with the header may already span whole intervals (with empty blocks between
    // them): the next block is due after the rest of the current one.
    auto nAudio = static_cast<uint32_t>(m_Pending.size());
    while (nAudio > static_cast<uint32_t>(nInterval))
        nAudio -= nInterval + 1;
    m_pStripper = std::make_unique<CIcyStripper>(nInterval, nAudio, title, m_Titles, static_cast<int64_t>(m_Pending.size()));
    m_Block.resize(kMaxBlock);
}

void CIcyStrippingReader::ReadStreamHeader(std::string& title, std::string& intervalText)
{
    std::vector<unsigned char> probe(CIcyMetadata::kHeaderProbe, 0);
    const uint32_t nRead = ReadFully(probe.data(), CIcyMetadata::kHeaderProbe);
    const CIcyMetadata::CStreamHeader header = CIcyMetadata::ParseStreamHeader(probe.data(), nRead);
    title = header.m_Title;
    intervalText = header.m_IntervalText;
    const uint32_t nSkip = std::min(static_cast<uint32_t>(header.m_nHeaderLength), nRead);
    m_Pending.assign(probe.begin() + nSkip, probe.begin() + nRead);
}

uint32_t CIcyStrippingReader::ReadFully(unsigned char* pBuffer, uint32_t nCount)
{
    uint32_t nTotal = 0;
    while (nTotal < nCount) {
        const uint32_t nRead = m_pChild->Read(pBuffer + nTotal, nCount - nTotal);
        if (nRead == 0)
            break;
        nTotal += nRead;
    }
    return nTotal;
}

uint32_t CIcyStrippingReader::TakePending(unsigned char* pBuffer, uint32_t nCount)
{
    const auto nTaken = static_cast<uint32_t>(std::min<size_t>(nCount, m_Pending.size() - m_nPendingAt));
    if (nTaken == 0)
        return 0;
    std::memcpy(pBuffer, m_Pending.data() + m_nPendingAt, nTaken);
    m_nPendingAt += nTaken;
    if (m_nPendingAt == m_Pending.size()) {
        m_Pending = {};
        m_nPendingAt = 0;
    }
    return nTaken;
}

// The audio goes straight to its place run by run and the blocks to a space of their own, so
// nothing is moved afterwards. Where the length is known a run's read takes the length byte after
// it too, which saves a read per block.
uint32_t CIcyStrippingReader::ReadStripped(unsigned char* pBuffer, uint32_t nCount)
{
    uint32_t nAudio = 0;
    while (nAudio < nCount) {
        const bool bAudio = m_pStripper->IsInAudio();
        const uint32_t nPart = m_pStripper->BytesToPartEnd();
        unsigned char* pInto = bAudio ? pBuffer + nAudio : m_Block.data();
        const uint32_t nWanted = bAudio ? std::min(nPart + (m_bLive ? 0 : 1), nCount - nAudio) : nPart;
        const uint32_t nRead = m_pChild->Read(pInto, nWanted);
        nAudio += m_pStripper->Strip(pInto, nRead);
        // A short read of metadata alone is no end: only a read that brings nothing is.
        if (nRead == 0 || (nAudio > 0 && (m_bLive || nRead < nWanted)))
            break;
    }
    return nAudio;
}
