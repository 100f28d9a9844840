#include "RipperSupport.h"

#include "dvd/DVDRipper.h"
#include "platform/File.h"
#include "dvd/PackFilter.h"
#include "dvd/StreamAttributes.h"

#include <gtest/gtest.h>

using namespace zutest;
using namespace zutest::dvd;
using zu::dvd::CDVDRipper;

namespace {

// Every pack until the end, as marks; fails the test on a status.
std::vector<uint32_t> RipMarks(CDVDRipper& ripper, std::vector<std::string>* pPacks = nullptr)
{
    std::vector<uint32_t> marks;
    std::string pack(2048, '\0');
    int nStatus = 0;
    while (ripper.ReadPack(reinterpret_cast<uint8_t*>(&pack[0]), 2048, nStatus) == 2048) {
        marks.push_back(MarkOf(pack));
        if (pPacks)
            pPacks->push_back(pack);
    }
    EXPECT_EQ(nStatus, 0);
    return marks;
}

}  // namespace

TEST(PackFilterTest, KeepsVideoAndTheWantedAudioOnly)
{
    const uint8_t audioBlock[8] = {};
    zu::dvd::CPackFilter filter;
    filter.AddWanted(zu::dvd::CStreamAttributes::Audio(audioBlock, 2));
    const auto stuffed = [] {
        std::string pack = Pack(0xE0, 0, 1);
        pack[13] = static_cast<char>(0xFB);  // three stuffing bytes move the packet
        pack.insert(14, "\xFF\xFF\xFF");
        pack.resize(2048);
        return pack;
    };
    const auto withLength = [](uint16_t nLength) {
        std::string pack = Pack(0xE0, 0, 1);
        pack[18] = static_cast<char>(nLength >> 8);
        pack[19] = static_cast<char>(nLength);
        return pack;
    };
    // A padding packet of 2000 bytes first: the next is looked for 2000 bytes on, not 2006.
    const auto afterPadding = [](uint8_t nStream) {
        std::string pack(2048, '\0');
        pack.replace(0, 4, std::string("\0\0\1\xBA", 4));
        pack[13] = static_cast<char>(0xF8);
        pack.replace(14, 6, std::string("\0\0\1\xBE\x07\xD0", 6));
        pack.replace(14 + 2000, 6, std::string("\0\0\1", 3) + static_cast<char>(nStream) + std::string("\0\x10", 2));
        return pack;
    };
    const struct {
        const char* what;
        std::string pack;
        bool bKept;
    } cases[] = {
        {"video", Pack(0xE0, 0, 1), true},
        {"the wanted audio", Pack(0xBD, 0x82, 1), true},
        {"another audio stream", Pack(0xBD, 0x80, 1), false},
        {"a sub-picture stream", Pack(0xBD, 0x22, 1), false},
        {"no pack start code", Pack(0, 0, 1), false},
        {"a navigation pack", Pack(0xBB, 0, 1), false},
        {"video after pack stuffing", stuffed(), true},
        {"a packet length of 0", withLength(0), false},
        {"a packet length of 255", withLength(255), false},
        {"video after a padding packet", afterPadding(0xE0), true},
        {"stream id 0xFF after a padding packet", afterPadding(0xFF), false},
    };
    for (const auto& c : cases) {
        std::string pack = c.pack;
        EXPECT_EQ(filter.Keep(reinterpret_cast<uint8_t*>(&pack[0])), c.bKept) << c.what;
    }
    std::string audio = Pack(0xBD, 0x82, 7);
    ASSERT_TRUE(filter.Keep(reinterpret_cast<uint8_t*>(&audio[0])));
    EXPECT_EQ(static_cast<uint8_t>(audio[kSubStreamOffset]), 0x80) << "kept audio leaves as sub-stream 0x80";
    audio[kSubStreamOffset] = static_cast<char>(0x82);
    EXPECT_EQ(audio, Pack(0xBD, 0x82, 7)) << "nothing else changes";
}

TEST(DVDRipperTest, TitlesReadTheirRegionsThroughTheFilter)
{
    const CMarkedDisc disc;
    for (int nTitle = 0; nTitle < 3; ++nTitle) {
        for (int nAudio = 0; nAudio < 2; ++nAudio) {
            zu::dvd::CDVDRipDescription description = disc.Description(nTitle, nAudio);
            CDVDRipper ripper;
            ASSERT_TRUE(ripper.OpenTitle(description));
            std::vector<std::string> packs;
            EXPECT_EQ(RipMarks(ripper, &packs), ExpectedMarks(MarkedRegions(nTitle), nAudio))
                << "title " << nTitle << ", audio " << nAudio;
            for (const std::string& pack : packs) {
                if (static_cast<uint8_t>(pack[17]) == 0xBD) {
                    EXPECT_EQ(static_cast<uint8_t>(pack[kSubStreamOffset]), 0x80);
                }
            }
        }
    }
}

// The first title starts at title sector 0, which the title mapping would read from the sector
// before the first one: it reads the first sector there instead (here a video pack, so it comes
// twice; on an authored disc it is a navigation pack and is dropped both times).
TEST(DVDRipperTest, ATitleAtSectorZeroStartsAtTheFirstSector)
{
    const CMarkedDisc disc;
    zu::dvd::CDVDRipDescription description = disc.Description(0, 0);
    CDVDRipper ripper;
    ASSERT_TRUE(ripper.OpenTitle(description));
    EXPECT_EQ(ripper.TitleGetPosition(), 0);
    const std::vector<uint32_t> marks = RipMarks(ripper);
    ASSERT_GE(marks.size(), 3u);
    EXPECT_EQ(marks[0], 0u);
    EXPECT_EQ(marks[1], 0u);
    EXPECT_EQ(marks[2], 1u);
    EXPECT_EQ(ripper.TitleSetPosition(2048), 2048);
    std::string pack(2048, '\0');
    int nStatus = 0;
    ASSERT_EQ(ripper.ReadPack(reinterpret_cast<uint8_t*>(&pack[0]), 2048, nStatus), 2048u);
    EXPECT_EQ(MarkOf(pack), 0u) << "title sector 1 is absolute sector 0";
    ASSERT_EQ(ripper.ReadPack(reinterpret_cast<uint8_t*>(&pack[0]), 2048, nStatus), 2048u);
    EXPECT_EQ(MarkOf(pack), 1u);
}

