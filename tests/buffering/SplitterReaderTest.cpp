#include "ServerSupport.h"
#include "TestSupport.h"

#include "buffering/ChunkNames.h"
#include "platform/File.h"
#include "platform/System.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>
#include <vector>

using namespace zutest;
using zu::platform::FileSizeByName;

namespace {

using std::chrono::steady_clock;

constexpr uint32_t kAlwaysRefresh = 0xFFFFFFFFu;

std::unique_ptr<VSplitterReader, CReaderDelete> MakeSplitter(const std::u16string& path, int64_t nChunkSize,
                                                             uint32_t nRefresh = kAlwaysRefresh)
{
    return std::unique_ptr<VSplitterReader, CReaderDelete>(
        ZUReaderCast<VSplitterReader>(GetSplitterReader(Z(path), nChunkSize, nRefresh)));
}

std::string LittleEndian(uint64_t nValue, int nBytes)
{
    std::string bytes;
    for (int i = 0; i < nBytes; ++i)
        bytes += static_cast<char>(nValue >> (8 * i));
    return bytes;
}

std::string HeaderRecord(int64_t nLength, int64_t nChunkSize)
{
    return LittleEndian(static_cast<uint64_t>(nLength), 8) + LittleEndian(static_cast<uint64_t>(nChunkSize), 8);
}

// Everything a reader delivers until it delivers nothing.
std::string ReadAll(VReader& reader)
{
    std::string all;
    for (;;) {
        const std::string piece = ReadUpTo(reader, 7);
        if (piece.empty())
            return all;
        all += piece;
    }
}

bool Exists(const std::u16string& path)
{
    return FileSizeByName(path) >= 0;
}

// A folder of its own in nginx's document root, removed with everything in it at the end.
class CServedFolder {
public:
    explicit CServedFolder(const std::string& name)
        : m_Name(name), m_Path(ServerPath("NGINX_ROOT") + zu::platform::PathSeparator() + U16(name))
    {
        std::filesystem::create_directories(std::filesystem::path(m_Path));
    }
    ~CServedFolder()
    {
        std::error_code error;
        std::filesystem::remove_all(std::filesystem::path(m_Path), error);
    }
    std::u16string File(const std::u16string& name) const { return m_Path + zu::platform::PathSeparator() + name; }
    std::u16string Url(const std::string& name) const { return ServerUrl("NGINX_HTTP", "/" + m_Name + "/" + name); }

private:
    std::string m_Name;
    std::u16string m_Path;
};

// Reads until nWanted bytes came or nMilliseconds passed, waiting a little whenever nothing came.
std::string ReadFor(VReader& reader, size_t nWanted, int nMilliseconds)
{
    const auto deadline = steady_clock::now() + std::chrono::milliseconds(nMilliseconds);
    std::string got;
    while (got.size() < nWanted && steady_clock::now() < deadline) {
        const std::string piece = ReadUpTo(reader, static_cast<uint32_t>(std::min<size_t>(nWanted - got.size(), 65536)));
        got += piece;
        if (piece.empty())
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return got;
}

class SplitterReaderTest : public testing::Test {
protected:
    std::u16string Header() const { return m_Folder.File(u"show.ts"); }
    std::u16string Chunk(int n, const std::u16string& tail = u".cnk") const
    {
        const std::string digits = std::to_string(n);
        return m_Folder.File(u"show-" + std::u16string(digits.begin(), digits.end()) + u".ts" + tail);
    }
    // Writes the bytes in pieces of nPiece through a new writer with chunks of nChunkSize, and
    // closes it unless told not to.
    std::unique_ptr<VSplitterReader, CReaderDelete> Record(const std::string& bytes, int64_t nChunkSize,
                                                             size_t nPiece, bool bClose = true)
    {
        auto pWriter = MakeSplitter(Header(), nChunkSize);
        EXPECT_EQ(pWriter->Create(), 1);
        for (size_t i = 0; i < bytes.size(); i += nPiece) {
            const size_t n = std::min(nPiece, bytes.size() - i);
            EXPECT_EQ(pWriter->Write(bytes.data() + i, static_cast<uint32_t>(n)), n);
        }
        if (bClose)
            pWriter->Close();
        return pWriter;
    }

    CTempFolder m_Folder;
};

TEST_F(SplitterReaderTest, WritesFixedChunksNamingEachFinalOnceFullAndReadsThemBackAsOneStream)
{
    const std::string bytes = PatternBytes(25);
    auto pWriter = MakeSplitter(Header(), 10);
    ASSERT_NE(pWriter, nullptr);
    EXPECT_EQ(pWriter->GetType(), ZU_READER_SPLITTER);
    EXPECT_EQ(pWriter->Read(nullptr, 1), 0u);
    ASSERT_EQ(pWriter->Create(), 1);
    EXPECT_EQ(pWriter->IsReadOnly(), 0);

    // Chunk 0 full after 12 bytes: it has its final name, chunk 1 is still being filled.
    ASSERT_EQ(pWriter->Write(bytes.data(), 12), 12u);
    EXPECT_TRUE(Exists(Chunk(0)));
    EXPECT_FALSE(Exists(Chunk(0, u".cnk.tmp")));
    EXPECT_EQ(FileSizeByName(Chunk(1, u".cnk.tmp")), 2);
    EXPECT_EQ(ReadFile(Header()), "ZUSR" + LittleEndian(2, 4) + HeaderRecord(12, 10));
    char c;
    EXPECT_EQ(pWriter->Read(&c, 1), 0u) << "a writer does not read";

    ASSERT_EQ(pWriter->Write(bytes.data() + 12, 13), 13u);
    EXPECT_TRUE(Exists(Chunk(1)));
    EXPECT_EQ(FileSizeByName(Chunk(2, u".cnk.tmp")), 5);
    EXPECT_EQ(pWriter->GetLength(), 25);
    EXPECT_EQ(pWriter->GetPosition(), 25);
    pWriter->Close();
    EXPECT_EQ(FileSizeByName(Chunk(2)), 5);
    EXPECT_FALSE(Exists(Chunk(2, u".cnk.tmp")));
    EXPECT_EQ(ReadFile(Header()), "ZUSR" + LittleEndian(2, 4) + HeaderRecord(25, 10));

    // The chunk size comes from the header, not from the reader's own argument.
    auto pReader = MakeSplitter(Header(), 999);
    ASSERT_EQ(pReader->Open(), 1);
    EXPECT_EQ(pReader->IsReadOnly(), 1);
    EXPECT_EQ(pReader->GetLength(), 25);
    EXPECT_EQ(pReader->Write("x", 1), 0u);
    EXPECT_EQ(ReadAll(*pReader), bytes);
    EXPECT_EQ(pReader->GetPosition(), 25);
    pReader->Close();
    EXPECT_EQ(pReader->IsOpen(), 0);
    // A closed reader opens again and starts over.
    ASSERT_EQ(pReader->Open(), 1);
    EXPECT_EQ(ReadUpTo(*pReader, 100), bytes);
}

TEST_F(SplitterReaderTest, ReadsVersionOneAndHeaderlessRecordingsWithTheirOwnChunkNames)
{
    const std::string bytes = PatternBytes(23, 7);
    const std::string headers[] = {"ZUSR" + LittleEndian(1, 4) + HeaderRecord(23, 8), HeaderRecord(23, 8),
                                   // An unknown version is the older form too: the record at 0.
                                   HeaderRecord(23, 8) + "ZUSR" + LittleEndian(3, 4)};
    for (const std::string& header : headers) {
        WriteFile(Header(), header);
        for (int i = 0; i < 3; ++i)
            WriteFile(Chunk(i, u""), bytes.substr(8 * i, 8));
        // A stray version-2 chunk must not be read in place of the one without the suffix.
        WriteFile(Chunk(0), "wrong!!!");
        auto pReader = MakeSplitter(Header(), 1);
        ASSERT_EQ(pReader->Open(), 1);
        EXPECT_EQ(pReader->GetLength(), 23);
        EXPECT_EQ(ReadAll(*pReader), bytes);
        EXPECT_EQ(pReader->SetPosition(9, ZU_SEEK_BEGIN), 9);
        EXPECT_EQ(ReadUpTo(*pReader, 3), bytes.substr(9, 3));
    }
    WriteFile(Header(), "ZUS");
    EXPECT_EQ(MakeSplitter(Header(), 10)->Open(), 0) << "too short for any header";
    EXPECT_EQ(MakeSplitter(m_Folder.File(u"none.ts"), 10)->Open(), 0);
}

TEST_F(SplitterReaderTest, SeeksWithinTheRecordingAndRefusesTheEndOriginPastTheEndAndDeletedChunks)
{
    const std::string bytes = PatternBytes(40, 3);
    auto pWriter = Record(bytes, 10, 9, false);
    auto pReader = MakeSplitter(Header(), 10);
    ASSERT_EQ(pReader->Open(), 1);
    EXPECT_EQ(pReader->SetPosition(0, ZU_SEEK_END), -1);
    EXPECT_EQ(pReader->SetPosition(-5, ZU_SEEK_END), -1);
    EXPECT_EQ(pReader->SetPosition(-1, ZU_SEEK_BEGIN), -1);
    EXPECT_EQ(pReader->SetPosition(41, ZU_SEEK_BEGIN), -1);
    EXPECT_EQ(pReader->SetPosition(17, ZU_SEEK_BEGIN), 17);
    EXPECT_EQ(ReadUpTo(*pReader, 5), bytes.substr(17, 5));
    EXPECT_EQ(pReader->SetPosition(-12, ZU_SEEK_CURRENT), 10);
    EXPECT_EQ(ReadUpTo(*pReader, 25), bytes.substr(10, 25));
    // The end of a recording whose last chunk is full lies in that chunk.
    EXPECT_EQ(pReader->SetPosition(40, ZU_SEEK_BEGIN), 40);
    EXPECT_EQ(ReadUpTo(*pReader, 10), "");
    EXPECT_EQ(pReader->SetPosition(-4, ZU_SEEK_CURRENT), 36);
    EXPECT_EQ(ReadUpTo(*pReader, 10), bytes.substr(36));

    // The writer lets chunks 0 to 2 go; a seek there fails for the writer at once, and for a reader
    // once the files are gone, while what is kept still reads right.
    EXPECT_EQ(pWriter->SetFirstNeededPosition(35, 1), 1);
    EXPECT_FALSE(Exists(Chunk(2)));
    EXPECT_TRUE(Exists(Chunk(3, u".cnk.tmp"))) << "full, but still the writer's own";
    EXPECT_EQ(pWriter->SetPosition(29, ZU_SEEK_BEGIN), -1);
    EXPECT_EQ(pWriter->SetPosition(30, ZU_SEEK_BEGIN), 30);
    EXPECT_EQ(pReader->SetPosition(5, ZU_SEEK_BEGIN), -1);
    EXPECT_EQ(pReader->GetPosition(), 40) << "a refused seek leaves the position";
    EXPECT_EQ(pReader->SetPosition(31, ZU_SEEK_BEGIN), 31);
    EXPECT_EQ(ReadAll(*pReader), bytes.substr(31));
    // The writer overwrites inside the recording without changing its length.
    EXPECT_EQ(pWriter->Write("ABC", 3), 3u);
    pWriter->Close();
    EXPECT_EQ(pReader->SetPosition(30, ZU_SEEK_BEGIN), 30);
    EXPECT_EQ(ReadUpTo(*pReader, 4), "ABC" + bytes.substr(33, 1));
    EXPECT_EQ(pReader->GetLength(), 40);
}

// A reader lagging behind a rolling recording goes on from the oldest chunk still there when the
// ones it was about to read are deleted, and never reads other bytes in their place.
TEST_F(SplitterReaderTest, AReaderWhoseNextChunksWereDeletedGoesOnFromTheOldestKept)
{
    const std::string bytes = PatternBytes(60, 5);
    auto pWriter = Record(bytes, 10, 9, false);
    auto pReader = MakeSplitter(Header(), 10);
    ASSERT_EQ(pReader->Open(), 1);
    EXPECT_EQ(ReadUpTo(*pReader, 7), bytes.substr(0, 7));
    // The chunk the reader holds stays readable to it; the next three go.
    EXPECT_EQ(pWriter->SetFirstNeededPosition(40, 1), 1);
    EXPECT_EQ(ReadUpTo(*pReader, 10), bytes.substr(7, 3)) << "the rest of the open chunk, on its own";
    EXPECT_EQ(ReadUpTo(*pReader, 10), bytes.substr(40, 10));
    EXPECT_EQ(pReader->GetPosition(), 50);
    EXPECT_EQ(ReadAll(*pReader), bytes.substr(50));
}

TEST_F(SplitterReaderTest, DeletionKeepsMarkedRangesInBothPassesAndLeavesThePartialLastChunk)
{
    // Chunks of 10; 65 bytes make chunks 0 to 5 full and 6 partial.
    auto pWriter = MakeSplitter(Header(), 10);
    ASSERT_EQ(pWriter->Create(), 1);
    const std::string bytes = PatternBytes(65, 5);
    ASSERT_EQ(pWriter->Write(bytes.data(), 65), 65u);
    EXPECT_EQ(pWriter->SetFirstNeededPosition(15, 0), 1);  // chunk 1 on is needed
    EXPECT_TRUE(Exists(Chunk(0))) << "nothing goes before a deletion is asked for";
    EXPECT_EQ(pWriter->KeepRangeUpTo(29), 1);              // keeps chunks 1 and 2
    EXPECT_EQ(pWriter->SetFirstNeededPosition(45, 1), 1);  // chunks 0 and 3 go, 1 and 2 stay
    EXPECT_FALSE(Exists(Chunk(0)));
    EXPECT_TRUE(Exists(Chunk(1)));
    EXPECT_TRUE(Exists(Chunk(2)));
    EXPECT_FALSE(Exists(Chunk(3)));
    EXPECT_TRUE(Exists(Chunk(4)));
    EXPECT_EQ(pWriter->SetFirstNeededPosition(5, 1), 1) << "the needed position never moves back";
    EXPECT_TRUE(Exists(Chunk(4)));

    pWriter->SetDeleteAllOnClose(1);
    pWriter->Close();
    EXPECT_TRUE(Exists(Chunk(1)));
    EXPECT_TRUE(Exists(Chunk(2)));
    EXPECT_FALSE(Exists(Chunk(4)));
    EXPECT_FALSE(Exists(Chunk(5)));
    EXPECT_EQ(ReadFile(Chunk(6)), bytes.substr(60));

    // What is left still reads as the recording, from the kept chunks on.
    auto pReader = MakeSplitter(Header(), 10);
    ASSERT_EQ(pReader->Open(), 1);
    EXPECT_EQ(pReader->SetFirstNeededPosition(0, 1), 0) << "only a writer lets chunks go";
    EXPECT_EQ(pReader->KeepRangeUpTo(0), 0);
    EXPECT_EQ(pReader->SetPosition(12, ZU_SEEK_BEGIN), 12);
    EXPECT_EQ(ReadAll(*pReader), bytes.substr(12, 18) + bytes.substr(60))
        << "a reader goes on from the next chunk still there";
    EXPECT_EQ(pReader->SetPosition(60, ZU_SEEK_BEGIN), 60);
    EXPECT_EQ(ReadAll(*pReader), bytes.substr(60));
}

TEST_F(SplitterReaderTest, DeleteAllOnCloseWithoutRangesRemovesTheFullChunksOnly)
{
    auto pWriter = MakeSplitter(Header(), 10);
    ASSERT_EQ(pWriter->Create(), 1);
    pWriter->SetDeleteAllOnClose(1);
    const std::string bytes = PatternBytes(25);
    ASSERT_EQ(pWriter->Write(bytes.data(), 25), 25u);
    pWriter->Close();
    EXPECT_FALSE(Exists(Chunk(0)));
    EXPECT_FALSE(Exists(Chunk(1)));
    EXPECT_EQ(ReadFile(Chunk(2)), bytes.substr(20));
}

TEST_F(SplitterReaderTest, WithoutTemporaryNamesChunksCarryTheirFinalNamesFromTheStart)
{
    auto pWriter = MakeSplitter(Header(), 10);
    pWriter->SetTemporaryNames(0);
    ASSERT_EQ(pWriter->Create(), 1);
    ASSERT_EQ(pWriter->Write("12345", 5), 5u);
    EXPECT_EQ(FileSizeByName(Chunk(0)), 5);
    EXPECT_FALSE(Exists(Chunk(0, u".cnk.tmp")));
    pWriter->Close();
    auto pReader = MakeSplitter(Header(), 10);
    ASSERT_EQ(pReader->Open(), 1);
    EXPECT_EQ(ReadAll(*pReader), "12345");
}

// A reader follows a writer on another thread: it sees every byte in order, and each new piece
// within the once-a-second look at a growing chunk plus the header's refresh interval.
TEST_F(SplitterReaderTest, FollowerSeesEveryByteInOrderAndNewBytesWithinASecond)
{
    const std::string bytes = PatternBytes(64 * 1024, 11);
    constexpr size_t kPieces = 8;
    const size_t nPiece = bytes.size() / kPieces;
    auto pWriter = MakeSplitter(Header(), 20000);
    ASSERT_EQ(pWriter->Create(), 1);
    std::vector<steady_clock::time_point> written(kPieces);
    std::atomic<bool> bDone{false};
    std::thread writer([&] {
        for (size_t i = 0; i < kPieces; ++i) {
            written[i] = steady_clock::now();
            pWriter->Write(bytes.data() + i * nPiece, static_cast<uint32_t>(nPiece));
            std::this_thread::sleep_for(std::chrono::milliseconds(350));
        }
        pWriter->Close();
        bDone = true;
    });
    auto pReader = MakeSplitter(Header(), 1, 100);
    ASSERT_EQ(pReader->Open(), 1);
    EXPECT_EQ(pReader->IsBeingWritten(), 1);
    // A second writer would spoil the first one's recording: it is refused, and changes nothing.
    auto pSecond = MakeSplitter(Header(), 10);
    EXPECT_EQ(pSecond->Create(), 0);
    std::string got;
    std::vector<steady_clock::time_point> seen(kPieces);
    const auto deadline = steady_clock::now() + std::chrono::seconds(15);
    while (got.size() < bytes.size() && steady_clock::now() < deadline) {
        const std::string piece = ReadUpTo(*pReader, 5000);
        for (size_t i = got.size() / nPiece; i < (got.size() + piece.size()) / nPiece + 1 && i < kPieces; ++i)
            if ((i + 1) * nPiece <= got.size() + piece.size() && (i + 1) * nPiece > got.size())
                seen[i] = steady_clock::now();
        got += piece;
        if (piece.empty())
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    writer.join();
    ASSERT_EQ(got.size(), bytes.size());
    EXPECT_TRUE(got == bytes);
    int64_t nWorst = 0;
    for (size_t i = 0; i < kPieces; ++i)
        nWorst = std::max<int64_t>(nWorst, std::chrono::duration_cast<std::chrono::milliseconds>(seen[i] - written[i]).count());
    RecordProperty("worst_follow_latency_ms", static_cast<int>(nWorst));
    EXPECT_LE(nWorst, 1100);
    EXPECT_TRUE(bDone);
    EXPECT_EQ(pReader->IsBeingWritten(), 0);
    EXPECT_EQ(pReader->Read(&got[0], 1), 0u) << "the end of a closed recording";
}

// The header is looked at again only after the refresh interval, except once the writer is gone:
// then its last word counts at once.
TEST_F(SplitterReaderTest, LengthFollowsTheHeaderByTheIntervalAndIsFinalOnceTheWriterIsGone)
{
    auto pWriter = MakeSplitter(Header(), 4);
    ASSERT_EQ(pWriter->Create(), 1);
    ASSERT_EQ(pWriter->Write("12345", 5), 5u);
    auto pReader = MakeSplitter(Header(), 4, 60000);
    ASSERT_EQ(pReader->Open(), 1);
    EXPECT_EQ(pReader->GetLength(), 5);
    ASSERT_EQ(pWriter->Write("67890", 5), 5u);
    EXPECT_EQ(pReader->GetLength(), 5) << "within the interval the header is not read again";
    EXPECT_EQ(ReadAll(*pReader), "12345") << "nor read past what it announced";
    EXPECT_EQ(pReader->IsBeingWritten(), 1);
    EXPECT_EQ(pWriter->IsBeingWritten(), 1);
    pWriter->Close();
    EXPECT_EQ(pReader->IsBeingWritten(), 0);
    EXPECT_EQ(pReader->GetLength(), 10);
    EXPECT_EQ(ReadAll(*pReader), "67890");
}

// A recording in a web server's folder reads over HTTP as one stream: the header and each chunk are
// fetched from nginx, the chunk still being filled under its temporary name, and a reader that
// caught up with the writer gets the rest once the writer has gone on.
TEST_F(SplitterReaderTest, ReadsARecordingOverHttpWholeAcrossChunksAndAsItGrows)
{
    ZU_REQUIRE_SERVERS();
    const CServedFolder served(UniqueTag("splitter"));
    const std::string bytes = PatternBytes(250000, 9);
    auto pWriter = MakeSplitter(served.File(u"show.ts"), 100000);
    ASSERT_EQ(pWriter->Create(), 1);
    ASSERT_EQ(pWriter->Write(bytes.data(), 180000), 180000u);

    auto pReader = MakeSplitter(served.Url("show.ts"), 1, 100);
    ASSERT_EQ(pReader->Open(), 1);
    EXPECT_EQ(pReader->IsRemote(), 1);
    EXPECT_EQ(pReader->GetLength(), 180000);
    EXPECT_TRUE(ReadFor(*pReader, 180000, 20000) == bytes.substr(0, 180000)) << "a full chunk and a growing one";
    EXPECT_EQ(pReader->SetPosition(95000, ZU_SEEK_BEGIN), 95000);
    EXPECT_TRUE(ReadUpTo(*pReader, 10000) == bytes.substr(95000, 10000)) << "across the chunks' border";
    EXPECT_EQ(pReader->SetPosition(180001, ZU_SEEK_BEGIN), -1) << "past what the header announces";

    ASSERT_EQ(pWriter->Write(bytes.data() + 180000, 70000), 70000u);
    pWriter->Close();
    EXPECT_TRUE(ReadFor(*pReader, 145000, 20000) == bytes.substr(105000)) << "the rest, once the writer went on";
    EXPECT_EQ(pReader->GetLength(), 250000);
    EXPECT_EQ(pReader->IsBeingWritten(), 0);
    EXPECT_EQ(ReadUpTo(*pReader, 10), "");

    // A fresh reader of the finished recording gets it whole, and nothing of a name nginx lacks.
    auto pWhole = MakeSplitter(served.Url("show.ts"), 1, 100);
    ASSERT_EQ(pWhole->Open(), 1);
    EXPECT_TRUE(ReadFor(*pWhole, 250000, 20000) == bytes);
    EXPECT_EQ(MakeSplitter(served.Url("none.ts"), 1, 100)->Open(), 0);
}

TEST_F(SplitterReaderTest, ChunkNamesFollowThePathOrTheUrlPath)
{
    const CChunkNames file(u"/rec/show.ts", false);
    EXPECT_EQ(file.Name(7, u".cnk", true), u"/rec/show-7.ts.cnk.tmp");
    EXPECT_EQ(file.Name(12, u"", false), u"/rec/show-12.ts");
    EXPECT_EQ(CChunkNames(u"/rec.d/show", false).Name(0, u"", false), u"/rec.d/show-0");
    EXPECT_EQ(CChunkNames(u"C:\\rec.d\\show.ts", false).Name(3, u".cnk", false), u"C:\\rec.d\\show-3.ts.cnk");
    const CChunkNames url(u"http://h.example:81/r/show.ts?k=a.b#x", true);
    EXPECT_EQ(url.Name(2, u".cnk", false), u"http://h.example:81/r/show-2.ts.cnk?k=a.b#x");
    // Writing to a server is refused.
    auto pRemote = MakeSplitter(u"http://127.0.0.1:9/show.ts", 10);
    EXPECT_EQ(pRemote->IsRemote(), 1);
    EXPECT_EQ(pRemote->Create(), 0);
    EXPECT_EQ(MakeSplitter(Header(), 0)->Create(), 0) << "no chunk size";
}

}  // namespace
