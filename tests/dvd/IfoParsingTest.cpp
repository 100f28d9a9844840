#include "DiscBuilder.h"
#include "RipperSupport.h"
#include "TestSupport.h"

#include "dvd/DiscFolder.h"
#include "dvd/VideoManager.h"
#include "dvd/VobFileSet.h"

#include <gtest/gtest.h>

#include <functional>

using namespace zutest;
using namespace zutest::dvd;
using zu::dvd::CVideoManager;

namespace {

// The marked disc, but title set 2's title has a first chapter entry naming program chain 0.
std::vector<STitleSetModel> SampleDisc()
{
    std::vector<STitleSetModel> sets = MarkedSets();
    sets[1].titles = {{{0, 1}, {1, 1}}};
    return sets;
}

class CSampleDisc {
public:
    CSampleDisc() : m_Folder(WriteDisc(m_Root.Path(), SampleDisc(), 80)) {}
    std::u16string File(const std::u16string& name) const { return m_Folder + name; }
    // Changes bytes of one of the files in place.
    void Change(const std::u16string& name, const std::function<void(std::string&)>& change) const
    {
        std::string bytes = ReadFile(File(name));
        change(bytes);
        WriteFile(File(name), bytes);
    }
    size_t TitleCount() const
    {
        CVideoManager disc(File(u"VIDEO_TS.IFO"));
        return disc.Parse() ? disc.Titles().size() : 0;
    }

private:
    CTempFolder m_Root;
    std::u16string m_Folder;
};

std::vector<std::pair<uint32_t, uint32_t>> Regions(const zu::dvd::CDVDTitle& title)
{
    std::vector<std::pair<uint32_t, uint32_t>> regions;
    for (const auto& region : title.Regions())
        regions.emplace_back(region.nFirstSector, region.nSectorCount);
    return regions;
}

void Put16(std::string& bytes, size_t nOffset, uint16_t nValue)
{
    bytes[nOffset] = static_cast<char>(nValue >> 8);
    bytes[nOffset + 1] = static_cast<char>(nValue);
}

void Put32(std::string& bytes, size_t nOffset, uint32_t nValue)
{
    Put16(bytes, nOffset, static_cast<uint16_t>(nValue >> 16));
    Put16(bytes, nOffset + 2, static_cast<uint16_t>(nValue));
}

}  // namespace

TEST(IfoParsingTest, TitlesChaptersAndRegions)
{
    const CSampleDisc sample;
    CVideoManager disc(sample.File(u"VIDEO_TS.IFO"));
    ASSERT_TRUE(disc.Parse());
    ASSERT_EQ(disc.Titles().size(), 3u);
    const auto& first = *disc.Titles()[0];
    EXPECT_EQ(first.Chapters().size(), 3u);
    EXPECT_EQ(Regions(first), (std::vector<std::pair<uint32_t, uint32_t>>{{0, 30}}));
    uint32_t nFirst = 1;
    uint32_t nLast = 1;
    EXPECT_TRUE(first.GetRegion(0, nFirst, nLast));
    EXPECT_EQ(nLast, 29u);
    EXPECT_FALSE(first.GetRegion(1, nFirst, nLast));
    EXPECT_EQ(nFirst + nLast, 0u);

    const auto& second = *disc.Titles()[1];
    ASSERT_EQ(second.Chapters().size(), 2u);
    EXPECT_EQ(second.Chapters()[0].nSectorCount, 10u) << "only the program's entry cell";
    EXPECT_EQ(second.Chapters()[0].playbackTime[2], 3);
    EXPECT_EQ(Regions(second), (std::vector<std::pair<uint32_t, uint32_t>>{{30, 10}, {60, 10}}));
    EXPECT_EQ(second.TitleSetNumber(), 1);
    EXPECT_EQ(second.TitleNumber(), 2);

    const auto& third = *disc.Titles()[2];
    ASSERT_EQ(third.Chapters().size(), 1u) << "the entry naming chain 0 is skipped";
    EXPECT_EQ(third.Chapters()[0].nChapterNumber, 2) << "but it used up a chapter number";
    EXPECT_EQ(third.TitleSetNumber(), 2);

    using zu::dvd::CStreamAttributes;
    ASSERT_NE(first.GetStreamAttributes(CStreamAttributes::VIDEO, 0), nullptr);
    EXPECT_EQ(first.GetStreamAttributes(CStreamAttributes::VIDEO, 1), nullptr);
    EXPECT_EQ(first.GetStreamAttributes(CStreamAttributes::AUDIO, 1)->GetValue(u"Stream: Language"), u"German");
    EXPECT_EQ(first.GetStreamAttributes(CStreamAttributes::AUDIO, 2), nullptr);
    EXPECT_EQ(first.GetStreamAttributes(CStreamAttributes::SUBPICTURE, 0)->GetValue(u"Stream: Language"), u"French");
    EXPECT_EQ(first.GetStreamAttributes(3, 0), nullptr);
}

