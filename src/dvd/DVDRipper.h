// CDVDRipper: one title of a DVD-Video folder as a plain stream of 2048-byte program-stream packs.
// It walks the title's regions in order over the title set's VOB files, keeps the packs of the
// video and of the chosen audio stream, and maps byte positions of that stream to sectors.
//
// Positions count every sector of the title's regions, dropped packs included: the stream a reader
// delivers is shorter than its length, and a position says where reading resumes, not how many
// bytes came before.
#pragma once

#include "dvd/PackFilter.h"
#include "dvd/VideoManager.h"
#include "dvd/VobFileSet.h"

#include <memory>

namespace zu::dvd {

class CDVDRipDescription;

class CDVDRipper {
public:
    enum EStatus : int { STATUS_OK = 0, STATUS_UNREADABLE = 3, STATUS_BAD_BUFFER = 7 };

    // Parses the disc, takes the selected title (selecting the longest when none is) and its audio
    // stream, and positions at the title's start.
    bool OpenTitle(CDVDRipDescription& description);
    // The next wanted pack: 2048 with the pack in pBuffer, or 0 with nStatus set (0 at the end).
    uint32_t ReadPack(uint8_t* pBuffer, uint32_t nSize, int& nStatus);
    int64_t TitleGetPosition() const;
    // Rounds down to a whole pack; a position at or past the end leaves the place unchanged.
    // Answers the position reached.
    int64_t TitleSetPosition(int64_t nPosition);
    int64_t TitleGetLength() const;
    void Close();

    // The part of the title's sectors passed, 0 to 1, refreshed at most once a second.
    double GetProgress();
    // The selected title's index in the disc's list, -1 before a title is open.
    int TitleIndex() const { return m_nTitleIndex; }
    const CDVDTitle* Title() const;

private:
    enum class ERegionRead { PACK, END, FAILED };
    ERegionRead ReadWantedPack(uint32_t nLastSector, uint8_t* pBuffer);
    void RegisterWantedStreams(const CDVDTitle& title);

    std::unique_ptr<CVideoManager> m_pDisc;
    int m_nTitleIndex = -1;
    int m_nRegionIndex = 0;
    CVobFileSet m_Files;
    CPackFilter m_Filter;
    int m_nSelectedAudio = -1;
    double m_dProgress = 0;
    uint32_t m_nProgressTicks = 0;
    bool m_bProgressTaken = false;
};

}  // namespace zu::dvd
