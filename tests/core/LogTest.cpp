#include "TestSupport.h"

#include "core/FunctionLog.h"
#include "core/LocalReader.h"
#include "host/Settings.h"

#include <gtest/gtest.h>

#include <regex>

using namespace zutest;
using zu::CFunctionLog;
using zu::CLog;

namespace {

class LogTest : public testing::Test {
protected:
    void SetUp() override { m_pHome = std::make_unique<CScopedHome>(); }

    void TearDown() override
    {
        for (int nListener : m_Listeners)
            CLog::Get()->RemoveListener(nListener);
        m_pHome.reset();
        CLog::Get()->Reload();  // back to the run's own (silent) settings
    }

    void Configure(const char16_t* pszType, uint32_t bFile, uint32_t bDebugStrings)
    {
        if (pszType)
            zu::host::CSettings::WriteText(u"Debug", u"Type", pszType);
        zu::host::CSettings::WriteNumber(u"Debug", u"File", bFile);
        zu::host::CSettings::WriteNumber(u"Debug", u"Debug Strings", bDebugStrings);
        CLog::Get()->Reload();
    }

    int Listen(uint32_t nMask)
    {
        m_Listeners.push_back(CLog::Get()->AddListener(nMask));
        return m_Listeners.back();
    }

    std::string LogFileBytes() const { return ReadFile(m_pHome->Path() + u"Log.txt"); }

    std::unique_ptr<CScopedHome> m_pHome;
    std::vector<int> m_Listeners;
};

// UTF-16LE bytes to text; fails the test on an odd byte count.
std::u16string FromUtf16Le(const std::string& bytes)
{
    EXPECT_EQ(bytes.size() % 2, 0u);
    std::u16string text;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2)
        text += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                      (static_cast<unsigned char>(bytes[i + 1]) << 8));
    return text;
}

}  // namespace

TEST_F(LogTest, FileGetsByteOrderMarkHeaderAndWellFormedLines)
{
    Configure(u"8", 1, 0);
    EXPECT_EQ(CLog::Get()->GetPath(), m_pHome->Path() + u"Log.txt");
    {
        CFunctionLog log(zu::LOG_READER, u"CProbe::Timed", true);
        log.Log(u"value %d and text %s", 42, u"Grüße \U0001F3B5");
        log.Log(0, u"switched off %d", 1);
    }
    zu::Log(zu::LOG_PLAYBACK, u"CProbe::Other", u"not in the mask");

    const std::string bytes = LogFileBytes();
    ASSERT_GE(bytes.size(), 2u);
    EXPECT_EQ(bytes.substr(0, 2), std::string("\xFF\xFE", 2));
    const std::string text = Utf8(FromUtf16Le(bytes.substr(2)));
    const std::string header = "Quillbox; Version: ";
    ASSERT_EQ(text.compare(0, header.size(), header), 0) << text;
    EXPECT_NE(text.find("; Types: 8\r\n"), std::string::npos);

    const std::regex line(R"(\d{7}: \d+: Reader: CProbe::Timed: (Start|value 42 and text Grüße 🎵|Finish \(\d+ ms\))\r\n)");
    std::string body = text.substr(text.find("\r\n") + 2);
    int nLines = 0;
    for (std::smatch match; std::regex_search(body, match, line, std::regex_constants::match_continuous); ++nLines)
        body = match.suffix();
    EXPECT_EQ(nLines, 3);
    EXPECT_EQ(body, "") << "nothing else: no switched-off line, no line outside the mask";

    // A later line is appended without a second mark or header.
    zu::Log(zu::LOG_READER, u"CProbe::Again", u"more");
    const std::string after = LogFileBytes();
    EXPECT_EQ(after.compare(0, bytes.size(), bytes), 0);
    EXPECT_EQ(after.find(std::string("\xFF\xFE", 2), 2), std::string::npos);
}

TEST_F(LogTest, NothingIsFormattedWhenNothingListens)
{
    Configure(nullptr, 0, 0);
    EXPECT_EQ(CLog::Get()->GetMask(), CLog::kDefaultMask) << "no Type means every category";
    const uint64_t nBefore = zu::FormatCallCount();
    for (int i = 0; i < 100; ++i) {
        CFunctionLog log(zu::LOG_READER, u"CProbe::Hot", true);
        log.Log(u"%d %s", i, u"text");
    }
    EXPECT_EQ(zu::FormatCallCount(), nBefore);

    // File on, but the category outside the mask: still nothing formatted.
    Configure(u"1", 1, 0);
    const uint64_t nMasked = zu::FormatCallCount();
    zu::Log(zu::LOG_READER, u"CProbe::Masked", u"%d", 1);
    EXPECT_EQ(zu::FormatCallCount(), nMasked);
    EXPECT_EQ(LogFileBytes(), "");

    // A listener makes lines of its categories real, whatever the flags.
    const int nListener = Listen(zu::LOG_READER);
    zu::Log(zu::LOG_READER, u"CProbe::Heard", u"%d", 7);
    zu::Log(zu::LOG_TV, u"CProbe::NotHeard", u"%d", 8);
    const auto lines = CLog::Get()->DrainListener(nListener);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(Utf8(lines[0]).find(": Reader: CProbe::Heard: 7\r\n"), std::string::npos);
    EXPECT_TRUE(CLog::Get()->DrainListener(nListener).empty()) << "draining empties the list";
}

