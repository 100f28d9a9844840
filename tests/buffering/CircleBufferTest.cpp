#include "TestSupport.h"

#include "buffering/CircleBuffer.h"
#include "platform/File.h"
#include "platform/System.h"
#include "platform/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <random>
#include <thread>
#include <vector>

using namespace zutest;
using zu::platform::FileSizeByName;

namespace {

std::string ReadOut(CCircleBuffer& ring, uint32_t nCount)
{
    std::string bytes(nCount, '\0');
    bytes.resize(ring.Read(bytes.data(), nCount));
    return bytes;
}

std::string PeekAt(CCircleBuffer& ring, uint32_t nCount, uint32_t nOffset)
{
    std::string bytes(nCount, '\0');
    bytes.resize(ring.Peek(bytes.data(), nCount, nOffset));
    return bytes;
}

void WriteIn(CCircleBuffer& ring, const std::string& bytes)
{
    ASSERT_EQ(ring.Write(bytes.data(), static_cast<uint32_t>(bytes.size())), bytes.size());
}

class CircleBufferTest : public testing::TestWithParam<bool> {
protected:
    bool FileBacked() const { return GetParam(); }
};

}  // namespace

TEST_P(CircleBufferTest, HoldsCapacityLessOneAndSplitsTransfersAtTheEnd)
{
    CCircleBuffer ring(10, true, FileBacked());
    ASSERT_TRUE(ring.HasMemory());
    EXPECT_EQ(ring.GetFree(), 9u) << "one byte always stays empty";

    WriteIn(ring, "abcdefg");
    EXPECT_EQ(ReadOut(ring, 5), "abcde");
    WriteIn(ring, "012345");  // indices 7..9 then 0..2
    EXPECT_EQ(ring.GetUsed(), 8u);
    EXPECT_EQ(ring.GetFree(), 1u);
    EXPECT_EQ(PeekAt(ring, 4, 1), "g012") << "a peek crosses the end without moving";
    EXPECT_EQ(PeekAt(ring, 3, 5), "345") << "a peek may start after the end";
    EXPECT_EQ(ReadOut(ring, 8), "fg012345");

    WriteIn(ring, "XYZUVWRST");  // fills the ring: starts at index 3, wraps to 2
    EXPECT_EQ(ring.GetFree(), 0u);
    EXPECT_EQ(ReadOut(ring, 9), "XYZUVWRST");

    EXPECT_EQ(ring.Read(nullptr, 3), 0u);
    EXPECT_EQ(ring.Write(nullptr, 3), 0u);
    EXPECT_EQ(ring.GetUsed(), 0u) << "null transfers move nothing";
}

// One producer and one consumer with uneven transfers (the capacity is prime, so they meet the end
// at every offset), each making its query and its transfer one step, as the read-ahead worker and
// its reader do.
TEST_P(CircleBufferTest, WriterAndReaderThreadsPassEveryByteInOrder)
{
    CCircleBuffer ring(4099, true, FileBacked());
    ASSERT_TRUE(ring.HasMemory());
    const std::string input = PatternBytes(4 << 20, 11);
    std::string output;
    output.reserve(input.size());
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    std::atomic<bool> bTimedOut{false};
    std::thread writer([&] {
        std::mt19937 random(1);
        for (size_t nDone = 0; nDone < input.size() && !bTimedOut;) {
            const uint32_t nWanted = std::min<uint32_t>(1 + random() % 3000, static_cast<uint32_t>(input.size() - nDone));
            const uint32_t n = std::min(ring.GetFree(false), nWanted);
            nDone += ring.Write(input.data() + nDone, n);
            if (n == 0)
                std::this_thread::yield();
        }
    });
    std::mt19937 random(2);
    std::string chunk;
    while (output.size() < input.size() && !(bTimedOut = std::chrono::steady_clock::now() > deadline)) {
        chunk.resize(1 + random() % 3000);
        const uint32_t n = std::min(ring.GetUsed(false), static_cast<uint32_t>(chunk.size()));
        output.append(chunk.data(), ring.Read(chunk.data(), n));
        if (n == 0)
            std::this_thread::yield();
    }
    writer.join();
    ASSERT_FALSE(bTimedOut);
    EXPECT_TRUE(output == input);
    EXPECT_EQ(ring.GetTotalWritten(), input.size());
}

