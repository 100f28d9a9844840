// The buffered Internet reader against the loopback servers: which requests a read or a seek
// costs (nginx's access log and the odd server's record as evidence), that the bytes served are
// the resource's own wherever the reader jumps, and its cache file.
#include "core/Log.h"
#include "net/BufferedInternetReader.h"
#include "net/CacheFile.h"
#include "net/DownloadThread.h"
#include "net/InternetReaderSupport.h"
#include "platform/File.h"
#include "platform/System.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <sstream>
#include <unordered_map>
#include <utility>
#include <vector>

#ifndef _WIN32
#  include <sys/stat.h>
#endif

using namespace zutest;
using BufferedInternetReaderTest = CInternetReaderTest;

namespace {

constexpr int64_t KiB = 1024;
constexpr int64_t MiB = 1024 * KiB;
constexpr uint32_t kFailed = 0xFFFFFFFFu;

CReaderPtr Seekable(const std::u16string& url, const std::u16string& options = u"", uint32_t nTimeoutMs = 5000)
{
    CReaderPtr pReader(GetBufferedInternetReader(Z(url)));
    if (pReader) {
        pReader->SetOptions(Z(options));
        pReader->SetTimeout(nTimeoutMs);
    }
    return pReader;
}

using CRanges = std::vector<std::pair<int64_t, int64_t>>;

CRanges Ranges(VReader& reader)
{
    CRanges ranges;
    std::istringstream text(Utf8(Info(reader, u"Ranges")));
    std::string pair;
    while (std::getline(text, pair, ',')) {
        const size_t dash = pair.find('-');
        ranges.emplace_back(std::stoll(pair.substr(0, dash)), std::stoll(pair.substr(dash + 1)));
    }
    return ranges;
}

// The newest range is the one the running download fills.
int64_t ActiveEnd(VReader& reader)
{
    const CRanges ranges = Ranges(reader);
    return ranges.empty() ? -1 : ranges.back().second;
}

const std::string& ServedFile(const std::string& name)
{
    static std::unordered_map<std::string, std::string> files;
    std::string& bytes = files[name];
    if (bytes.empty())
        bytes = ReadFile(ServerPath("NGINX_ROOT") + u"/" + U16(name));
    return bytes;
}

std::string ReadAt(VReader& reader, int64_t nPosition, uint32_t nCount)
{
    if (reader.SetPosition(nPosition, ZU_SEEK_BEGIN) != nPosition)
        return "(seek to " + std::to_string(nPosition) + " failed)";
    return ReadUpTo(reader, nCount);
}

// The access-log lines of nginx that carry tag, once nCount are there, and no more than that.
std::vector<std::string> RequestLines(const std::string& tag, size_t nCount)
{
    LogLinesWith("NGINX_ACCESS_LOG", tag, 5000, nCount);
    return LogLinesWith("NGINX_ACCESS_LOG", tag, 300, nCount + 1);
}

// The latest lines the library logged in some categories, for a failure's message.
class CLogTail {
public:
    explicit CLogTail(uint32_t nCategories) : m_nListener(zu::CLog::Get()->AddListener(nCategories)) {}
    ~CLogTail() { zu::CLog::Get()->RemoveListener(m_nListener); }
    std::string Text(size_t nLines = 400)
    {
        std::vector<std::u16string> lines = zu::CLog::Get()->DrainListener(m_nListener);
        std::string text;
        for (size_t i = lines.size() > nLines ? lines.size() - nLines : 0; i < lines.size(); ++i)
            text += Utf8(lines[i]) + "\n";
        return text;
    }

private:
    const int m_nListener;
};

}  // namespace

