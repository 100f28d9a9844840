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

    EXPECT_EQ(ring.Write("0123456789AB", 12), 9u) << "a write takes what there is room for";
    EXPECT_EQ(ring.Write("C", 1), 0u);
    EXPECT_EQ(ReadOut(ring, 20), "012345678") << "a read takes what is held";
    EXPECT_EQ(PeekAt(ring, 3, 0), "") << "nothing to peek at in an empty ring";

    WriteIn(ring, "xyz");
    EXPECT_EQ(PeekAt(ring, 5, 1), "yz") << "a peek stops at the bytes held";
    EXPECT_EQ(ring.Read(nullptr, 3), 0u);
    EXPECT_EQ(ring.Write(nullptr, 3), 0u);
    EXPECT_EQ(ring.GetUsed(), 3u) << "null transfers move nothing";
}

// One producer and one consumer with uneven transfers (the capacity is prime, so they meet the end
// at every offset), each transfer taking what there is room for or what is held.
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
            const uint32_t n = ring.Write(input.data() + nDone, nWanted);
            nDone += n;
            if (n == 0)
                std::this_thread::yield();
        }
    });
    std::mt19937 random(2);
    std::string chunk;
    while (output.size() < input.size() && !(bTimedOut = std::chrono::steady_clock::now() > deadline)) {
        chunk.resize(1 + random() % 3000);
        const uint32_t n = ring.Read(chunk.data(), static_cast<uint32_t>(chunk.size()));
        output.append(chunk.data(), n);
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
    EXPECT_FALSE(ring.Rewind(12)) << "the space being filled is out of a step back's reach";
    EXPECT_EQ(ring.GetUsed(), 0u) << "a step back too far moves nothing";
    EXPECT_TRUE(ring.Rewind(11));
    EXPECT_EQ(ring.GetUsed(), 11u);
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

TEST(CircleBufferIndexTest, HeldBytesTakenInPlaceStopAtTheEndOfMemoryAndStayHeld)
{
    CCircleBuffer ring(16, false, false);
    WriteIn(ring, "ABCDEFGHIJKL");
    EXPECT_EQ(ReadOut(ring, 10), "ABCDEFGHIJ");
    WriteIn(ring, "mnopqr");  // K and L at 10 and 11, m to r from 12 round to 1
    uint32_t nSpan = 99;
    const unsigned char* pSpan = ring.PeekInPlace(100, 1, nSpan);
    ASSERT_NE(pSpan, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(pSpan), nSpan), "Lmnop") << "up to the end of the memory";
    pSpan = ring.PeekInPlace(3, 6, nSpan);
    ASSERT_NE(pSpan, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(pSpan), nSpan), "qr") << "from the start of the memory on";
    EXPECT_EQ(ring.GetUsed(), 8u) << "nothing leaves the ring";
    EXPECT_EQ(ring.PeekInPlace(5, 8, nSpan), nullptr) << "nothing past the bytes held";
    EXPECT_EQ(nSpan, 0u);
}

TEST(CircleBufferIndexTest, RewindAndSkipStayWithinWhatTheRingStillHolds)
{
    CCircleBuffer ring(16, true, false);
    WriteIn(ring, "ABCDEFGHIJ");
    EXPECT_EQ(ReadOut(ring, 10), "ABCDEFGHIJ");
    EXPECT_TRUE(ring.Rewind(4));
    EXPECT_EQ(ring.GetUsed(), 4u);
    EXPECT_EQ(ReadOut(ring, 4), "GHIJ") << "bytes already read come back";

    WriteIn(ring, "vwxyz");  // used 5, free 10
    EXPECT_FALSE(ring.Rewind(11)) << "never further back than the free space";
    EXPECT_EQ(ring.GetUsed(), 5u);
    EXPECT_TRUE(ring.Rewind(10));
    EXPECT_EQ(ring.GetUsed(), 15u);
    EXPECT_EQ(ReadOut(ring, 15), "ABCDEFGHIJvwxyz");
    EXPECT_TRUE(ring.Rewind(0));
    EXPECT_FALSE(ring.Rewind(-3));
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
    EXPECT_TRUE(ring.Rewind(2));
    EXPECT_EQ(ReadOut(ring, 2), "45") << "a rewind across the end of the memory";
}