TEST(DVDRipperTest, PositionsMapToRegionsAndSectors)
{
    const CMarkedDisc disc;
    zu::dvd::CDVDRipDescription description = disc.Description(1, 1);
    CDVDRipper ripper;
    ASSERT_TRUE(ripper.OpenTitle(description));
    EXPECT_EQ(ripper.TitleGetLength(), 20 * 2048);
    EXPECT_EQ(ripper.TitleSetPosition(5000), 4096) << "rounded down to a whole pack";
    EXPECT_EQ(RipMarks(ripper), ExpectedMarks(MarkedRegions(1), 1, 2));
    EXPECT_EQ(ripper.TitleGetPosition(), 20 * 2048) << "the end of the last region";

    EXPECT_EQ(ripper.TitleSetPosition(12 * 2048 + 5), 12 * 2048) << "into the second region";
    EXPECT_EQ(RipMarks(ripper), ExpectedMarks(MarkedRegions(1), 1, 12));
    EXPECT_EQ(ripper.TitleSetPosition(20 * 2048), 20 * 2048) << "at the end: unchanged";
    EXPECT_EQ(ripper.TitleSetPosition(3 * 2048), 3 * 2048);
    EXPECT_EQ(ripper.TitleSetPosition(20 * 2048 + 1), 3 * 2048) << "past the end: unchanged";
    EXPECT_EQ(ripper.TitleSetPosition(-1), 3 * 2048);

    // The first region's last pack (title sector 39, read from 38) is kept with audio 1: reading
    // it leaves the sector in the gap between the regions, where the position is the next
    // region's start.
    ripper.TitleSetPosition(0);
    std::string pack(2048, '\0');
    int nStatus = 0;
    const size_t nFirstRegion = ExpectedMarks({MarkedRegions(1)[0]}, 1).size();
    for (size_t i = 0; i < nFirstRegion; ++i)
        ASSERT_EQ(ripper.ReadPack(reinterpret_cast<uint8_t*>(&pack[0]), 2048, nStatus), 2048u);
    EXPECT_EQ(ripper.TitleGetPosition(), 10 * 2048);
    ASSERT_EQ(ripper.ReadPack(reinterpret_cast<uint8_t*>(&pack[0]), 2048, nStatus), 2048u);
    EXPECT_EQ(MarkOf(pack), 60u) << "title sector 60 read from 59, a navigation pack, dropped; then 61 from 60";
}

TEST(DVDRipperTest, FailuresAreStatusCodes)
{
    const CMarkedDisc disc;
    std::string pack(2048, '\0');
    int nStatus = -1;
    CDVDRipper closed;
    EXPECT_EQ(closed.ReadPack(reinterpret_cast<uint8_t*>(&pack[0]), 2048, nStatus), 0u);
    EXPECT_EQ(nStatus, 3) << "no title open";
    EXPECT_EQ(closed.TitleSetPosition(4096), 0);

    zu::dvd::CDVDRipDescription description = disc.Description(-1, 1);
    CDVDRipper ripper;
    ASSERT_TRUE(ripper.OpenTitle(description));
    EXPECT_EQ(description.GetSelectedTitle(), 2) << "none selected: the longest";
    EXPECT_EQ(ripper.ReadPack(reinterpret_cast<uint8_t*>(&pack[0]), 1024, nStatus), 0u);
    EXPECT_EQ(nStatus, 7);
    EXPECT_EQ(ripper.ReadPack(nullptr, 2048, nStatus), 0u);
    EXPECT_EQ(nStatus, 7);
    EXPECT_EQ(ripper.ReadPack(reinterpret_cast<uint8_t*>(&pack[0]), 2048, nStatus), 2048u);
    EXPECT_EQ(nStatus, 0);

    // A VOB that went away after the open fails the next read that needs it.
    zu::dvd::CDVDRipDescription second = disc.Description(0, 0);
    CDVDRipper orphan;
    ASSERT_TRUE(orphan.OpenTitle(second));
    orphan.Close();
    WriteFile(disc.Folder() + u"VTS_01_1.VOB", "");
    zu::platform::DeleteFileByName(disc.Folder() + u"VTS_01_1.VOB");
    EXPECT_EQ(orphan.ReadPack(reinterpret_cast<uint8_t*>(&pack[0]), 2048, nStatus), 0u);
    EXPECT_EQ(nStatus, 3);
    CDVDRipper missing;
    EXPECT_FALSE(missing.OpenTitle(second)) << "a title set without its VOB files";

    zu::dvd::CDVDRipDescription absent = disc.Description(-1, 0);
    zu::dvd::SDVDRipTitle fourth;
    fourth.bSelectedForRip = true;
    absent.AddTitle(fourth);
    EXPECT_FALSE(CDVDRipper().OpenTitle(absent)) << "a selected title the disc does not have";
    zu::dvd::CDVDRipDescription nowhere;
    nowhere.m_MainIfoFilename = disc.Folder() + u"NOWHERE.IFO";
    EXPECT_FALSE(CDVDRipper().OpenTitle(nowhere));
}
