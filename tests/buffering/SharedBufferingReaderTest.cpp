#include "TestSupport.h"

#include "buffering/SharedBufferingRegistry.h"
#include "platform/File.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace zutest;
using zu::platform::FileSizeByName;
using std::chrono::steady_clock;

namespace {

constexpr uint32_t kKiB = 1024;

CReaderPtr View(const std::u16string& path, bool bWritable, uint32_t nCapacity, uint32_t nBlock)
{
    return CReaderPtr(GetSharedBufferingReader(Z(path), bWritable ? 1 : 0, nCapacity, nBlock, nullptr, nullptr));
}

// The byte at a stream position: no period a buffer's size could hide.
unsigned char ByteAt(int64_t nPosition)
{
    const uint64_t n = static_cast<uint64_t>(nPosition);
    return static_cast<unsigned char>((n * 2654435761u) >> 11 ^ n >> 17);
}

std::string BytesAt(int64_t nPosition, size_t nCount)
{
    std::string bytes(nCount, '\0');
    for (size_t i = 0; i < nCount; ++i)
        bytes[i] = static_cast<char>(ByteAt(nPosition + static_cast<int64_t>(i)));
    return bytes;
}

// Waits up to two seconds for the file to reach nSize; answers the size it has then.
int64_t WaitForFileSize(const std::u16string& path, int64_t nSize)
{
    const auto deadline = steady_clock::now() + std::chrono::seconds(2);
    while (FileSizeByName(path) < nSize && steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return FileSizeByName(path);
}

class SharedBufferingReaderTest : public testing::Test {
protected:
    std::u16string Path() const { return m_Folder.File(u"shared.bin"); }
    CTempFolder m_Folder;
};

TEST_F(SharedBufferingReaderTest, CacheGoesToTheFileOnlyWithinABlockOfFullThenABlockAtATime)
{
    const size_t nCaches = CSharedBufferingRegistry::Instance().Count();
    auto pWriter = View(Path(), true, 1024 * kKiB, 256 * kKiB);
    auto pReader = View(Path(), false, 1, 1);
    ASSERT_TRUE(pWriter && pReader);
    EXPECT_EQ(CSharedBufferingRegistry::Instance().Count(), nCaches + 1) << "two views, one cache";
    EXPECT_EQ(pWriter->IsReadOnly(), 0);

    const std::string first = BytesAt(0, 700 * kKiB);
    ASSERT_EQ(pWriter->Write(first.data(), static_cast<uint32_t>(first.size())), first.size());
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    EXPECT_EQ(FileSizeByName(Path()), 0) << "nothing leaves a cache that is not within a block of full";
    EXPECT_EQ(pReader->GetLength(), 700 * kKiB) << "cached bytes count";
    EXPECT_TRUE(ReadUpTo(*pReader, 700 * kKiB) == first) << "read from the cache alone";

    // 800 KiB held: within a block of full, so one block goes, and no more.
    const std::string second = BytesAt(700 * kKiB, 100 * kKiB);
    ASSERT_EQ(pWriter->Write(second.data(), static_cast<uint32_t>(second.size())), second.size());
    EXPECT_EQ(WaitForFileSize(Path(), 256 * kKiB), 256 * kKiB);
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    EXPECT_EQ(FileSizeByName(Path()), 256 * kKiB);
    EXPECT_EQ(pReader->SetPosition(200 * kKiB, ZU_SEEK_BEGIN), 200 * kKiB);
    EXPECT_TRUE(ReadUpTo(*pReader, 200 * kKiB) == BytesAt(200 * kKiB, 200 * kKiB)) << "across file and cache";

    // 844 KiB held: one more block, leaving 588 KiB.
    const std::string third = BytesAt(800 * kKiB, 300 * kKiB);
    ASSERT_EQ(pWriter->Write(third.data(), static_cast<uint32_t>(third.size())), third.size());
    EXPECT_EQ(WaitForFileSize(Path(), 512 * kKiB), 512 * kKiB);
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    EXPECT_EQ(FileSizeByName(Path()), 512 * kKiB);
    EXPECT_EQ(pReader->GetLength(), 1100 * kKiB);

    // The writer's view goes; the other still reads everything; the last one writes the rest.
    pWriter.reset();
    EXPECT_EQ(FileSizeByName(Path()), 512 * kKiB);
    EXPECT_EQ(pReader->SetPosition(0, ZU_SEEK_BEGIN), 0);
    EXPECT_TRUE(ReadUpTo(*pReader, 1100 * kKiB) == BytesAt(0, 1100 * kKiB));
    pReader.reset();
    EXPECT_EQ(CSharedBufferingRegistry::Instance().Count(), nCaches);
    EXPECT_TRUE(ReadFile(Path()) == BytesAt(0, 1100 * kKiB));
}

TEST_F(SharedBufferingReaderTest, AWriteElsewhereThanTheCacheEndWritesTheCacheFirstAndSeeksNeverFail)
{
    auto pWriter = View(Path(), true, 64 * kKiB, 16 * kKiB);
    ASSERT_EQ(pWriter->Open(), 1);
    ASSERT_EQ(pWriter->Write("0123456789", 10), 10u);
    EXPECT_EQ(FileSizeByName(Path()), 0);
    EXPECT_EQ(pWriter->SetPosition(100, ZU_SEEK_BEGIN), 100);
    ASSERT_EQ(pWriter->Write("xyz", 3), 3u);
    EXPECT_EQ(ReadFile(Path()), "0123456789") << "the cache went to the file first";
    EXPECT_EQ(pWriter->GetLength(), 103);

    auto pReader = View(Path(), false, 0, 0);
    EXPECT_EQ(ReadUpTo(*pReader, 200), "0123456789") << "the file ends before the cache begins";
    EXPECT_EQ(pReader->SetPosition(98, ZU_SEEK_BEGIN), 98);
    EXPECT_EQ(ReadUpTo(*pReader, 5), "") << "the gap is in neither place yet";
    EXPECT_EQ(pReader->SetPosition(100, ZU_SEEK_BEGIN), 100);
    EXPECT_EQ(ReadUpTo(*pReader, 10), "xyz");
    // From the end only the low 32 bits count, taken as signed, their distance either way.
    EXPECT_EQ(pReader->SetPosition(-3, ZU_SEEK_END), 100);
    EXPECT_EQ(pReader->SetPosition(3, ZU_SEEK_END), 100);
    EXPECT_EQ(pReader->SetPosition(0x100000005ll, ZU_SEEK_END), 98);
    EXPECT_EQ(pReader->SetPosition(500, ZU_SEEK_END), 0);
    EXPECT_EQ(pReader->SetPosition(-7, ZU_SEEK_CURRENT), -7);
    EXPECT_EQ(pReader->SetPosition(1000, ZU_SEEK_BEGIN), 1000);
    EXPECT_EQ(ReadUpTo(*pReader, 10), "");

    EXPECT_EQ(pWriter->SetEndOfFile(), 1);
    EXPECT_EQ(FileSizeByName(Path()), 103) << "the end is set after the cache is written";
    pWriter.reset();
    pReader.reset();
    EXPECT_EQ(ReadFile(Path()), "0123456789" + std::string(90, '\0') + "xyz");

    // A first view that cannot write has no sink to set the end of.
    auto pOnly = View(m_Folder.File(u"other.bin"), false, 1024, 256);
    EXPECT_EQ(pOnly->SetEndOfFile(), 0);
    EXPECT_EQ(pOnly->IsReadOnly(), 1);
    EXPECT_EQ(pOnly->GetLength(), 0);
}

TEST_F(SharedBufferingReaderTest, SinkAndFileReaderGivenByTheCallerCarryTheBytes)
{
    // The sink writes another file than the path names; a file reader of that file serves reads.
    const std::u16string target = m_Folder.File(u"target.bin");
    VReader* pSink = GetLocalReader(Z(target));
    ASSERT_EQ(pSink->Create(), 1);
    VReader* pFile = GetLocalReader(Z(target));
    ASSERT_EQ(pFile->Open(), 1);
    CReaderPtr pWriter(GetSharedBufferingReader(Z(Path()), 1, 4 * kKiB, kKiB, pFile, pSink));
    const std::string bytes = BytesAt(0, 10 * kKiB);
    ASSERT_EQ(pWriter->Write(bytes.data(), static_cast<uint32_t>(bytes.size())), bytes.size());
    EXPECT_GE(FileSizeByName(target), 6 * kKiB) << "a writer waits for a full cache to drain";
    EXPECT_LT(FileSizeByName(Path()), 0) << "nothing is made at the path itself";
    CReaderPtr pReader(GetSharedBufferingReader(Z(Path()), 0, 0, 0, nullptr, nullptr));
    EXPECT_TRUE(ReadUpTo(*pReader, 20 * kKiB) == bytes);
    pWriter.reset();
    pReader.reset();
    EXPECT_TRUE(ReadFile(target) == bytes);
}

// One writer and four readers on one path: every reader sees every byte in order, from the cache
// while it is close behind and from the file once the bytes have left the cache.
TEST_F(SharedBufferingReaderTest, OneWriterAndFourReadersEachSeeEveryByteInOrder)
{
    constexpr int kReaders = 4;
    constexpr auto kWriting = std::chrono::seconds(10);
    constexpr uint32_t kPiece = 24 * kKiB + 7;
    auto pWriter = View(Path(), true, 256 * kKiB, 64 * kKiB);
    std::vector<CReaderPtr> readers;
    for (int i = 0; i < kReaders; ++i)
        readers.push_back(View(Path(), false, 0, 0));
    std::atomic<int64_t> nWritten{0};
    std::atomic<bool> bDone{false};
    std::thread writer([&] {
        const auto end = steady_clock::now() + kWriting;
        int64_t nPosition = 0;
        while (steady_clock::now() < end) {
            const std::string piece = BytesAt(nPosition, kPiece);
            pWriter->Write(piece.data(), kPiece);
            nPosition += kPiece;
            nWritten = nPosition;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        bDone = true;
    });
    std::vector<int64_t> mismatch(kReaders, -1);
    std::vector<int64_t> reached(kReaders, 0);
    std::vector<std::thread> threads;
    for (int r = 0; r < kReaders; ++r)
        threads.emplace_back([&, r] {
            std::vector<char> buffer(16 * kKiB + r * 1000);
            const auto deadline = steady_clock::now() + kWriting + std::chrono::seconds(20);
            int64_t nPosition = 0;
            while (mismatch[r] < 0 && steady_clock::now() < deadline && !(bDone && nPosition >= nWritten)) {
                const uint32_t n = readers[r]->Read(buffer.data(), static_cast<uint32_t>(buffer.size()));
                for (uint32_t i = 0; i < n && mismatch[r] < 0; ++i)
                    if (static_cast<unsigned char>(buffer[i]) != ByteAt(nPosition + i))
                        mismatch[r] = nPosition + i;
                nPosition += n;
                if (n == 0)
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            reached[r] = nPosition;
        });
    writer.join();
    for (std::thread& thread : threads)
        thread.join();
    RecordProperty("bytes_written", std::to_string(nWritten.load()));
    EXPECT_GT(nWritten.load(), 2 * 256 * kKiB) << "enough to pass through the file";
    for (int r = 0; r < kReaders; ++r) {
        EXPECT_EQ(mismatch[r], -1) << "reader " << r;
        EXPECT_EQ(reached[r], nWritten.load()) << "reader " << r;
    }
}

}  // namespace
