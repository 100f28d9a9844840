// CDVDTitle: one title of a disc: its chapters with their sector extents, the extents merged into
// regions of consecutive sectors, and the title set's stream attributes.
#pragma once

#include "dvd/IfoRecords.h"
#include "dvd/StreamAttributes.h"

#include <vector>

namespace zu::dvd {

class CTitleSet;

struct SDVDChapter {
    uint8_t playbackTime[4] = {};  // the entry cell's, as stored (BCD)
    int nPgcNumber = 0;
    int nProgramNumber = 0;
    int nChapterNumber = 0;  // 1-based position in the title's list, skipped entries counted
    uint32_t nFirstSector = 0;  // from the start of the title set's title VOBs
    uint32_t nSectorCount = 0;
};

struct SDVDRegion {
    uint32_t nFirstSector = 0;
    uint32_t nSectorCount = 0;
};

class CDVDTitle {
public:
    // Builds chapters, regions and stream attributes; true when the title has a chapter.
    bool Init(const STitlePointer& pointer, const CTitleSet& titleSet);

    int TitleSetNumber() const { return m_nTitleSet; }
    int TitleNumber() const { return m_nTitle; }
    const std::vector<SDVDChapter>& Chapters() const { return m_Chapters; }
    const std::vector<SDVDRegion>& Regions() const { return m_Regions; }
    const CTitleSet* TitleSet() const { return m_pTitleSet; }

    // First and last sector of a region; false, with both 0, for an index outside the list.
    bool GetRegion(int nIndex, uint32_t& nFirst, uint32_t& nLast) const;
    // Kind 0 (index 0): the video; 1: an audio stream; 2: a sub-picture stream. Null otherwise.
    const CStreamAttributes* GetStreamAttributes(int nKind, int nIndex) const;
    int AudioStreamCount() const { return static_cast<int>(m_Audio.size()); }

private:
    void MakeAttributes(const SVtsHeader& header);
    void MakeChapters(const CTitleSet& titleSet);
    bool MakeChapter(const CTitleSet& titleSet, int nPgc, int nProgram, SDVDChapter& chapter) const;
    void MakeRegions();

    int m_nTitleSet = 0;
    int m_nTitle = 0;
    const CTitleSet* m_pTitleSet = nullptr;
    std::vector<SDVDChapter> m_Chapters;
    std::vector<SDVDRegion> m_Regions;
    std::vector<CStreamAttributes> m_Video;
    std::vector<CStreamAttributes> m_Audio;
    std::vector<CStreamAttributes> m_Subpictures;
};

}  // namespace zu::dvd