TEST_F(BufferedInternetReaderTest, NearSeeksWaitFarSeeksStartADownloadSmallGapsJoinAndCachedReadsCostNothing)
{
    ZU_REQUIRE_SERVERS();
    const std::string tag = UniqueTag("seeks");
    const std::string& file = ServedFile("seek.bin");
    const int64_t nTotal = static_cast<int64_t>(file.size());
    CReaderPtr reader = Seekable(ServerUrl("NGINX_HTTP", "/slow/seek.bin?" + tag));
    ASSERT_TRUE(reader && reader->Open()) << Utf8(Info(*reader, u"StatusText"));
    EXPECT_EQ(nTotal, reader->GetLength());
    EXPECT_EQ(file.substr(0, 64 * KiB), ReadUpTo(*reader, 64 * KiB));

    // 100 KiB past the running download: worth a wait, not a connection.
    const int64_t nNear = ActiveEnd(*reader) + 100 * KiB;
    EXPECT_EQ(file.substr(nNear, 1000), ReadAt(*reader, nNear, 1000));
    EXPECT_EQ(1u, Ranges(*reader).size()) << Utf8(Info(*reader, u"Ranges"));

    // 1 MiB past it: a download of its own from there.
    const int64_t nFar = ActiveEnd(*reader) + MiB;
    EXPECT_EQ(file.substr(nFar, 4096), ReadAt(*reader, nFar, 4096));
    CRanges ranges = Ranges(*reader);
    ASSERT_EQ(2u, ranges.size()) << Utf8(Info(*reader, u"Ranges"));
    EXPECT_EQ(nFar, ranges[1].first);

    // 10 KiB past the first range, which stopped when the second began: the new download starts
    // at the first one's end, so that the two join.
    const int64_t nFirstEnd = ranges[0].second;
    const int64_t nJoin = nFirstEnd + 10 * KiB;
    EXPECT_EQ(file.substr(nJoin, 4096), ReadAt(*reader, nJoin, 4096));
    ranges = Ranges(*reader);
    ASSERT_EQ(3u, ranges.size()) << Utf8(Info(*reader, u"Ranges"));
    EXPECT_EQ(nFirstEnd, ranges[2].first);

    // Back to bytes the cache holds: no download at all.
    EXPECT_EQ(file.substr(1000, 60000), ReadAt(*reader, 1000, 60000));
    EXPECT_EQ(file.substr(nFar, 4096), ReadAt(*reader, nFar, 4096));
    EXPECT_EQ(3u, Ranges(*reader).size()) << Utf8(Info(*reader, u"Ranges"));
    reader->Close();

    // nginx logs a request when its connection lets it go, so a cut download may come later.
    std::multiset<std::string> asked;
    for (const std::string& line : RequestLines(tag, 3))
        asked.insert(AccessLogField(line, "range"));
    const std::multiset<std::string> expected{
        "-",  // nginx writes an absent header as -
        "bytes=" + std::to_string(nFar) + "-" + std::to_string(nTotal),
        "bytes=" + std::to_string(nFirstEnd) + "-" + std::to_string(nFar)};
    EXPECT_EQ(expected, asked);
}

// A seek just past the end of a range far from the last read joins that range. The download it
// starts must count its read-ahead from the new place, not stop at its first chunk for being far
// ahead of the old one (which cost a second request, or under Wine failed the read).
TEST_F(BufferedInternetReaderTest, AJoiningSeekFarFromTheLastReadNeedsOneDownload)
{
    ZU_REQUIRE_SERVERS();
    const std::string tag = UniqueTag("farjoin");
    const std::string& file = ServedFile("seek.bin");
    CReaderPtr reader = Seekable(ServerUrl("NGINX_HTTP", "/slow/seek.bin?" + tag));
    ASSERT_TRUE(reader && reader->Open()) << Utf8(Info(*reader, u"StatusText"));
    EXPECT_EQ(file.substr(40 * MiB, 4096), ReadAt(*reader, 40 * MiB, 4096));
    EXPECT_EQ(file.substr(MiB, 4096), ReadAt(*reader, MiB, 4096));
    CRanges ranges = Ranges(*reader);
    ASSERT_EQ(3u, ranges.size()) << Utf8(Info(*reader, u"Ranges"));
    const int64_t nFarEnd = ranges[1].second;
    EXPECT_EQ(file.substr(nFarEnd + 8 * KiB, 64 * KiB), ReadAt(*reader, nFarEnd + 8 * KiB, 64 * KiB));
    ranges = Ranges(*reader);
    ASSERT_EQ(4u, ranges.size()) << Utf8(Info(*reader, u"Ranges"));
    EXPECT_EQ(nFarEnd, ranges[3].first);
    reader->Close();
    // nginx logs a request once its connection lets it go, which under Wine waits until Wine's
    // Internet library has read a dropped body to its end: at this location's rate, long after.
    if (!RunningUnderWine())
        EXPECT_EQ(4u, RequestLines(tag, 4).size());
}

