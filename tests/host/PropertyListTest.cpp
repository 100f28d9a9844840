#include "host/PropertyList.h"

#include <gtest/gtest.h>

using zu::host::CPropertyList;

TEST(PropertyListTest, SectionsAndPairsOfTheTextForm)
{
    CPropertyList list;
    ASSERT_TRUE(list.Parse(u"top=1\r\n; a comment\n\n[DVDVideoInfo]\r\n  Name = A=B | C \r\nEmpty=\n"
                           u"# another\n[ Other ]\nname=x\n[dvdvideoinfo]\nNumTitles=2"));
    EXPECT_EQ(list.GetValue(u"", u"top"), u"1");
    EXPECT_EQ(list.GetValue(u"DVDVideoInfo", u"Name"), u" A=B | C ") << "the value as it stands";
    EXPECT_EQ(list.GetValue(u"DVDVIDEOINFO", u"name"), u" A=B | C ") << "names compare case-blind";
    EXPECT_TRUE(list.HasValue(u"DVDVideoInfo", u"Empty"));
    EXPECT_EQ(list.GetValue(u"DVDVideoInfo", u"Empty"), u"");
    EXPECT_FALSE(list.HasValue(u"DVDVideoInfo", u"Missing"));
    EXPECT_EQ(list.GetValue(u"Other", u"name"), u"x");
    EXPECT_EQ(list.GetValue(u"DVDVideoInfo", u"NumTitles"), u"2") << "a section met again goes on";

    CPropertyList copy;
    ASSERT_TRUE(copy.Parse(list.ToText()));
    EXPECT_EQ(copy.ToText(), list.ToText());
    EXPECT_EQ(copy.GetValue(u"DVDVideoInfo", u"Name"), u" A=B | C ");

    EXPECT_TRUE(list.SetValue(u"Other", u"NAME", u"y"));
    EXPECT_EQ(list.GetValue(u"Other", u"name"), u"y") << "replaced, not added";
    EXPECT_FALSE(list.SetValue(u"Other", u"k", u"two\nlines"));

    for (const char16_t* pszBad : {u"[Open\nk=v", u"[S]\njust words", u"k=v\n=\nno equals"}) {
        CPropertyList bad;
        EXPECT_FALSE(bad.Parse(pszBad)) << std::string(pszBad, pszBad + 3).c_str();
        EXPECT_FALSE(bad.HasValue(u"S", u"k"));
    }
}