INSTANTIATE_TEST_SUITE_P(Backing, CircleBufferTest, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& info) { return info.param ? "File" : "Heap"; });

TEST(CircleBufferIndexTest, SpaceFilledInPlaceStopsAtTheEndOfMemoryAndIsOutOfARewindsReach)
{
    CCircleBuffer ring(16, true, false);
    WriteIn(ring, "ABCDEFGHIJKL");
    EXPECT_EQ(ReadOut(ring, 12), "ABCDEFGHIJKL");
    uint32_t nSpace = 0;
    unsigned char* pSpace = ring.BeginWrite(100, nSpace);
    ASSERT_NE(pSpace, nullptr);
    EXPECT_EQ(nSpace, 4u) << "up to the end of the memory, not across it";
    EXPECT_EQ(ring.GetRewindable(), 15u - nSpace);
    ring.Rewind(100);
    EXPECT_EQ(ring.GetUsed(), 11u) << "the step back stops short of the space being filled";
    EXPECT_EQ(ReadOut(ring, 11), "BCDEFGHIJKL") << "what the filler is overwriting is not handed out";
    std::copy_n("wxyz", 3, pSpace);
    ring.CommitWrite(3);
    EXPECT_EQ(ring.GetUsed(), 3u) << "only the bytes committed count";
    EXPECT_EQ(ReadOut(ring, 3), "wxy");
    EXPECT_EQ(ring.GetRewindable(), 15u);

    pSpace = ring.BeginWrite(2, nSpace);
    ASSERT_NE(pSpace, nullptr);
    EXPECT_EQ(nSpace, 1u) << "one byte left before the end of the memory";
    ring.CommitWrite(5);
    EXPECT_EQ(ring.GetUsed(), 1u) << "no more committed than was given";
}

TEST(CircleBufferIndexTest, RewindAndSkipStayWithinWhatTheRingStillHolds)
{
    CCircleBuffer ring(16, true, false);
    WriteIn(ring, "ABCDEFGHIJ");
    EXPECT_EQ(ReadOut(ring, 10), "ABCDEFGHIJ");
    ring.Rewind(4);
    EXPECT_EQ(ring.GetUsed(), 4u);
    EXPECT_EQ(ReadOut(ring, 4), "GHIJ") << "bytes already read come back";

    WriteIn(ring, "vwxyz");  // used 5, free 10
    ring.Rewind(100);
    EXPECT_EQ(ring.GetUsed(), 15u) << "never further back than the free space";
    EXPECT_EQ(ReadOut(ring, 15), "ABCDEFGHIJvwxyz");
    ring.Rewind(0);
    ring.Rewind(-3);
    EXPECT_EQ(ring.GetUsed(), 0u) << "no step back for 0 or less";

    // The write index is at 15: the ring ends exactly here, so the next bytes wrap.
    WriteIn(ring, "012345");
    ring.Skip(4);
    EXPECT_EQ(ring.GetUsed(), 2u);
    EXPECT_EQ(PeekAt(ring, 2, 0), "45");
    ring.Skip(-1);
    ring.Skip(0);
    EXPECT_EQ(ring.GetUsed(), 2u);
    ring.Skip(100);
    EXPECT_EQ(ring.GetUsed(), 0u) << "never past the bytes held";
    ring.Rewind(2);
    EXPECT_EQ(ReadOut(ring, 2), "45") << "a rewind across the end of the memory";
}

