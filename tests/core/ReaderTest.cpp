#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace zutest;

namespace {

// The smallest concrete reader: only what the interface requires, so the base behaviour shows.
class CBareReader : public VReader {
public:
    ZUBOOL Open() override { return m_bOpen = 1; }
    void Close() override { m_bOpen = 0; }
    uint32_t Read(void*, uint32_t) override { return 0; }
    uint32_t Write(const void*, uint32_t) override { return 0; }
    int64_t GetLength() override { return -1; }
    int64_t GetPosition() override { return -1; }
    int64_t SetPosition(int64_t, uint32_t) override { return -1; }
    ZUBOOL SetEndOfFile() override { return 0; }
    ZUBOOL IsLengthUnknown() override { return 1; }
    ZUBOOL IsRemote() override { return 0; }
    ZUBOOL IsOpen() override { return m_bOpen; }
    ZUBOOL IsReadOnly() override { return 1; }

    std::u16string Option(const std::u16string& key) const { return GetOption(key); }
    bool Flag(const std::u16string& key) const { return GetOptionFlag(key); }
    size_t OptionCount() const { return m_Options.size(); }
};

}  // namespace

TEST(ReaderTest, OptionsParseInPairsAndTheLastValueWins)
{
    CBareReader reader;
    reader.SetOptions(Z(u"READ_ONLY|1|USER_AGENT|Agent/1.0 (x|y"));
    EXPECT_EQ(reader.Option(u"READ_ONLY"), u"1");
    EXPECT_EQ(reader.Option(u"USER_AGENT"), u"Agent/1.0 (x") << "a value cannot hold the separator";
    EXPECT_EQ(reader.OptionCount(), 2u) << "the odd last field is ignored";

    reader.SetOptions(Z(u"READ_ONLY|0"));
    reader.SetOption(Z(u"NO_REDIRECT"), Z(u"1"));
    reader.SetOption(Z(u"NO_REDIRECT"), Z(u"2"));
    EXPECT_EQ(reader.Option(u"READ_ONLY"), u"0");
    EXPECT_EQ(reader.Option(u"NO_REDIRECT"), u"2");
    EXPECT_EQ(reader.Option(u"read_only"), u"") << "keys compare exactly";

    reader.SetOptions(nullptr);
    reader.SetOption(nullptr, Z(u"x"));
    reader.SetOption(Z(u"NULLVALUE"), nullptr);
    EXPECT_EQ(reader.Option(u"NULLVALUE"), u"");

    ZUBSTR info = reader.GetInfo(Z(u"Location"));
    ASSERT_NE(info, nullptr) << "an unknown item is an empty text, not a null one";
    EXPECT_EQ(info[0], 0);
    ZUFreeString(info);
}

TEST(ReaderTest, FlagOptionsReadTheIntegerValue)
{
    CBareReader reader;
    reader.SetOptions(Z(u"A|1|B|0|C|12|D| 3|E|-1|F|yes|G|00|H|0x1"));
    for (const char16_t* pszKey : {u"A", u"C", u"D", u"E"})
        EXPECT_TRUE(reader.Flag(pszKey)) << Utf8(pszKey);
    for (const char16_t* pszKey : {u"B", u"F", u"G", u"H", u"ABSENT"})
        EXPECT_FALSE(reader.Flag(pszKey)) << Utf8(pszKey) << ": 0x1, yes and 00 have the integer value 0";
}
