#include "dvd/DVDRipper.h"

#include "core/FunctionLog.h"
#include "dvd/DVDRipDescription.h"
#include "dvd/DiscFolder.h"
#include "platform/System.h"

namespace zu::dvd {

namespace {

constexpr uint32_t kProgressInterval = 1000;

}  // namespace

bool CDVDRipper::OpenTitle(CDVDRipDescription& description)
{
    m_nTitleIndex = -1;
    m_Files.Close();
    m_Filter.Clear();
    m_pDisc = std::make_unique<CVideoManager>(description.m_MainIfoFilename);
    if (!m_pDisc->Parse())
        return false;
    int nTitle = description.GetSelectedTitle();
    if (nTitle == -1) {
        description.SelectDefaultTitle();
        nTitle = description.GetSelectedTitle();
    }
    m_nSelectedAudio = description.GetSelectedAudioStream(nTitle);
    if (nTitle + 1 < 1 || nTitle + 1 > static_cast<int>(m_pDisc->Titles().size()))
        return false;
    const CDVDTitle& title = *m_pDisc->Titles()[nTitle];
    m_nRegionIndex = 0;
    uint32_t nFirst = 0;
    uint32_t nLast = 0;
    title.GetRegion(0, nFirst, nLast);
    if (!title.TitleSet() || !ListTitleVobs(title.TitleSet()->Path(), m_Files, 1))
        return false;
    RegisterWantedStreams(title);
    m_Files.Seek(static_cast<int32_t>(nFirst));
    m_nTitleIndex = nTitle;
    m_bProgressTaken = false;
    return true;
}

void CDVDRipper::RegisterWantedStreams(const CDVDTitle& title)
{
    if (const CStreamAttributes* pVideo = title.GetStreamAttributes(CStreamAttributes::VIDEO, 0))
        m_Filter.AddWanted(*pVideo);
    if (const CStreamAttributes* pAudio = title.GetStreamAttributes(CStreamAttributes::AUDIO, m_nSelectedAudio))
        m_Filter.AddWanted(*pAudio);
}

const CDVDTitle* CDVDRipper::Title() const
{
    return m_nTitleIndex >= 0 && m_pDisc ? m_pDisc->Titles()[m_nTitleIndex].get() : nullptr;
}

CDVDRipper::ERegionRead CDVDRipper::ReadWantedPack(uint32_t nLastSector, uint8_t* pBuffer)
{
    while (m_Files.TitleSector() >= 0 && static_cast<uint32_t>(m_Files.TitleSector()) <= nLastSector) {
        const CVobFileSet::ERead result = m_Files.ReadPack(pBuffer);
        if (result != CVobFileSet::ERead::PACK)
            return ERegionRead::FAILED;
        if (m_Filter.Keep(pBuffer))
            return ERegionRead::PACK;
    }
    return ERegionRead::END;
}

uint32_t CDVDRipper::ReadPack(uint8_t* pBuffer, uint32_t nSize, int& nStatus)
{
    nStatus = STATUS_OK;
    if (!pBuffer || nSize < CPackFilter::kPackBytes) {
        nStatus = STATUS_BAD_BUFFER;
        return 0;
    }
    const CDVDTitle* pTitle = Title();
    if (!pTitle || !m_Files.IsOpen()) {
        nStatus = STATUS_UNREADABLE;
        return 0;
    }
    for (;;) {
        uint32_t nFirst = 0;
        uint32_t nLast = 0;
        if (pTitle->GetRegion(m_nRegionIndex, nFirst, nLast)) {
            const ERegionRead result = ReadWantedPack(nLast, pBuffer);
            if (result == ERegionRead::PACK)
                return CPackFilter::kPackBytes;
            if (result == ERegionRead::FAILED) {
                nStatus = STATUS_UNREADABLE;
                return 0;
            }
        }
        if (++m_nRegionIndex >= static_cast<int>(pTitle->Regions().size()) ||
            !pTitle->GetRegion(m_nRegionIndex, nFirst, nLast) ||
            m_Files.Seek(static_cast<int32_t>(nFirst)) != static_cast<int32_t>(nFirst))
            return 0;
    }
}

int64_t CDVDRipper::TitleGetPosition() const
{
    CFunctionLog log(LOG_STORE, u"CDVDRipper::TitleGetPosition");
    const CDVDTitle* pTitle = Title();
    const int64_t nSector = m_Files.TitleSector();
    int64_t nBefore = 0;
    int64_t nPosition = -1;
    if (pTitle) {
        for (const SDVDRegion& region : pTitle->Regions()) {
            if (static_cast<int64_t>(region.nFirstSector) + region.nSectorCount > nSector) {
                nPosition = (nSector <= region.nFirstSector ? nBefore : nBefore + nSector - region.nFirstSector) *
                            CPackFilter::kPackBytes;
                break;
            }
            nBefore += region.nSectorCount;
        }
    }
    if (nPosition < 0)
        nPosition = nBefore * CPackFilter::kPackBytes;
    log.Log(u"current sector: %d, current filepos: %I64d", nSector, nPosition);
    return nPosition;
}

int64_t CDVDRipper::TitleSetPosition(int64_t nPosition)
{
    const CDVDTitle* pTitle = Title();
    if (!pTitle || !m_Files.IsOpen())
        return 0;
    CFunctionLog log(LOG_STORE, u"CDVDRipper::TitleSetPosition");
    log.Log(u"seek to: %I64d, length=%I64d", nPosition, TitleGetLength());
    const int64_t nPack = nPosition / CPackFilter::kPackBytes;
    int64_t nBefore = 0;
    const std::vector<SDVDRegion>& regions = pTitle->Regions();
    for (size_t i = 0; nPosition >= 0 && i < regions.size(); ++i) {
        if (nBefore + regions[i].nSectorCount > nPack) {
            const int64_t nSector = regions[i].nFirstSector - nBefore + nPack;
            m_Files.Seek(static_cast<int32_t>(nSector));
            m_nRegionIndex = static_cast<int>(i);
            log.Log(u"new region: %d, new sector: %d", m_nRegionIndex, nSector);
            break;
        }
        nBefore += regions[i].nSectorCount;
    }
    const int64_t nReached = TitleGetPosition();
    log.Log(u"new position: %I64d", nReached);
    return nReached;
}

int64_t CDVDRipper::TitleGetLength() const
{
    const CDVDTitle* pTitle = Title();
    int64_t nSectors = 0;
    if (pTitle) {
        for (const SDVDRegion& region : pTitle->Regions())
            nSectors += region.nSectorCount;
    }
    return nSectors * CPackFilter::kPackBytes;
}

void CDVDRipper::Close()
{
    m_Files.Close();
}

double CDVDRipper::GetProgress()
{
    const uint32_t nNow = platform::TickCount();
    if (m_bProgressTaken && nNow - m_nProgressTicks < kProgressInterval)
        return m_dProgress;
    const int64_t nLength = TitleGetLength();
    m_dProgress = nLength > 0 ? static_cast<double>(TitleGetPosition()) / static_cast<double>(nLength) : 0.0;
    m_nProgressTicks = nNow;
    m_bProgressTaken = true;
    return m_dProgress;
}

}  // namespace zu::dvd