// Each case breaks one thing and names the titles that remain: a title set that does not load, or
// a title without chapters, leaves the disc without titles.
TEST(IfoParsingTest, MalformedInformationFilesAreRefused)
{
    const auto set = [](size_t nOffset, uint8_t nValue) {
        return [=](std::string& bytes) { bytes[nOffset] = static_cast<char>(nValue); };
    };
    const struct {
        const char* what;
        const char16_t* file;
        std::function<void(std::string&)> change;
        size_t nTitles;
    } cases[] = {
        {"nothing changed", u"VTS_02_0.IFO", [](std::string&) {}, 3},
        {"title audio count 9", u"VTS_01_0.IFO", set(kVtsAudioCountLow, 9), 0},
        {"title audio count 8", u"VTS_01_0.IFO", set(kVtsAudioCountLow, 8), 3},
        {"title sub-picture count 33", u"VTS_01_0.IFO", set(kVtsSubpictureCountLow, 33), 0},
        {"title sub-picture count 32", u"VTS_01_0.IFO", set(kVtsSubpictureCountLow, 32), 3},
        {"menu audio count 9", u"VTS_02_0.IFO", set(kVtsMenuAudioCountLow, 9), 0},
        {"menu sub-picture count 2", u"VTS_02_0.IFO", set(kVtsMenuSubpictureCountLow, 2), 0},
        {"title set identifier", u"VTS_02_0.IFO", set(11, 'X'), 0},
        {"manager identifier", u"VIDEO_TS.IFO", set(11, 'S'), 0},
        {"chapter table count 0", u"VTS_02_0.IFO", [](std::string& b) { Put16(b, kChapterTable, 0); }, 0},
        {"chapter table count 100", u"VTS_02_0.IFO", [](std::string& b) { Put16(b, kChapterTable, 100); }, 0},
        {"chapter table end 8", u"VTS_02_0.IFO", [](std::string& b) { Put32(b, kChapterTable + 4, 8); }, 0},
        {"chapter table end 4 MiB", u"VTS_02_0.IFO", [](std::string& b) { Put32(b, kChapterTable + 4, 0x400000); }, 0},
        {"program chain table count 0", u"VTS_02_0.IFO", [](std::string& b) { Put16(b, kPgcTable, 0); }, 0},
        {"program chain table beyond the file", u"VTS_02_0.IFO", [](std::string& b) { Put32(b, 0xCC, 40); }, 0},
        {"information file of 2047 bytes", u"VTS_02_0.IFO", [](std::string& b) { b.resize(2047); }, 0},
        {"information file of 1000000 bytes", u"VIDEO_TS.IFO", [](std::string& b) { b.resize(1000000); }, 3},
        {"information file of 1000001 bytes", u"VIDEO_TS.IFO", [](std::string& b) { b.resize(1000001); }, 0},
        {"a title of title set 0", u"VIDEO_TS.IFO", set(kTitleTable + 8 + 6, 0), 2},
        {"a title of title set 3", u"VIDEO_TS.IFO", set(kTitleTable + 8 + 12 + 6, 3), 2},
        {"a title set count of 1", u"VIDEO_TS.IFO", set(0x3F, 1), 2},
        {"a chapter list of a billion entries past the file's end", u"VTS_01_0.IFO",
         [](std::string& b) { Put32(b, kChapterTable + 12, 0xFFFFFFF0u); }, 0},
        {"a title number past the chapter table", u"VIDEO_TS.IFO", set(kTitleTable + 8 + 7, 3), 0},
    };
    for (const auto& c : cases) {
        const CSampleDisc sample;
        sample.Change(c.file, c.change);
        EXPECT_EQ(sample.TitleCount(), c.nTitles) << c.what;
    }
}

