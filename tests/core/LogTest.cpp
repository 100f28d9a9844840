#include "TestSupport.h"

#include "core/FunctionLog.h"
#include "host/Settings.h"
#include "platform/System.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <regex>
#include <thread>

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

    void Configure(const char16_t* pszType, uint32_t bFile)
    {
        if (pszType)
            zu::host::CSettings::WriteText(u"Debug", u"Type", pszType);
        zu::host::CSettings::WriteNumber(u"Debug", u"File", bFile);
        zu::host::CSettings::WriteNumber(u"Debug", u"Debug Strings", 0);
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

}  // namespace

TEST_F(LogTest, FileGetsByteOrderMarkHeaderAndWellFormedLines)
{
    Configure(u"8", 1);
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
    ASSERT_EQ(bytes.size() % 2, 0u);
    std::u16string units((bytes.size() - 2) / 2, u'\0');  // both builds run on little-endian machines
    memcpy(&units[0], bytes.data() + 2, units.size() * 2);
    const std::string text = Utf8(units);
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
    Configure(nullptr, 0);
    const uint64_t nBefore = zu::FormatCallCount();
    for (int i = 0; i < 100; ++i) {
        CFunctionLog log(zu::LOG_READER, u"CProbe::Hot", true);
        log.Log(u"%d %s", i, u"text");
    }
    EXPECT_EQ(zu::FormatCallCount(), nBefore);

    // File on, but the category outside the mask: still nothing formatted.
    Configure(u"1", 1);
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
    Configure(nullptr, 0);
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

class LogConcurrencyTest : public LogTest {};

// The log file is a named pipe nobody reads, so a writer waits inside the log's write path, as a
// worker killed there would for ever. Another thread's line, for a listener only, must not wait
// for it: the write path holds no lock (before, it held the log's one lock across the file's open).
TEST_F(LogConcurrencyTest, AWriterStuckInTheFileHoldsNoOtherThreadUp)
{
    const std::u16string path = m_pHome->Path() + u"Log.txt";
    if (!MakeNamedPipe(path))
        GTEST_SKIP() << "no named pipes on this system";
    Configure(u"2048", 1);  // TV lines go to the file; General ones only to the listener below
    const int nListener = Listen(zu::LOG_GENERAL);
    std::thread stuck([] { zu::Log(zu::LOG_TV, u"CProbe::Stuck", u"into the pipe"); });
    zu::platform::SleepMilliseconds(100);
    std::atomic<bool> bPassed{false};
    std::thread other([&] {
        zu::Log(zu::LOG_GENERAL, u"CProbe::Other", u"past it");
        bPassed = true;
    });
    const uint32_t nStart = zu::platform::TickCount();
    while (!bPassed && zu::platform::TickCount() - nStart < 2000)
        zu::platform::SleepMilliseconds(5);
    EXPECT_TRUE(bPassed) << "a line waited for another thread's write";
    const std::string piped = ReadFile(path);  // lets the stuck writer go
    stuck.join();
    other.join();
    std::u16string units(piped.size() / 2, u'\0');  // both builds run on little-endian machines
    memcpy(&units[0], piped.data(), units.size() * 2);
    EXPECT_NE(Utf8(units).find("CProbe::Stuck: into the pipe\r\n"), std::string::npos) << "the stuck line came out";
    const auto lines = CLog::Get()->DrainListener(nListener);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(Utf8(lines[0]).find("CProbe::Other: past it"), std::string::npos);
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
