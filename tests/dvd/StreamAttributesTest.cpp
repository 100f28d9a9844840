#include "dvd/LanguageTable.h"
#include "dvd/StreamAttributes.h"

#include <gtest/gtest.h>

#include <string>

using zu::dvd::CStreamAttributes;

namespace {

std::string Utf8(const char16_t* pszText)
{
    const std::u16string text(pszText);
    return std::string(text.begin(), text.end());
}

}  // namespace

// The table is generated from the published list: one row per English name, ordered by name,
// and the lookups depend on that order.
TEST(LanguageTableTest, RowsOfTheGeneratedList)
{
    using zu::dvd::kLanguages;
    ASSERT_EQ(zu::dvd::kLanguageCount, 565u) << "564 names of the list and the closing empty row";
    size_t nWithTwoLetters = 0;
    for (size_t i = 0; i < zu::dvd::kLanguageCount; ++i)
        nWithTwoLetters += kLanguages[i].pszCode2[0] != 0;
    EXPECT_EQ(nWithTwoLetters, 220u);
    EXPECT_EQ(std::u16string(kLanguages[0].pszName), u"Abkhazian");
    EXPECT_EQ(std::u16string(kLanguages[0].pszCode2), u"ab");
    EXPECT_EQ(std::u16string(kLanguages[1].pszName), u"Achinese");
    EXPECT_EQ(std::u16string(kLanguages[1].pszCode3), u"ace");
    EXPECT_EQ(std::u16string(kLanguages[1].pszCode2), u"");
    const auto& last = kLanguages[zu::dvd::kLanguageCount - 1];
    EXPECT_EQ(std::u16string(last.pszName) + last.pszCode3 + last.pszCode2, u"");
    // A language of several names has a row under each, the others following.
    int nDutch = 0;
    for (size_t i = 0; i < zu::dvd::kLanguageCount; ++i) {
        if (std::u16string(kLanguages[i].pszCode3) == u"nld") {
            EXPECT_EQ(std::u16string(kLanguages[i].pszName), nDutch++ == 0 ? u"Dutch; Flemish" : u"Flemish; Dutch");
            EXPECT_EQ(std::u16string(kLanguages[i].pszCode2), u"nl");
        }
    }
    EXPECT_EQ(nDutch, 2);
}

TEST(StreamAttributesTest, LanguageNamesComeFromTheTwoLetterColumn)
{
    const struct {
        uint8_t first, second;
        std::u16string name;
    } cases[] = {
        {'e', 'n', u"English"},    {'E', 'N', u"English"},  {'d', 'e', u"German"},
        {'n', 'l', u"Dutch"},      // "Dutch; Flemish" comes before "Flemish; Dutch": cut at ";"
        {'h', 't', u"Haitian Creole"},  // the first of its two rows by name    {0, 0, u"Achinese"},     // the empty code meets the first row without one
        {'z', 'z', u""},           {'e', 0, u""},           {'a', 'c', u""},  // "ace" is not looked up
    };
    for (const auto& c : cases)
        EXPECT_EQ(CStreamAttributes::LanguageName(c.first, c.second), c.name) << c.first << c.second;
}