TEST_F(BufferedInternetReaderTest, RandomSeeksAndReadsAgreeWithTheFile)
{
    ZU_REQUIRE_SERVERS();
    const std::string& file = ServedFile("seek.bin");
    const int64_t nTotal = static_cast<int64_t>(file.size());
    CReaderPtr reader = Seekable(ServerUrl("NGINX_HTTP", "/seek.bin?" + UniqueTag("random")));
    ASSERT_TRUE(reader && reader->Open()) << Utf8(Info(*reader, u"StatusText"));
    CLogTail log(zu::LOG_READER);
    std::mt19937_64 random(20261124);
    // Wine's Internet library reads the rest of a dropped download's body before it closes it,
    // which makes each far seek cost seconds there: fewer steps keep that run short.
    const int nSteps = RunningUnderWine() ? 300 : 1000;
    for (int nStep = 0; nStep < nSteps; ++nStep) {
        // Mostly anywhere, sometimes just past the last read, now and then the very end.
        const int nKind = static_cast<int>(random() % 10);
        const int64_t nPosition = nKind == 0   ? nTotal - static_cast<int64_t>(random() % 1000)
                                  : nKind <= 2 ? std::min(nTotal, reader->GetPosition() + static_cast<int64_t>(random() % 20000))
                                               : static_cast<int64_t>(random() % nTotal);
        const uint32_t nCount = 1 + static_cast<uint32_t>(random() % (256 * KiB));
        const size_t nExpected = static_cast<size_t>(std::min<int64_t>(nCount, nTotal - nPosition));
        const std::string bytes = ReadAt(*reader, nPosition, nCount);
        // Not ASSERT_EQ: a mismatch would print both quarter-megabyte texts.
        ASSERT_TRUE(bytes == file.substr(nPosition, nExpected))
            << "step " << nStep << ": " << nCount << " bytes at " << nPosition << " gave "
            << (bytes.size() < 100 ? bytes : std::to_string(bytes.size()) + " bytes") << "; "
            << Utf8(Info(*reader, u"StatusText")) << "; ranges " << Utf8(Info(*reader, u"Ranges")) << "\n"
            << log.Text();
    }
}

TEST_F(BufferedInternetReaderTest, WithoutALengthEachDownloadBringsOneChunkAndTheEndIsFound)
{
    ZU_REQUIRE_SERVERS();
    const std::string tag = UniqueTag("nolength");
    const std::string body = PatternBytes(5000, 3);
    CReaderPtr reader =
        Seekable(ServerUrl("ODD_HTTP", "/file?pattern=5000&length=0&tag=" + tag), u"DOWNLOAD_CHUNK|1024");
    ASSERT_TRUE(reader && reader->Open()) << Utf8(Info(*reader, u"StatusText"));
    EXPECT_EQ(-1, reader->GetLength());
    std::string got;
    for (std::string piece; !(piece = ReadUpTo(*reader, 1024)).empty();)
        got += piece;
    EXPECT_EQ(body, got);
    EXPECT_EQ(5000, reader->GetLength()) << "known once the data ended";

    const std::vector<CRecordedRequest> requests = RecordedRequests("/file?pattern=5000&length=0&tag=" + tag);
    ASSERT_EQ(5u, requests.size());
    EXPECT_EQ("", requests[0].Header("Range"));
    for (size_t i = 1; i < requests.size(); ++i)
        EXPECT_EQ("bytes=" + std::to_string(1024 * i) + "-", requests[i].Header("Range"));
}

TEST_F(BufferedInternetReaderTest, AServerThatIgnoresRangesServesNoByteAtAWrongPlace)
{
    ZU_REQUIRE_SERVERS();
    const std::string& file = ServedFile("seek.bin");
    CReaderPtr reader = Seekable(ServerUrl("ODD_HTTP", "/file?name=seek.bin&ranges=0&tag=" + UniqueTag("norange")));
    ASSERT_TRUE(reader && reader->Open()) << Utf8(Info(*reader, u"StatusText"));
    EXPECT_EQ(file.substr(0, 100000), ReadUpTo(*reader, 100000));
    // The whole body from 0 answers the request for 40 MiB onwards: refused, nothing written.
    EXPECT_EQ(-1, reader->SetPosition(40 * MiB, ZU_SEEK_BEGIN));
    EXPECT_EQ(u"200", Info(*reader, u"StatusCode"));
    EXPECT_EQ(100000, reader->GetPosition());
    EXPECT_EQ(file.substr(100000, 5000), ReadUpTo(*reader, 5000));
    for (const auto& range : Ranges(*reader))
        EXPECT_EQ(0, range.first) << "only the download from 0 wrote";
}

