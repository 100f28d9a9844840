// The disc the test run authors with ffmpeg and dvdauthor (author_disc.sh), read through the
// exports the way a host reads it.
#include "StreamCheck.h"
#include "TestSupport.h"

#include "dvd/DVDRipDescription.h"
#include "dvd/VideoManager.h"
#include "platform/File.h"
#include "platform/System.h"
#include "platform/Text.h"

#include <zureader/ZUReader.h>

#include <gtest/gtest.h>

using namespace zutest;
using namespace zutest::dvd;

namespace {

// ZU_TEST_DVD names the folder holding VIDEO_TS as the build sees it; under Wine the Unix root is
// drive Z:.
std::u16string AuthoredFolder()
{
    std::u16string folder = zu::platform::GetEnvironmentText(u"ZU_TEST_DVD");
    const char16_t separator = zu::platform::PathSeparator();
    if (!folder.empty() && separator != u'/' && folder[0] == u'/') {
        for (char16_t& c : folder)
            c = c == u'/' ? separator : c;
        folder = u"Z:" + folder;
    }
    if (!folder.empty() && folder.back() != separator)
        folder += separator;
    return folder;
}

#define REQUIRE_AUTHORED_DISC()                                                                         \
    if (AuthoredFolder().empty() ||                                                                     \
        zu::platform::FileSizeByName(AuthoredFolder() + u"ready") < 0)                                  \
    GTEST_SKIP() << "no authored disc: ctest's dvd_media step makes one (tests/dvd/author_disc.sh DIR, " \
                    "then ZU_TEST_DVD=DIR)"

std::u16string Described(const std::u16string& folder)
{
    const ZUBSTR text = ZUDescribeDVD(Z(folder));
    std::u16string described(reinterpret_cast<const char16_t*>(text));
    ZUFreeString(text);
    return described;
}

// A description with title index nTitle and audio stream nAudio selected.
std::u16string Selecting(const std::u16string& described, int nTitle, int nAudio)
{
    zu::dvd::CDVDRipDescription description;
    EXPECT_TRUE(description.Load(described));
    std::u16string text = described;
    for (int i = 0; i < description.TitleCount(); ++i) {
        const std::u16string index = zu::platform::Utf16FromUtf8((i < 10 ? "0" : "") + std::to_string(i));
        text += u"SelectedForRip" + index + (i == nTitle ? u"=1\n" : u"=0\n");
        text += u"SelectedAudioStream" + index + (i == nTitle ? (nAudio ? u"=1\n" : u"=0\n") : u"=0\n");
    }
    return text;
}

}  // namespace

TEST(AuthoredDiscTest, TheDescriptionListsEveryTitle)
{
    REQUIRE_AUTHORED_DISC();
    const std::u16string described = Described(AuthoredFolder());
    EXPECT_EQ(Described(AuthoredFolder() + u"VIDEO_TS"), described) << "the VIDEO_TS folder itself, too";
    zu::dvd::CDVDRipDescription description;
    ASSERT_TRUE(description.Load(described)) << Utf8(described);
    ASSERT_EQ(description.TitleCount(), 3);
    const int kDurations[] = {8, 4, 6};  // the third title's second cell continues chapter 1
    for (int i = 0; i < 3; ++i) {
        const auto* pTitle = description.GetTitle(i);
        EXPECT_EQ(pTitle->nNumber, i + 1);
        EXPECT_EQ(pTitle->nDuration, kDurations[i]) << i;
        EXPECT_GT(pTitle->nTotalBytes, 0);
        EXPECT_EQ(pTitle->nTotalBytes % 2048, 0);
        EXPECT_EQ(pTitle->audioStreams, (std::vector<std::u16string>{u"English (AC3, 2 ch)", u"German (AC3, 2 ch)"}));
    }
    EXPECT_EQ(description.GetSelectedTitle(), 0) << "the longest";
    EXPECT_GT(description.m_nDiscBytes, description.GetTitle(0)->nTotalBytes);
    EXPECT_EQ(Described(AuthoredFolder() + u"nothing-here"), u"");
}

// dvdauthor starts a title set's first cell at sector 0, where the title mapping would read the
// sector before the first one.
TEST(AuthoredDiscTest, AFirstCellAtSectorZeroIsRead)
{
    REQUIRE_AUTHORED_DISC();
    const std::u16string described = Described(AuthoredFolder());
    zu::dvd::CDVDRipDescription description;
    ASSERT_TRUE(description.Load(described));
    zu::dvd::CVideoManager disc(description.m_MainIfoFilename);
    ASSERT_TRUE(disc.Parse());
    ASSERT_EQ(disc.Titles()[0]->Regions().at(0).nFirstSector, 0u);
    ASSERT_EQ(disc.Titles()[2]->Regions().size(), 2u) << "the third title's chapters are not contiguous";

    CReaderPtr reader(GetDVDReader(Z(Selecting(described, 0, 0))));
    ASSERT_EQ(reader->Open(), 1);
    EXPECT_EQ(reader->GetPosition(), 0);
    const std::string first = ReadUpTo(*reader, 2048);
    ASSERT_EQ(first.size(), 2048u);
    EXPECT_EQ(first.substr(0, 4), std::string("\0\0\1\xBA", 4));
    EXPECT_EQ(reader->GetLength(), description.GetTitle(0)->nTotalBytes);
}

TEST(AuthoredDiscTest, RandomSeeksAndReadsAgreeWithASequentialRead)
{
    REQUIRE_AUTHORED_DISC();
    const std::u16string described = Described(AuthoredFolder());
    for (int nTitle : {0, 2}) {
        CReaderPtr reader(GetDVDReader(Z(Selecting(described, nTitle, nTitle == 2))));
        ASSERT_EQ(reader->Open(), 1);
        const std::vector<SPackAt> packs = ReadPacks(*reader);
        EXPECT_GT(packs.size(), 100u);
        EXPECT_EQ(reader->SetPosition(5000, ZU_SEEK_BEGIN), 4096);
        CheckRandomAccess(*reader, packs, 7 + nTitle, 500);
    }
}
