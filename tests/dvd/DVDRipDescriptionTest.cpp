#include "dvd/DVDRipDescription.h"

#include <gtest/gtest.h>

using zu::dvd::CDVDRipDescription;

TEST(DVDRipDescriptionTest, KeysOfTheDVDVideoInfoSection)
{
    CDVDRipDescription description;
    ASSERT_TRUE(description.Load(u"[Other]\nNumTitles=9\n[DVDVideoInfo]\nRipMode=5\nName=Disc\n"
                                 u"MainIFOFilename=/d/VIDEO_TS/VIDEO_TS.IFO\nNumTitles=3\nClipSeconds=30\n"
                                 u"Name00=First\nNumber00=1\nDuration00=100\nTotalBytes00=6442450944\n"
                                 u"AudioStreamList00=English (AC3, 2 ch)|German (AC3, 6 ch)\nSelectedAudioStream00=1\n"
                                 u"Number01=2\nDuration01=100\n"));
    EXPECT_EQ(description.m_nRipMode, 0) << "any mode but 0 and 1 is 0";
    EXPECT_EQ(description.m_Name, u"Disc");
    EXPECT_EQ(description.m_MainIfoFilename, u"/d/VIDEO_TS/VIDEO_TS.IFO");
    EXPECT_EQ(description.m_nClipSeconds, 30);
    ASSERT_EQ(description.TitleCount(), 3) << "the other section is not read";
    EXPECT_EQ(description.GetTitle(0)->nTotalBytes, 6442450944LL);
    EXPECT_EQ(description.GetTitle(0)->audioStreams,
              (std::vector<std::u16string>{u"English (AC3, 2 ch)", u"German (AC3, 6 ch)"}));
    EXPECT_EQ(description.GetSelectedAudioStream(0), 1);
    const auto* pThird = description.GetTitle(2);
    ASSERT_NE(pThird, nullptr) << "keys missing for index 02 give a title of defaults";
    EXPECT_EQ(pThird->nNumber + pThird->nDuration + pThird->nTotalBytes + pThird->nSelectedAudioStream, 0);
    EXPECT_TRUE(pThird->audioStreams.empty());
    EXPECT_EQ(description.GetTitle(3), nullptr);
    EXPECT_EQ(description.GetTitle(-1), nullptr);
    EXPECT_EQ(description.GetSelectedAudioStream(3), -1);

    EXPECT_EQ(description.GetSelectedTitle(), -1);
    EXPECT_EQ(description.SelectDefaultTitle(), 1);
    EXPECT_EQ(description.GetSelectedTitle(), 0) << "of two equally long titles the first";
    EXPECT_TRUE(description.m_bModified);

    CDVDRipDescription again;
    ASSERT_TRUE(again.Load(description.ToText()));
    EXPECT_EQ(again.ToText(), description.ToText());
    EXPECT_EQ(again.GetSelectedTitle(), 0);
    EXPECT_EQ(again.GetTitle(0)->audioStreams.size(), 2u);

    ASSERT_TRUE(again.Load(u"[DVDVideoInfo]\nRipMode=1\nNumTitles=2\nDuration00=5\nDuration01=6\nSelectedForRip01=1\n"));
    EXPECT_EQ(again.m_nRipMode, 1);
    EXPECT_EQ(again.GetSelectedTitle(), 1);
    EXPECT_EQ(again.m_Name, u"") << "a load starts from nothing";
    EXPECT_EQ(again.m_DescriptionName, u"DVD Rip");

    CDVDRipDescription empty;
    ASSERT_TRUE(empty.Load(u"[DVDVideoInfo]\nNumTitles=-2\n"));
    EXPECT_EQ(empty.TitleCount(), 0);
    EXPECT_EQ(empty.GetSelectedTitle(), -1);
    EXPECT_EQ(empty.SelectDefaultTitle(), 0);
    EXPECT_FALSE(empty.m_bModified);
    EXPECT_FALSE(empty.Load(u"[DVDVideoInfo\nNumTitles=1")) << "no property list";
}