TEST(StreamAttributesTest, AudioBlocksWithUnshiftedMasks)
{
    const struct {
        uint8_t block[8];
        const char16_t* key;
        std::u16string value;
    } cases[] = {
        {{0x00, 0x01, 'e', 'n', 0, 0, 0, 0}, u"Stream: Encoding", u"AC3"},
        {{0x60, 0x01, 'e', 'n', 0, 0, 0, 0}, u"Stream: Encoding", u"Undefined"},  // MPEG-2 bits, unshifted
        {{0x00, 0x00, 'e', 'n', 0, 0, 0, 0}, u"Stream: Audio BPS", u"16 bps"},
        {{0x00, 0x40, 'e', 'n', 0, 0, 0, 0}, u"Stream: Audio BPS", u""},  // 20-bit quantisation
        {{0x00, 0x00, 'e', 'n', 0, 0, 0, 0}, u"Stream: Audio Sample Rate", u"48Kbps"},
        {{0x00, 0x10, 'e', 'n', 0, 0, 0, 0}, u"Stream: Audio Sample Rate", u""},
        {{0x00, 0x05, 'e', 'n', 0, 0, 0, 0}, u"Stream: Audio Channels", u"6"},
        {{0x13, 0x00, 'e', 'n', 0, 0, 0, 0}, u"Stream: Karaoke", u"16"},
        {{0x13, 0x00, 'e', 'n', 0, 0, 0, 0}, u"Stream: Audio Application", u"3"},
        {{0x00, 0x00, 'd', 'e', 0, 3, 0, 0}, u"Stream: Lang Extension", u"Directors comments"},
        {{0x00, 0x00, 'd', 'e', 0, 1, 0, 0}, u"Stream: Lang Extension", u""},
        {{0x00, 0x00, 'd', 'e', 0, 0, 0, 0}, u"Stream: Language", u"German"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CStreamAttributes::Audio(c.block, 2).GetValue(c.key), c.value) << Utf8(c.key);
    const uint8_t block[8] = {};
    const CStreamAttributes audio = CStreamAttributes::Audio(block, 3);
    EXPECT_EQ(audio.GetValue(u"Stream: Type"), u"1");
    EXPECT_EQ(audio.GetValue(u"Stream: ID"), u"189");
    EXPECT_EQ(audio.GetValue(u"SubStream: ID"), u"131");
    EXPECT_EQ(audio.GetOutputId(), 0x80);
    EXPECT_EQ(audio.GetValue(u"Stream: Video Standard"), u"") << "absent keys read empty";
}

TEST(StreamAttributesTest, VideoAndSubpictureBlocks)
{
    const struct {
        uint8_t block[2];
        std::u16string standard, xres, yres, letterboxed;
    } video[] = {
        {{0x5C, 0x00}, u"NTSC", u"720", u"480", u"0"},  // PAL 16:9: the unshifted PAL test never holds
        {{0x50, 0x04}, u"4:3", u"720", u"480", u"4"},   // aspect bits 0 overwrite the standard
        {{0x5C, 0x08}, u"NTSC", u"", u"", u"0"},        // resolution bits other than 0 leave no size
    };
    for (const auto& v : video) {
        const CStreamAttributes attributes = CStreamAttributes::Video(v.block);
        EXPECT_EQ(attributes.GetValue(u"Stream: Video Standard"), v.standard);
        EXPECT_EQ(attributes.GetValue(u"Stream: Video Xres"), v.xres);
        EXPECT_EQ(attributes.GetValue(u"Stream: Video Yres"), v.yres);
        EXPECT_EQ(attributes.GetValue(u"Stream: Video Letterboxed"), v.letterboxed);
        EXPECT_EQ(attributes.GetValue(u"Stream: ID"), u"224");
        EXPECT_EQ(attributes.GetValue(u"SubStream: ID"), u"");
        EXPECT_EQ(attributes.GetOutputId(), 0xE0);
    }
    const struct {
        uint8_t extension;
        std::u16string name;
    } extensions[] = {{1, u""}, {2, u"Large"}, {6, u"Children's captions"}, {7, u""}, {8, u"Director comments"},
                      {10, u"Director comments for children"}, {11, u""}};
    for (const auto& e : extensions) {
        const uint8_t block[6] = {0x00, 0, 'f', 'r', 0, e.extension};
        const CStreamAttributes sub = CStreamAttributes::Subpicture(block, 5);
        EXPECT_EQ(sub.GetValue(u"Stream: Lang Extension"), e.name) << int(e.extension);
        EXPECT_EQ(sub.GetValue(u"Stream: Language"), u"French");
        EXPECT_EQ(sub.GetValue(u"Stream: Encoding"), u"2-bit RLE");
        EXPECT_EQ(sub.GetValue(u"SubStream: ID"), u"37");
        EXPECT_EQ(sub.GetOutputId(), 0x20);
    }
    const uint8_t coded[6] = {0x20, 0, 0, 0, 0, 0};
    EXPECT_EQ(CStreamAttributes::Subpicture(coded, 0).GetValue(u"Stream: Encoding"), u"");
}
