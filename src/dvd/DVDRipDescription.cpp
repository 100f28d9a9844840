#include "dvd/DVDRipDescription.h"

#include "core/DecimalText.h"
#include "core/Format.h"
#include "host/PropertyList.h"
#include "host/Settings.h"

namespace zu::dvd {

using zu::host::CPropertyList;

namespace {

std::u16string Key(const char16_t* pszWord, int nIndex)
{
    return Format(u"%s%02d", pszWord, nIndex);
}

std::vector<std::u16string> SplitList(const std::u16string& text)
{
    std::vector<std::u16string> items;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find(CDVDRipDescription::kListSeparator, start);
        if (end == std::u16string::npos)
            end = text.size();
        items.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return items;
}

std::u16string JoinList(const std::vector<std::u16string>& items)
{
    std::u16string text;
    for (const std::u16string& item : items)
        text += (text.empty() ? u"" : std::u16string(1, CDVDRipDescription::kListSeparator)) + item;
    return text;
}

}  // namespace

void CDVDRipDescription::Reset()
{
    m_Titles.clear();
    m_nRipMode = 0;
    m_Name.clear();
    m_MainIfoFilename.clear();
    m_nDiscBytes = 0;
    m_nClipSeconds = static_cast<int32_t>(host::CSettings::ReadNumber(u"Properties", u"Transfer DVD - Clip Length", 0));
    m_DescriptionName = u"DVD Rip";
    m_bModified = false;
}

bool CDVDRipDescription::Load(const std::u16string& text)
{
    Reset();
    CPropertyList list;
    if (!list.Parse(text))
        return false;
    const auto number = [&](const std::u16string& key) { return CDecimalText::ToInt32(list.GetValue(kSection, key)); };
    m_nRipMode = number(u"RipMode");
    if (m_nRipMode != 0 && m_nRipMode != 1)
        m_nRipMode = 0;
    m_Name = list.GetValue(kSection, u"Name");
    m_MainIfoFilename = list.GetValue(kSection, u"MainIFOFilename");
    if (list.HasValue(kSection, u"ClipSeconds"))
        m_nClipSeconds = number(u"ClipSeconds");
    m_nDiscBytes = CDecimalText::ToInt64(list.GetValue(kSection, u"DiscBytes"));
    const int nTitles = number(u"NumTitles");
    for (int i = 0; i < nTitles; ++i)
        LoadTitle(list, i);
    return true;
}

void CDVDRipDescription::LoadTitle(const CPropertyList& list, int nIndex)
{
    const auto text = [&](const char16_t* pszWord) { return list.GetValue(kSection, Key(pszWord, nIndex)); };
    SDVDRipTitle title;
    title.name = text(u"Name");
    title.nNumber = CDecimalText::ToInt32(text(u"Number"));
    title.nDuration = CDecimalText::ToInt32(text(u"Duration"));
    title.nChapters = CDecimalText::ToInt32(text(u"Chapters"));
    title.nTotalBytes = CDecimalText::ToInt64(text(u"TotalBytes"));
    title.bSelectedForRip = CDecimalText::ToInt32(text(u"SelectedForRip")) != 0;
    title.nSelectedAudioStream = CDecimalText::ToInt32(text(u"SelectedAudioStream"));
    title.audioStreams = SplitList(text(u"AudioStreamList"));
    m_Titles.push_back(std::move(title));
}

std::u16string CDVDRipDescription::ToText() const
{
    CPropertyList list;
    const auto set = [&](const std::u16string& key, const std::u16string& value) { list.SetValue(kSection, key, value); };
    set(u"RipMode", Format(u"%d", m_nRipMode));
    set(u"Name", m_Name);
    set(u"MainIFOFilename", m_MainIfoFilename);
    set(u"NumTitles", Format(u"%d", TitleCount()));
    set(u"ClipSeconds", Format(u"%d", m_nClipSeconds));
    set(u"DiscBytes", Format(u"%lld", static_cast<long long>(m_nDiscBytes)));
    for (int i = 0; i < TitleCount(); ++i) {
        const SDVDRipTitle& title = m_Titles[i];
        set(Key(u"Name", i), title.name);
        set(Key(u"Number", i), Format(u"%d", title.nNumber));
        set(Key(u"Duration", i), Format(u"%d", title.nDuration));
        set(Key(u"Chapters", i), Format(u"%d", title.nChapters));
        set(Key(u"TotalBytes", i), Format(u"%lld", static_cast<long long>(title.nTotalBytes)));
        set(Key(u"SelectedForRip", i), title.bSelectedForRip ? u"1" : u"0");
        set(Key(u"SelectedAudioStream", i), Format(u"%d", title.nSelectedAudioStream));
        set(Key(u"AudioStreamList", i), JoinList(title.audioStreams));
    }
    return list.ToText();
}

const SDVDRipTitle* CDVDRipDescription::GetTitle(int nIndex) const
{
    return nIndex >= 0 && nIndex < TitleCount() ? &m_Titles[nIndex] : nullptr;
}

int CDVDRipDescription::GetSelectedTitle() const
{
    for (int i = 0; i < TitleCount(); ++i) {
        if (m_Titles[i].bSelectedForRip)
            return i;
    }
    return -1;
}

int CDVDRipDescription::SelectDefaultTitle()
{
    if (m_Titles.empty())
        return 0;
    size_t nBest = 0;
    for (size_t i = 0; i < m_Titles.size(); ++i) {
        m_Titles[i].bSelectedForRip = false;
        if (m_Titles[i].nDuration > m_Titles[nBest].nDuration)
            nBest = i;
    }
    m_Titles[nBest].bSelectedForRip = true;
    m_bModified = true;
    return 1;
}

int CDVDRipDescription::GetSelectedAudioStream(int nTitle) const
{
    const SDVDRipTitle* pTitle = GetTitle(nTitle);
    return pTitle ? pTitle->nSelectedAudioStream : -1;
}

}  // namespace zu::dvd