TEST_F(BufferedInternetReaderTest, TheCacheFileIsSparsePrivateAndGoneAfterClose)
{
    ZU_REQUIRE_SERVERS();
    const int64_t nBig = std::stoll(ServerValue("BIG_SIZE"));
    CReaderPtr reader = Seekable(ServerUrl("NGINX_HTTP", "/slow/big.bin?" + UniqueTag("big")));
    ASSERT_TRUE(reader && reader->Open()) << Utf8(Info(*reader, u"StatusText"));
    EXPECT_EQ(nBig, reader->GetLength());
    const std::u16string path = Info(*reader, u"CacheFile");
    ASSERT_FALSE(path.empty());
    EXPECT_EQ(nBig, zu::platform::FileSizeByName(path)) << "sized to the resource at once";
    EXPECT_EQ("ZUReader big file: past 2 GiB\n", ReadAt(*reader, 2147483648LL, 30));
    EXPECT_EQ("ZUReader big file: the end\n", ReadAt(*reader, nBig - 27, 100));
    EXPECT_EQ("", ReadUpTo(*reader, 100)) << "the end reads as nothing, not as a failure";
#ifndef _WIN32
    struct stat st;
    ASSERT_EQ(0, stat(Utf8(path).c_str(), &st));
    EXPECT_LT(static_cast<int64_t>(st.st_blocks) * 512, 64 * MiB) << "3 GiB that take only what was fetched";
    EXPECT_EQ(0u, st.st_mode & 077u) << "for its owner alone";
#endif
    reader->Close();
    EXPECT_EQ(-1, zu::platform::FileSizeByName(path));
    EXPECT_EQ(0, reader->IsOpen());
}

TEST_F(BufferedInternetReaderTest, AFullDiskEndsTheDownloadAndFailsTheRead)
{
    ZU_REQUIRE_SERVERS();
    CTempFolder folder;
    const CSmallTmpfs tmpfs(folder.Path(), 2 * MiB);
    if (!tmpfs.Mounted())
        GTEST_SKIP() << "cannot mount a 2 MiB tmpfs here (Linux as root only)";
    const CScopedTempFolder temp(folder.Path());
    const int nListener = zu::CLog::Get()->AddListener(zu::LOG_READER);
    const std::string& file = ServedFile("seek.bin");
    CReaderPtr reader = Seekable(ServerUrl("NGINX_HTTP", "/seek.bin?" + UniqueTag("full")));
    ASSERT_TRUE(reader && reader->Open()) << Utf8(Info(*reader, u"StatusText"));
    EXPECT_EQ(file.substr(0, 100000), ReadUpTo(*reader, 100000)) << "what fits is served";
    EXPECT_EQ(kFailed, reader->Read(std::string(4 * MiB, '\0').data(), 4 * MiB));
    bool bSaid = false;
    for (const std::u16string& line : zu::CLog::Get()->DrainListener(nListener))
        bSaid = bSaid || Utf8(line).find("cannot write the cache file") != std::string::npos;
    zu::CLog::Get()->RemoveListener(nListener);
    EXPECT_TRUE(bSaid);
}

// The download threads on their own: the limits that decide when one stops.
TEST_F(BufferedInternetReaderTest, ADownloadStopsFarAheadOfTheReaderAndFinishesARangeItIsNearlyDone)
{
    ZU_REQUIRE_SERVERS();
    CCacheFile cache;
    ASSERT_TRUE(cache.Create(-1));
    std::atomic<int64_t> readPosition{0};
    std::atomic<int64_t> awaitedEnd{-1};
    std::atomic<bool> writeFailed{false};
    const CDownloadThread::CShared shared{cache, readPosition, awaitedEnd, writeFailed};
    const auto runToTheEnd = [&](const std::string& path, int64_t nEnd, uint32_t nChunk, int64_t nStopAt) {
        std::atomic<int64_t> end{0};
        CDownloadThread thread(ServerUrl("ODD_HTTP", path), {}, 5000, 0, nEnd, nChunk);
        EXPECT_TRUE(thread.Begin(shared, 0, end));
        const auto start = CClock::now();
        if (nStopAt >= 0) {
            while (end.load() < nStopAt && MillisecondsSince(start) < 5000)
                zu::platform::SleepMilliseconds(1);
            thread.SetStopRequest(1);
        }
        while (thread.IsRunning() && MillisecondsSince(start) < 10000)
            zu::platform::SleepMilliseconds(1);
        return end.load();
    };
    // Stopped while 992 bytes of its range are left (within the 3072-byte grace): it finishes.
    // Stopped with 8160 left: it ends where it is.
    const std::string stalled = "/file?pattern=300000&pause_ms=700&pause_at=";
    EXPECT_EQ(300000, runToTheEnd(stalled + "297984", 300000, 1024, 297984));
    EXPECT_EQ(291840, runToTheEnd(stalled + "290816", 300000, 1024, 290816));

    // Far ahead of a reader that stays at 0 it stops for good, just past 16 MiB; a read that
    // waits for more than that lets it go on to what the read needs.
    const int64_t nLimit = CDownloadThread::kReadAheadLimit;
    const int64_t nAlone = runToTheEnd("/file?name=seek.bin", -1, 65536, -1);
    EXPECT_GT(nAlone, nLimit);
    EXPECT_LE(nAlone, nLimit + 65536);
    awaitedEnd = 20 * MiB;
    EXPECT_GE(runToTheEnd("/file?name=seek.bin", -1, 65536, -1), 20 * MiB);
}