// Links planted at the names a ring's file could be foreseen to take (the thread's own, then
// numbered) are neither followed nor truncated: not one to a file that exists, and not one to a
// name where nothing is yet (through which a file would be made where the planter chose). The
// ring's file is new, private and removed.
TEST(CircleBufferFileTest, TemporaryFileTakesANameNobodyCouldPlantAndIsRemoved)
{
    CTempFolder folder;
    const CScopedTempFolder temp(folder.Path());
    const std::u16string stem =
        folder.Path() + u"Circle Buffer - " + zu::platform::Utf16FromUtf8(std::to_string(zu::platform::CurrentThreadId()));
    const std::string precious = "somebody else's file";
    WriteFile(folder.File(u"victim"), precious);
    // Where the system makes no links (Wine) the names are still checked.
    std::vector<std::u16string> links;
    const std::u16string planted = folder.File(u"planted");
    for (const std::u16string& link : {stem + u".dat", stem + u" (1).dat", stem + u" (2).dat"}) {
        if (MakeSymbolicLink(links.empty() ? planted : folder.File(u"victim"), link))
            links.push_back(link);
    }
    std::u16string firstPath;
    std::u16string secondPath;
    {
        CCircleBuffer first(4096, true, true);
        CCircleBuffer second(4096, true, true);
        firstPath = first.GetPath();
        secondPath = second.GetPath();
        ASSERT_TRUE(first.HasMemory() && second.HasMemory());
        EXPECT_EQ(firstPath.substr(0, stem.size() + 2), stem + u" (");
        EXPECT_NE(secondPath, firstPath);
        for (const std::u16string& path : {firstPath, secondPath}) {
            EXPECT_FALSE(IsSymbolicLink(path)) << Utf8(path);
            EXPECT_EQ(FileSizeByName(path), 4096) << Utf8(path);
            if (!RunningOnWindows()) {
                EXPECT_EQ(std::filesystem::status(std::filesystem::path(path)).permissions() & std::filesystem::perms::all,
                          std::filesystem::perms::owner_read | std::filesystem::perms::owner_write)
                    << "only its owner may read the read-ahead data";
            }
        }
        WriteIn(first, "some bytes");
    }
    EXPECT_EQ(ReadFile(folder.File(u"victim")), precious) << "a planted link was followed";
    EXPECT_EQ(FileSizeByName(planted), -1) << "a file was made through a planted link";
    for (const std::u16string& link : links)
        EXPECT_TRUE(IsSymbolicLink(link)) << Utf8(link);
    EXPECT_EQ(FileSizeByName(firstPath), -1);
    EXPECT_EQ(FileSizeByName(secondPath), -1);
}

// The file a ring that never wrapped leaves behind is the read-ahead reader's test.
TEST(CircleBufferFileTest, CallerNamedFileOfAWrappedRingIsLeftWhole)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"rip.vob");
    const std::string stream = PatternBytes(1500, 3);
    {
        CCircleBuffer ring(1000, true, true, path);
        WriteIn(ring, stream.substr(0, 900));
        ring.Skip(900);
        WriteIn(ring, stream.substr(900));
    }
    const std::string kept = ReadFile(path);
    ASSERT_EQ(kept.size(), 1000u) << "a wrapped ring wrote more than its length: nothing is cut";
    EXPECT_TRUE(kept.substr(0, 500) == stream.substr(1000) && kept.substr(500) == stream.substr(500, 500));
}

TEST(CircleBufferConcurrencyTest, QueryKeepsOtherThreadsOutUntilItsTransfer)
{
    CCircleBuffer ring(64, true, false);
    WriteIn(ring, "abc");
    ASSERT_EQ(ring.GetUsed(false), 3u);
    std::atomic<bool> bWriterDone{false};
    std::thread writer([&] {
        ring.Write("def", 3);
        bWriterDone = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(bWriterDone) << "the writer waits for the lock the query kept";
    EXPECT_EQ(ReadOut(ring, 3), "abc");
    writer.join();
    EXPECT_TRUE(bWriterDone);
    EXPECT_EQ(ReadOut(ring, 3), "def") << "a transfer without a query takes the lock itself";
}
