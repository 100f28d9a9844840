// CDVDRipDescription ("DVD Rip"): the record a host hands to the DVD reader as text: the disc's main
// information file, its titles with durations and sizes, and which title and audio stream to rip.
//
// The text is a property list (host/PropertyList.h) whose "DVDVideoInfo" section holds:
//   RipMode, Name, MainIFOFilename, NumTitles, ClipSeconds,
//   DiscBytes                                                     the disc
//   Name00, Number00, Duration00, Chapters00, TotalBytes00, SelectedForRip00,
//   SelectedAudioStream00, AudioStreamList00, ...                 title i with i as two digits
// "AudioStreamList" holds one display text per audio stream, separated by "|".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zu::host {
class CPropertyList;
}

namespace zu::dvd {

struct SDVDRipTitle {
    std::u16string name;
    int32_t nNumber = 0;
    int32_t nDuration = 0;
    int32_t nChapters = 0;  // "Chapters": written by the describer for hosts to show
    int64_t nTotalBytes = 0;
    bool bSelectedForRip = false;
    int32_t nSelectedAudioStream = 0;
    std::vector<std::u16string> audioStreams;
};

class CDVDRipDescription {
public:
    static constexpr char16_t kSection[] = u"DVDVideoInfo";
    static constexpr char16_t kListSeparator = u'|';

    CDVDRipDescription() { Reset(); }

    // Resets, then reads the keys from the text; false when the text is no property list.
    bool Load(const std::u16string& text);
    // The text Load reads back to the same description.
    std::u16string ToText() const;
    void Reset();

    const SDVDRipTitle* GetTitle(int nIndex) const;
    int TitleCount() const { return static_cast<int>(m_Titles.size()); }
    void AddTitle(SDVDRipTitle title) { m_Titles.push_back(std::move(title)); }
    // The first title selected for ripping, -1 when none is.
    int GetSelectedTitle() const;
    // Selects the longest title (the first of equally long ones) alone; 0 without titles.
    int SelectDefaultTitle();
    // -1 for an index outside the list.
    int GetSelectedAudioStream(int nTitle) const;

    int32_t m_nRipMode = 0;
    std::u16string m_Name;
    std::u16string m_MainIfoFilename;
    int32_t m_nClipSeconds = 0;
    int64_t m_nDiscBytes = 0;  // every VOB of the disc folder ("DiscBytes"), 0 when not known
    std::u16string m_DescriptionName;
    bool m_bModified = false;

private:
    void LoadTitle(const host::CPropertyList& list, int nIndex);

    std::vector<SDVDRipTitle> m_Titles;
};

}  // namespace zu::dvd
