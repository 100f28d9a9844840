#include "dvd/DVDReader.h"

#include "core/FunctionLog.h"
#include "platform/SystemString.h"

#include <algorithm>
#include <cstring>
#include <exception>

using namespace zu;
using namespace zu::dvd;

namespace {

constexpr size_t kPendingGrowth = 16384;
constexpr uint32_t kPack = CPackFilter::kPackBytes;

}  // namespace

CDVDReader::CDVDReader(const std::u16string& description)
{
    m_nType = ZU_READER_DVD;
    m_Description.Load(description);
}

CDVDReader::~CDVDReader()
{
    Close();
}

ZUBOOL CDVDReader::Open()
try {
    CFunctionLog log(LOG_READER, u"CDVDReader::Open");
    if (m_bOpen)
        return 1;
    log.Log(u"Starting with file %s", m_Description.m_MainIfoFilename);
    m_Pending.clear();
    m_nPendingStart = 0;
    m_pRipper = std::make_unique<CDVDRipper>();
    m_bOpen = m_pRipper->OpenTitle(m_Description) ? 1 : 0;
    return m_bOpen;
} catch (const std::exception&) {
    return 0;
}

void CDVDReader::Close()
{
    if (!m_bOpen)
        return;
    CFunctionLog log(LOG_READER, u"CDVDReader::Close");
    m_pRipper->Close();
    m_bOpen = 0;
}

bool CDVDReader::ReadPackInto(uint8_t* pTarget)
{
    int nStatus = 0;
    return m_pRipper->ReadPack(pTarget, kPack, nStatus) == kPack && nStatus == 0;
}

// Whole packs go straight to the caller; only the pack a request ends inside is held over.
uint32_t CDVDReader::Read(void* pBuffer, uint32_t nCount)
try {
    if (!m_bOpen || !pBuffer)
        return 0;
    auto* pTarget = static_cast<uint8_t*>(pBuffer);
    const uint32_t nFromPending = static_cast<uint32_t>(std::min<size_t>(nCount, m_Pending.size() - m_nPendingStart));
    if (nFromPending > 0)
        std::memcpy(pTarget, m_Pending.data() + m_nPendingStart, nFromPending);
    m_nPendingStart += nFromPending;
    uint32_t nDone = nFromPending;
    bool bMore = true;
    while (bMore && nCount - nDone >= kPack) {
        bMore = ReadPackInto(pTarget + nDone);
        nDone += bMore ? kPack : 0;
    }
    if (bMore && nDone < nCount) {
        if (m_Pending.capacity() < kPack)
            m_Pending.reserve(kPendingGrowth);
        m_Pending.resize(kPack);
        m_nPendingStart = 0;
        if (ReadPackInto(m_Pending.data())) {
            m_nPendingStart = nCount - nDone;
            std::memcpy(pTarget + nDone, m_Pending.data(), m_nPendingStart);
            nDone = nCount;
        } else {
            m_Pending.clear();
        }
    }
    if (m_nPendingStart == m_Pending.size()) {
        m_Pending.clear();
        m_nPendingStart = 0;
    }
    return nDone;
} catch (const std::exception&) {
    return 0;
}

uint32_t CDVDReader::Write(const void*, uint32_t)
{
    return 0;
}

int64_t CDVDReader::GetLength()
{
    if (!m_bOpen)
        return 0;
    const SDVDRipTitle* pTitle = m_Description.GetTitle(m_Description.GetSelectedTitle());
    return pTitle ? pTitle->nTotalBytes : 0;
}

int64_t CDVDReader::GetPosition()
{
    return m_bOpen ? m_pRipper->TitleGetPosition() : 0;
}

int64_t CDVDReader::SetPosition(int64_t nOffset, uint32_t nOrigin)
{
    m_Pending.clear();
    m_nPendingStart = 0;
    if (!m_bOpen)
        return 0;
    int64_t nTarget = nOffset;
    if (nOrigin == ZU_SEEK_CURRENT)
        nTarget = GetPosition() + nOffset;
    else if (nOrigin == ZU_SEEK_END)
        nTarget = GetLength() - (nOffset < 0 ? -nOffset : nOffset);
    return m_pRipper->TitleSetPosition(nTarget);
}

ZUBOOL CDVDReader::SetEndOfFile()
{
    return 0;
}

ZUBOOL CDVDReader::IsLengthUnknown()
{
    return 0;
}

ZUBOOL CDVDReader::IsRemote()
{
    return 0;
}

ZUBOOL CDVDReader::IsOpen()
{
    return 1;
}

ZUBOOL CDVDReader::IsReadOnly()
{
    return 1;
}

ZUBSTR CDVDReader::GetInfo(const ZUCHAR*)
{
    return platform::AllocSystemString(u"", 0);
}

int32_t CDVDReader::GetTitleNumber()
{
    return m_bOpen && m_pRipper->TitleIndex() >= 0 ? m_pRipper->TitleIndex() + 1 : 0;
}

double CDVDReader::GetProgress()
{
    return m_bOpen ? m_pRipper->GetProgress() : 0.0;
}
