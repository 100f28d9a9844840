#include "dvd/DVDDescriber.h"

#include "core/Format.h"
#include "dvd/DVDRipDescription.h"
#include "dvd/DiscFolder.h"
#include "dvd/VideoManager.h"
#include "platform/System.h"

namespace zu::dvd {

using namespace zu::platform;

namespace {

int Bcd(uint8_t nByte)
{
    return (nByte >> 4) * 10 + (nByte & 0x0F);
}

std::u16string WithSeparator(const std::u16string& folder)
{
    return !folder.empty() && (folder.back() == u'/' || folder.back() == u'\\') ? folder : folder + PathSeparator();
}

// The VIDEO_TS.IFO of a VIDEO_TS folder, or of the one inside a disc folder.
std::u16string ManagerPath(const std::u16string& folder)
{
    const std::u16string own = InformationFilePath(WithSeparator(folder), 0);
    if (!own.empty())
        return own;
    return InformationFilePath(WithSeparator(WithSeparator(folder) + u"VIDEO_TS"), 0);
}

std::u16string AudioText(const CStreamAttributes& audio)
{
    std::u16string language = audio.GetValue(u"Stream: Language");
    return Format(u"%s (%s, %s ch)", language.empty() ? u"Unknown" : language, audio.GetValue(u"Stream: Encoding"),
                  audio.GetValue(u"Stream: Audio Channels"));
}

SDVDRipTitle DescribeTitle(const CDVDTitle& title, int nIndex)
{
    SDVDRipTitle described;
    described.nNumber = nIndex + 1;
    described.name = Format(u"Title %d", described.nNumber);
    int64_t nMilliseconds = 0;
    for (const SDVDChapter& chapter : title.Chapters())
        nMilliseconds += PlaybackMilliseconds(chapter.playbackTime);
    described.nDuration = static_cast<int32_t>((nMilliseconds + 500) / 1000);
    described.nChapters = static_cast<int32_t>(title.Chapters().size());
    for (const SDVDRegion& region : title.Regions())
        described.nTotalBytes += static_cast<int64_t>(region.nSectorCount) * kSectorBytes;
    for (int i = 0; i < title.AudioStreamCount(); ++i)
        described.audioStreams.push_back(AudioText(*title.GetStreamAttributes(CStreamAttributes::AUDIO, i)));
    return described;
}

// The folder that holds VIDEO_TS, with its separator.
std::u16string DiscFolderOf(const std::u16string& managerPath)
{
    const size_t nEnd = managerPath.find_last_of(u"/\\");
    const size_t nParent = nEnd == std::u16string::npos || nEnd == 0 ? std::u16string::npos
                                                                     : managerPath.find_last_of(u"/\\", nEnd - 1);
    return nParent == std::u16string::npos ? std::u16string() : managerPath.substr(0, nParent + 1);
}

std::u16string NameOf(const std::u16string& discFolder)
{
    const std::u16string trimmed = discFolder.substr(0, discFolder.size() > 1 ? discFolder.size() - 1 : 0);
    const size_t nSeparator = trimmed.find_last_of(u"/\\");
    return nSeparator == std::u16string::npos ? trimmed : trimmed.substr(nSeparator + 1);
}

}  // namespace

int64_t PlaybackMilliseconds(const uint8_t* pTime)
{
    const int nRate = (pTime[3] >> 6) == 3 ? 30 : 25;
    const int64_t nSeconds = Bcd(pTime[0]) * 3600 + Bcd(pTime[1]) * 60 + Bcd(pTime[2]);
    return nSeconds * 1000 + Bcd(pTime[3] & 0x3F) * 1000 / nRate;
}

std::u16string DescribeDVD(const std::u16string& folder)
{
    const std::u16string managerPath = ManagerPath(folder);
    if (managerPath.empty())
        return {};
    CVideoManager disc(managerPath);
    if (!disc.Parse())
        return {};
    CDVDRipDescription description;
    description.m_MainIfoFilename = managerPath;
    const std::u16string discFolder = DiscFolderOf(managerPath);
    description.m_Name = NameOf(discFolder);
    description.m_nDiscBytes = CountDiscSectors(discFolder).nSectors * kSectorBytes;
    for (size_t i = 0; i < disc.Titles().size(); ++i)
        description.AddTitle(DescribeTitle(*disc.Titles()[i], static_cast<int>(i)));
    description.SelectDefaultTitle();
    return description.ToText();
}

}  // namespace zu::dvd