TEST_F(LogTest, LinesAreCappedAndTerminatedOnce)
{
    Configure(nullptr, 0, 0);
    const int nListener = Listen(0xFFFFFFFF);
    auto lineFor = [&](const std::u16string& message) {
        zu::Log(zu::LOG_GENERAL, u"C::M", u"%s", message);
        const auto lines = CLog::Get()->DrainListener(nListener);
        EXPECT_EQ(lines.size(), 1u);
        return lines.empty() ? std::u16string() : lines[0];
    };
    const size_t nPrefix = lineFor(u"").size() - 2;

    const std::u16string exact = lineFor(std::u16string(4096 - nPrefix, u'a'));
    EXPECT_EQ(exact.size(), 4098u);
    EXPECT_EQ(exact.substr(4096), u"\r\n");

    const std::u16string cut = lineFor(std::u16string(4097 - nPrefix, u'b'));
    const std::u16string marker = u"\r\n........................\r\n";
    EXPECT_EQ(cut.size(), 4096 + marker.size());
    EXPECT_EQ(cut.substr(4096), marker);

    EXPECT_EQ(lineFor(u"ends itself\n").substr(nPrefix), u"ends itself\n");
    EXPECT_EQ(lineFor(u"plain").substr(nPrefix), u"plain\r\n");
}

TEST_F(LogTest, CategoryNamesFollowTheLowestListedBit)
{
    EXPECT_EQ(std::u16string(CLog::CategoryName(0x9)), u"General");
    EXPECT_EQ(std::u16string(CLog::CategoryName(0x8)), u"Reader");
    EXPECT_EQ(std::u16string(CLog::CategoryName(0x400 | 0x800)), u"Sharing Plugins");
    EXPECT_EQ(std::u16string(CLog::CategoryName(0x2000)), u"Podcast");
    EXPECT_EQ(std::u16string(CLog::CategoryName(0)), u"Unknown");
    EXPECT_EQ(std::u16string(CLog::CategoryName(0x4000)), u"Unknown");
}

TEST_F(LogTest, LocalReaderLogsItsScopesButNotItsSwitchedOffMessages)
{
    Configure(nullptr, 0, 0);
    const int nListener = Listen(zu::LOG_READER);
    CTempFolder folder;
    WriteFile(folder.File(u"f.bin"), "abc");
    CReaderPtr reader(GetLocalReader(Z(folder.File(u"f.bin"))));
    ASSERT_EQ(reader->Open(), 1);
    reader->SetEndOfFile();
    reader->Close();
    std::string all;
    for (const auto& line : CLog::Get()->DrainListener(nListener))
        all += Utf8(line);
    EXPECT_NE(all.find("CLocalReader::SetEndOfFile: Start"), std::string::npos) << all;
    EXPECT_NE(all.find("CLocalReader::SetEndOfFile: Finish ("), std::string::npos) << all;
    EXPECT_EQ(all.find("Opening"), std::string::npos);
    EXPECT_EQ(all.find("Closing"), std::string::npos);
}

TEST(FormatTest, ConversionsWidthsAndMismatchedArguments)
{
    EXPECT_EQ(zu::Format(u"%07d|%d|%u|%x|%X|%5s|%-5s|%.2f|%%", 42, -3, 7u, 255, 255, u"ab", "cd", 2.5),
              u"0000042|-3|7|ff|FF|   ab|cd   |2.50|%");
    EXPECT_EQ(zu::Format(u"%I64d %lld %ld", -5LL, 1LL << 40, 9L), u"-5 1099511627776 9");
    EXPECT_EQ(zu::Format(u"%s and %d", 12, u"text"), u"12 and 0") << "a mismatch prints, it never crashes";
    EXPECT_EQ(zu::Format(u"%d %d", 1), u"1 ") << "a missing argument prints nothing";
    EXPECT_EQ(zu::Format(u"%s", static_cast<const char16_t*>(nullptr)), u"(null)");
}