// Links planted at the names a ring's file could be foreseen to take (the thread's own, then
// numbered) are neither followed nor truncated: not one to a file that exists, and not one to a
// name where nothing is yet (through which a file would be made where the planter chose). The
// ring's file is new, private and removed, or in no folder at all where the system can keep it
// there.
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
    std::vector<std::u16string> paths;
    {
        CCircleBuffer first(4096, true, true);
        CCircleBuffer second(4096, true, true);
        ASSERT_TRUE(first.HasMemory() && second.HasMemory());
        for (const CCircleBuffer* pRing : {&first, &second}) {
            EXPECT_TRUE(pRing->IsTemporary());
            if (!pRing->GetPath().empty())
                paths.push_back(pRing->GetPath());
        }
        EXPECT_EQ(paths.size(), RunningOnWindows() ? 2u : 0u) << "Linux keeps the ring's file in no folder";
        for (const std::u16string& path : paths) {
            EXPECT_EQ(path.substr(0, stem.size() + 2), stem + u" (");
            EXPECT_FALSE(IsSymbolicLink(path)) << Utf8(path);
            EXPECT_EQ(FileSizeByName(path), 4096) << Utf8(path);
        }
        if (paths.size() == 2) {
            EXPECT_NE(paths[0], paths[1]);
        }
        WriteIn(first, "some bytes");
    }
    EXPECT_EQ(ReadFile(folder.File(u"victim")), precious) << "a planted link was followed";
    EXPECT_EQ(FileSizeByName(planted), -1) << "a file was made through a planted link";
    for (const std::u16string& link : links)
        EXPECT_TRUE(IsSymbolicLink(link)) << Utf8(link);
    for (const std::u16string& path : paths)
        EXPECT_EQ(FileSizeByName(path), -1);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(std::filesystem::path(folder.Path())), {}),
              static_cast<std::ptrdiff_t>(1 + links.size()))
        << "the folder holds what the test put there and nothing else";
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

// Large writes copy outside the ring's lock; the space they fill must stay out of a step back's
// reach meanwhile, or the reader would be handed bytes that are being overwritten.
TEST(CircleBufferConcurrencyTest, StepsBackRacingAWriterNeverHandOutBytesBeingOverwritten)
{
    CCircleBuffer ring(64 << 10, true, false);
    const std::string input = PatternBytes(8 << 20, 5);
    std::atomic<bool> bStop{false};
    std::thread writer([&] {
        for (size_t nDone = 0; nDone < input.size() && !bStop;) {
            const uint32_t n = ring.Write(input.data() + nDone, static_cast<uint32_t>(std::min<size_t>(40000, input.size() - nDone)));
            nDone += n;
            if (n == 0)
                std::this_thread::yield();
        }
    });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    std::mt19937 random(3);
    std::string chunk(40000, '\0');
    size_t nPosition = 0;
    size_t nStepsBack = 0;
    bool bSame = true;
    while (nPosition < input.size() && bSame && std::chrono::steady_clock::now() < deadline) {
        const uint32_t n = ring.Read(chunk.data(), 1 + random() % static_cast<uint32_t>(chunk.size()));
        bSame = input.compare(nPosition, n, chunk, 0, n) == 0;
        nPosition += n;
        const uint32_t nBack = random() % 16000;
        if (nBack <= nPosition && ring.Rewind(nBack)) {
            nPosition -= nBack;
            ++nStepsBack;
        }
    }
    bStop = true;
    writer.join();
    EXPECT_TRUE(bSame) << "bytes read at " << nPosition << " differ from the stream's";
    EXPECT_EQ(nPosition, input.size());
    EXPECT_GT(nStepsBack, 100u);
}
