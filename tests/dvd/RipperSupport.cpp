#include "RipperSupport.h"

namespace zutest::dvd {

std::vector<STitleSetModel> MarkedSets()
{
    STitleSetModel first;
    first.chains = {{{1, 2, 3}, {{0, 9, 2}, {10, 19, 2}, {20, 29, 2}}},
                    {{1, 4}, {{30, 39, 3}, {40, 49, 3}, {50, 59, 3}, {60, 69, 3}}}};
    first.titles = {{{1, 1}, {1, 2}, {1, 3}}, {{2, 1}, {2, 2}}};
    STitleSetModel second;
    second.chains = {{{1}, {{0, 39, 9}}}};
    second.titles = {{{1, 1}}};
    return {first, second};
}

CMarkedDisc::CMarkedDisc() : m_Folder(WriteDisc(m_Root.Path(), MarkedSets(), 80)) {}

zu::dvd::CDVDRipDescription CMarkedDisc::Description(int nTitle, int nAudio) const
{
    zu::dvd::CDVDRipDescription description;
    description.m_MainIfoFilename = m_Folder + u"VIDEO_TS.IFO";
    const int kDurations[] = {6, 6, 9};
    for (int i = 0; i < 3; ++i) {
        zu::dvd::SDVDRipTitle title;
        title.nNumber = i + 1;
        title.nDuration = kDurations[i];
        for (const auto& region : MarkedRegions(i))
            title.nTotalBytes += region.second * 2048;
        title.bSelectedForRip = i == nTitle;
        title.nSelectedAudioStream = nAudio;
        description.AddTitle(title);
    }
    return description;
}

const std::vector<std::pair<uint32_t, uint32_t>>& MarkedRegions(int nTitle)
{
    static const std::vector<std::pair<uint32_t, uint32_t>> kRegions[] = {
        {{0, 30}}, {{30, 10}, {60, 10}}, {{0, 40}}};
    return kRegions[nTitle];
}

std::vector<uint32_t> ExpectedMarks(const std::vector<std::pair<uint32_t, uint32_t>>& regions, int nAudio, uint32_t nFrom)
{
    std::vector<uint32_t> marks;
    uint32_t nBefore = 0;
    for (const auto& region : regions) {
        for (uint32_t s = region.first; s < region.first + region.second; ++s) {
            const uint32_t nAbsolute = s == 0 ? 0 : s - 1;
            const uint8_t nStream = StreamAtSector(nAbsolute);
            if (nBefore + s - region.first >= nFrom && (nStream == 0xE0 || nStream == 0x80 + nAudio))
                marks.push_back(nAbsolute);
        }
        nBefore += region.second;
    }
    return marks;
}

}  // namespace zutest::dvd
