#include "TestSupport.h"

#include "platform/Text.h"

#include <gtest/gtest.h>

using zu::platform::AnsiCodePage;
using zu::platform::AnsiFromUtf16;
using zu::platform::Utf16FromUtf8;
using zu::platform::Utf8FromUtf16;

namespace {

const std::string kReplacementUtf8 = "\xEF\xBF\xBD";

}  // namespace

TEST(TextTest, Utf8EncodesEachWidthAtItsThresholdsAndRoundTrips)
{
    struct {
        std::u16string text;
        std::string utf8;
    } const cases[] = {
        {u"\u007F", "\x7F"},
        {u"\u0080", "\xC2\x80"},
        {u"\u00E9", "\xC3\xA9"},
        {u"\u07FF", "\xDF\xBF"},
        {u"\u0800", "\xE0\xA0\x80"},
        {u"\u20AC", "\xE2\x82\xAC"},
        {u"\uFFFF", "\xEF\xBF\xBF"},
        {u"\U00010000", "\xF0\x90\x80\x80"},
        {u"\U0001F600", "\xF0\x9F\x98\x80"},
        {u"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
        {u"Caf\u00E9 \u65E5\u672C \U0001D11E!", "Caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9D\x84\x9E!"},
        {std::u16string(u"a\0b", 3), std::string("a\0b", 3)},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Utf8FromUtf16(c.text), c.utf8) << Utf8FromUtf16(c.text);
        EXPECT_EQ(Utf16FromUtf8(c.utf8), c.text) << c.utf8;
    }
    EXPECT_EQ(Utf8FromUtf16(nullptr, 0), "");
}

TEST(TextTest, LoneSurrogatesBecomeTheReplacementCharacter)
{
    const std::u16string loneHigh(1, char16_t(0xD83D));
    const std::u16string loneLow(1, char16_t(0xDE00));
    const std::string smiley = "\xF0\x9F\x98\x80";
    EXPECT_EQ(Utf8FromUtf16(loneHigh), kReplacementUtf8);
    EXPECT_EQ(Utf8FromUtf16(u"a" + loneLow + u"b"), "a" + kReplacementUtf8 + "b");
    EXPECT_EQ(Utf8FromUtf16(u"a" + loneHigh), "a" + kReplacementUtf8) << "a high surrogate at the very end";
    EXPECT_EQ(Utf8FromUtf16(loneLow + loneHigh), kReplacementUtf8 + kReplacementUtf8) << "a pair in the wrong order";
    EXPECT_EQ(Utf8FromUtf16(loneHigh + u"\U0001F600"), kReplacementUtf8 + smiley)
        << "a high surrogate followed by a whole pair";
    EXPECT_EQ(Utf8FromUtf16(u"\U0001F600" + loneLow), smiley + kReplacementUtf8);
    // A length that cuts a pair in half leaves a lone high surrogate.
    const std::u16string pair = u"\U0001F600";
    EXPECT_EQ(Utf8FromUtf16(pair.data(), 1), kReplacementUtf8);

    EXPECT_EQ(Utf16FromUtf8(Utf8FromUtf16(u"x" + loneLow + loneHigh)), u"x\uFFFD\uFFFD")
        << "what comes out is valid UTF-8 again";
}

TEST(TextTest, MalformedUtf8BecomesTheReplacementCharacter)
{
    struct {
        std::string utf8;
        std::u16string text;
        const char* why;
    } const cases[] = {
        {"\x80", u"\uFFFD", "continuation byte without a lead"},
        {"a\xBF\xBFz", u"a\uFFFD\uFFFDz", "two stray continuation bytes"},
        {"\xE2\x82", u"\uFFFD", "sequence cut by the end of the text"},
        {"\xE2\x82" "A", u"\uFFFDA", "sequence cut by an ASCII byte, which survives"},
        {"\xF0\x9F\x98" "\xC3\xA9", u"\uFFFD\u00E9", "cut sequence followed by a valid one"},
        {"\xC0\xAF", u"\uFFFD", "overlong slash"},
        {"\xE0\x80\x80", u"\uFFFD", "overlong zero in three bytes"},
        {"\xF0\x8F\xBF\xBF", u"\uFFFD", "overlong U+FFFF in four bytes"},
        {"\xED\xA0\x80", u"\uFFFD", "encoded high surrogate"},
        {"\xED\xBF\xBF", u"\uFFFD", "encoded low surrogate"},
        {"\xF4\x90\x80\x80", u"\uFFFD", "above U+10FFFF"},
        {"\xF8\x88\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD", "five-byte form"},
        {"\xFF" "a", u"\uFFFDa", "byte never used in UTF-8"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Utf16FromUtf8(c.utf8), c.text) << c.why;
}

// Expectations of Windows-1252, the ANSI code page of Western systems (and of Wine in an English
// locale). Elsewhere the bytes differ by design, so the test says which code page it met.
TEST(TextTest, AnsiConversionUsesTheWesternCodePage)
{
    if (AnsiCodePage() != 1252)
        GTEST_SKIP() << "needs Windows-1252 as the system's ANSI code page; this system uses " << AnsiCodePage();

    EXPECT_EQ(AnsiFromUtf16(u"caf\u00E9"), "caf\xE9") << "an accented Latin letter is one byte";
    EXPECT_EQ(AnsiFromUtf16(u"\u00FF\u00A0"), "\xFF\xA0");
    EXPECT_EQ(AnsiFromUtf16(u"\u20AC\u0152\u2122\u0178"), "\x80\x8C\x99\x9F") << "the letters Latin-1 lacks";
    EXPECT_EQ(AnsiFromUtf16(u"\u0081\u008D\u008F\u0090\u009D"), "\x81\x8D\x8F\x90\x9D")
        << "unassigned positions carry the C1 controls of the same value";
    EXPECT_EQ(AnsiFromUtf16(u"\u0080\u009F"), "??") << "other C1 controls have no byte";
    EXPECT_EQ(AnsiFromUtf16(u"\u4E2D"), "?");
    EXPECT_EQ(AnsiFromUtf16(u"\u0100\u221E\uFF0F"), "???") << "no best-fit look-alikes (A, 8, /)";
    EXPECT_EQ(AnsiFromUtf16(u"<\U0001F600>"), "<?" "?>") << "each half of a pair is one unit without a byte";
    EXPECT_EQ(AnsiFromUtf16(std::u16string(1, char16_t(0xDC00)) + u"a"), "?a");
    EXPECT_EQ(AnsiFromUtf16(u""), "");
}
