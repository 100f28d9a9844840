// Shared by the ripper and reader tests: the sample disc of marked packs and what a title of it
// must deliver.
#pragma once

#include "DiscBuilder.h"
#include "TestSupport.h"

#include "dvd/DVDRipDescription.h"

#include <string>
#include <vector>

namespace zutest::dvd {

// The title sets of the marked disc.
std::vector<STitleSetModel> MarkedSets();

// Title 1: title sectors 0-29 in one region. Title 2: regions 30-39 and 60-69. Title 3 (set 2):
// 0-39. 80 sectors per title set, every fourth one a video pack.
class CMarkedDisc {
public:
    CMarkedDisc();
    // A description selecting title index nTitle (or none with -1) and audio stream nAudio.
    zu::dvd::CDVDRipDescription Description(int nTitle, int nAudio) const;
    std::u16string DescriptionText(int nTitle, int nAudio) const { return Description(nTitle, nAudio).ToText(); }
    const std::u16string& Folder() const { return m_Folder; }

private:
    CTempFolder m_Root;
    std::u16string m_Folder;
};

// The marks (absolute sectors) of the packs a title of the marked disc delivers, in order, from
// title sector nFrom on: title sector s read from absolute sector s - 1, the first sector where
// that would fall before it, video and the selected audio stream kept.
std::vector<uint32_t> ExpectedMarks(const std::vector<std::pair<uint32_t, uint32_t>>& regions, int nAudio,
                                    uint32_t nFrom = 0);
const std::vector<std::pair<uint32_t, uint32_t>>& MarkedRegions(int nTitle);

}  // namespace zutest::dvd
