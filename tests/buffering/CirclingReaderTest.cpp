#include "TestSupport.h"

#include "buffering/CirclingReader.h"
#include "core/Log.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <thread>

using namespace zutest;
using zu::CLog;

namespace {

class CirclingReaderTest : public testing::Test {
protected:
    void SetUp() override
    {
        // A file, which refuses a seek to -1 (a memory reader clamps it).
        WriteFile(m_Folder.File(u"loop.bin"), m_Bytes);
        m_pReader.reset(ZUReaderCast<VCirclingReader>(GetCirclingReader(GetLocalReader(Z(m_Folder.File(u"loop.bin"))))));
        ASSERT_EQ(m_pReader->Open(), 1);
        m_nListener = CLog::Get()->AddListener(zu::LOG_READER);
    }
    void TearDown() override { CLog::Get()->RemoveListener(m_nListener); }
    std::string ReadBytes(uint32_t nCount) { return ReadUpTo(*m_pReader, nCount); }

    // How many logged lines carry the text: the log is where a wrap's seek shows.
    int LoggedLines(const std::u16string& text)
    {
        int nFound = 0;
        for (const std::u16string& line : CLog::Get()->DrainListener(m_nListener))
            nFound += line.find(text) != std::u16string::npos;
        return nFound;
    }

    CTempFolder m_Folder;
    const std::string m_Bytes = PatternBytes(1000);
    std::unique_ptr<VCirclingReader> m_pReader;
    int m_nListener = 0;
};

}  // namespace

TEST_F(CirclingReaderTest, ReadAtTheEndGoesOnFromTheRestartPositionOncePerCall)
{
    m_pReader->SetCircling(true);
    m_pReader->SetRestartPosition(0);
    ASSERT_EQ(m_pReader->SetPosition(970, ZU_SEEK_BEGIN), 970);
    EXPECT_EQ(ReadBytes(100), m_Bytes.substr(970) + m_Bytes.substr(0, 70));
    EXPECT_EQ(m_pReader->GetPosition(), 70) << "positions are the child's own";
    EXPECT_EQ(LoggedLines(u"Seeking to 0"), 1);

    EXPECT_EQ(ReadBytes(2500), m_Bytes.substr(70) + m_Bytes) << "one wrap per request, however large";
    EXPECT_EQ(m_pReader->GetPosition(), 1000);

    m_pReader->SetRestartPosition(200);
    EXPECT_EQ(ReadBytes(10), m_Bytes.substr(200, 10)) << "a read at the very end wraps at once";
    EXPECT_EQ(LoggedLines(u"Seeking to 200"), 1);
}

TEST_F(CirclingReaderTest, WithoutCirclingOrRestartPositionTheChildsEndStands)
{
    ASSERT_EQ(m_pReader->SetPosition(970, ZU_SEEK_BEGIN), 970);
    EXPECT_EQ(ReadBytes(100), m_Bytes.substr(970)) << "circling off: a short read as the child gives it";
    EXPECT_EQ(ReadBytes(100), "");

    m_pReader->SetCircling(true);  // restart position still -1, which the child refuses
    EXPECT_EQ(ReadBytes(100), "");
    EXPECT_EQ(LoggedLines(u"Seeking to -1"), 1);
    EXPECT_EQ(m_pReader->GetPosition(), 1000);
}

TEST_F(CirclingReaderTest, EndOfStreamPositionCapsReadsAcrossTheWrap)
{
    m_pReader->SetCircling(true);
    m_pReader->SetRestartPosition(0);
    ASSERT_EQ(m_pReader->SetPosition(100, ZU_SEEK_BEGIN), 100);
    m_pReader->SetEndOfStreamPosition(100);
    EXPECT_EQ(ReadBytes(50), "") << "at the end of the stream: nothing, and no wrap";
    EXPECT_EQ(LoggedLines(u"Seeking to"), 0);

    m_pReader->SetEndOfStreamPosition(150);
    EXPECT_EQ(ReadBytes(100), m_Bytes.substr(100, 50));
    EXPECT_EQ(ReadBytes(100), "");

    // Behind the position: the rest of this lap and the next lap up to 50.
    ASSERT_EQ(m_pReader->SetPosition(900, ZU_SEEK_BEGIN), 900);
    m_pReader->SetEndOfStreamPosition(50);
    EXPECT_EQ(ReadBytes(1000), m_Bytes.substr(900) + m_Bytes.substr(0, 50));
    EXPECT_EQ(ReadBytes(1000), "");

    m_pReader->SetEndOfStreamPosition(-1);
    EXPECT_EQ(ReadBytes(20), m_Bytes.substr(50, 20)) << "-1 lifts the cap";

    // Distances past 64 bits (an end at the very edge, a restart position far below zero) lift the
    // cap too, rather than overflow.
    const int64_t nMax = std::numeric_limits<int64_t>::max();
    m_pReader->SetEndOfStreamPosition(nMax);
    EXPECT_EQ(ReadBytes(20), m_Bytes.substr(70, 20));
    m_pReader->SetRestartPosition(std::numeric_limits<int64_t>::min());
    m_pReader->SetEndOfStreamPosition(10);
    EXPECT_EQ(ReadBytes(20), m_Bytes.substr(90, 20));
    m_pReader->Close();  // the child's position unknown (-1)
    m_pReader->SetEndOfStreamPosition(nMax);
    EXPECT_EQ(ReadBytes(20), "");
}

// The end-of-stream position is the one setting another thread may move while reads run.
TEST_F(CirclingReaderTest, EndOfStreamMovedConcurrentlyWithReads)
{
    m_pReader->SetCircling(true);
    m_pReader->SetRestartPosition(0);
    std::atomic<bool> bStop{false};
    std::thread mover([&] {
        for (int64_t n = 0; !bStop; n = (n + 37) % 1000)
            m_pReader->SetEndOfStreamPosition(n);
    });
    const std::string twice = m_Bytes + m_Bytes;
    for (int i = 0; i < 2000; ++i) {
        const int64_t nStart = m_pReader->GetPosition();
        const std::string got = ReadBytes(333);
        ASSERT_EQ(got, twice.substr(nStart, got.size())) << "read " << i << " from " << nStart;
    }
    bStop = true;
    mover.join();
}