TEST(IfoParsingTest, ChaptersWithBrokenProgramsAreDropped)
{
    STitleSetModel set;
    // Program 2's entry cell 5 does not exist; chapter (1, 3) names a program past the chain's.
    set.chains = {{{1, 5}, {{0, 9, 1}, {10, 19, 1}}}};
    set.titles = {{{1, 1}, {1, 2}, {1, 3}, {2, 1}, {1, 1}}};
    CTempFolder root;
    const std::u16string folder = WriteDisc(root.Path(), {set}, 20);
    CVideoManager disc(folder + u"VIDEO_TS.IFO");
    ASSERT_TRUE(disc.Parse());
    const auto& chapters = disc.Titles()[0]->Chapters();
    ASSERT_EQ(chapters.size(), 2u);
    EXPECT_EQ(chapters[0].nChapterNumber, 1);
    EXPECT_EQ(chapters[1].nChapterNumber, 5);
    EXPECT_EQ(Regions(*disc.Titles()[0]), (std::vector<std::pair<uint32_t, uint32_t>>{{0, 10}, {0, 10}}))
        << "a chapter that repeats an earlier extent opens a region of its own";
}

TEST(IfoParsingTest, VobListingsAndDiscSectors)
{
    CTempFolder root;
    const std::u16string folder = WriteDisc(root.Path(), SampleDisc(), 8);
    const std::string sector(2048, 'v');
    WriteFile(folder + u"VTS_01_0.VOB", sector + sector + sector);
    WriteFile(folder + u"VTS_01_2.VOB", sector);
    WriteFile(folder + u"VTS_01_4.VOB", sector + sector);  // part 3 is missing
    WriteFile(folder + u"VTS_01_5.VOB", "");               // empty: not listed
    WriteFile(folder + u"VTS_01_12.VOB", sector);          // after the missing part 10
    WriteFile(folder + u"VIDEO_TS.VOB", sector + sector);

    zu::dvd::CVobFileSet titles;
    ASSERT_TRUE(zu::dvd::ListTitleVobs(folder + u"VTS_01_0.IFO", titles, 1));
    EXPECT_EQ(titles.TotalSectors(), 8 + 1 + 2) << "parts 1, 2 and 4";
    EXPECT_EQ(titles.Base(), -1);
    zu::dvd::CVobFileSet withMenu;
    ASSERT_TRUE(zu::dvd::ListTitleVobs(folder + u"VTS_01_0.IFO", withMenu, 0));
    EXPECT_EQ(withMenu.TotalSectors(), 3 + 8 + 1 + 2);
    EXPECT_EQ(withMenu.Base(), 3) << "the menu's sectors come before title sector 0";
    zu::dvd::CVobFileSet manager;
    ASSERT_TRUE(zu::dvd::ListTitleVobs(folder + u"VIDEO_TS.IFO", manager, 1));
    EXPECT_EQ(manager.TotalSectors(), 2);

    const zu::dvd::SDiscCount count = zu::dvd::CountDiscSectors(root.Path());
    EXPECT_EQ(count.nSectors, (3 + 8 + 1) + 2 + 8) << "title set 1 from part 0 to 2 only, the menu, title set 2";
    EXPECT_EQ(count.files.size(), 3u);

    WriteFile(folder + u"VTS_01_2.VOB", sector + "x");
    zu::dvd::CVobFileSet broken;
    EXPECT_FALSE(zu::dvd::ListTitleVobs(folder + u"VTS_01_0.IFO", broken, 1)) << "a VOB of a part sector";
    EXPECT_EQ(broken.TotalSectors(), 0);
    WriteFile(folder + u"NOT_AN.IFO", std::string("DVDVIDEO-VTX") + sector);
    EXPECT_FALSE(zu::dvd::ListTitleVobs(folder + u"NOT_AN.IFO", broken, 1));
}
