#include "ServerSupport.h"
#include "TestSupport.h"

#include "buffering/BackgroundReaderThread.h"
#include "buffering/BufferedReader.h"
#include "buffering/IcyMetadata.h"
#include "buffering/ScriptedReader.h"
#include "core/Log.h"
#include "platform/File.h"
#include "platform/System.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

using namespace zutest;
using zu::platform::SleepMilliseconds;
using zu::platform::TickCount;

namespace {

std::string ReadToEnd(VReader& reader, uint32_t nChunk)
{
    std::string all;
    for (std::string part; !(part = ReadUpTo(reader, nChunk)).empty();)
        all += part;
    return all;
}

std::u16string StreamTitle(VBufferedReader& reader)
{
    const ZUBSTR bstr = reader.GetStreamTitle();
    const std::u16string title = bstr ? reinterpret_cast<const char16_t*>(bstr) : u"(null)";
    ZUFreeString(bstr);
    return title;
}

struct CState {
    uint32_t nActive = 0, nBuffered = 0, nCapacity = 0, nEnd = 0;
};

CState StateOf(VBufferedReader& reader)
{
    CState state;
    EXPECT_EQ(reader.GetBufferState(&state.nActive, &state.nBuffered, &state.nCapacity, &state.nEnd), 1);
    return state;
}

// A buffered reader over a child the test keeps a pointer to, with a heap buffer of nCapacity.
struct CBuffered {
    CScriptedReader* pChild;
    std::unique_ptr<VBufferedReader> pReader;

    CBuffered(std::string bytes, uint32_t nCapacity, const std::function<void(CScriptedReader&)>& setUp = {})
        : pChild(new CScriptedReader(std::move(bytes)))
    {
        if (setUp)
            setUp(*pChild);
        pReader.reset(new CBufferedReader(pChild));
        pReader->SetBufferInFile(0);
        pReader->SetBufferSize(nCapacity);
    }
    VBufferedReader& operator*() { return *pReader; }
    VBufferedReader* operator->() { return pReader.get(); }
};

// An Internet-radio stream: the audio cut into intervals with one metadata block after each.
struct CRadio {
    std::string stream;
    std::vector<int64_t> blockEnds;  // stream offsets just after each block
};

CRadio Interleave(const std::string& audio, size_t nInterval, const std::vector<std::string>& blocks)
{
    CRadio radio;
    size_t nAudio = 0;
    for (const std::string& text : blocks) {
        radio.stream += audio.substr(nAudio, nInterval);
        nAudio += nInterval;
        const size_t nUnits = (text.size() + 15) / 16;
        radio.stream += static_cast<char>(nUnits) + text + std::string(nUnits * 16 - text.size(), '\0');
        radio.blockEnds.push_back(static_cast<int64_t>(radio.stream.size()));
    }
    radio.stream += audio.substr(nAudio);
    return radio;
}

}  // namespace

TEST(BufferedReaderTest, ReadsAheadToCapacityLessOneAndDeliversEveryByte)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"source.bin");
    const std::string bytes = PatternBytes(3 * 1048576 + 17);
    WriteFile(path, bytes);
    CReaderPtr pGeneric(GetBufferedReader(GetLocalReader(Z(path))));
    ASSERT_TRUE(pGeneric);
    auto& reader = static_cast<VBufferedReader&>(*pGeneric);
    reader.SetBufferInFile(0);
    reader.SetBufferSize(1048576);
    ASSERT_EQ(reader.Open(), 1);
    EXPECT_EQ(reader.GetLength(), static_cast<int64_t>(bytes.size())) << "a known length is the child's";
    ASSERT_TRUE(WaitFor(5000, [&] { return StateOf(reader).nBuffered == 1048575; }))
        << "the worker fills the buffer to capacity - 1 and waits";
    EXPECT_NEAR(reader.GetBufferFullness(), 1048575.0f / 1048576.0f, 1e-6);
    EXPECT_EQ(StateOf(reader).nEnd, 0u);

    EXPECT_TRUE(ReadToEnd(reader, 100003) == bytes);
    EXPECT_EQ(reader.GetPosition(), static_cast<int64_t>(bytes.size()));
    EXPECT_EQ(ReadUpTo(reader, 1), "") << "the end stays the end";
    const CState state = StateOf(reader);
    EXPECT_EQ(state.nEnd, 1u);
    EXPECT_EQ(state.nBuffered, 0u);
    reader.Close();
    EXPECT_EQ(StateOf(reader).nActive, 0u) << "Close removes the worker";
}

TEST(BufferedReaderTest, BufferInANamedFileKeepsWhatTheWorkerWroteAndNoBufferFailsTheOpen)
{
    CTempFolder folder;
    const std::u16string ringPath = folder.File(u"ring.dat");
    const std::string bytes = PatternBytes(10000, 2);
    {
        CBufferedReader reader(GetMemoryReader(bytes.data(), 10000, 1));
        reader.SetBufferFile(Z(ringPath));
        reader.SetBufferSize(65536);
        ASSERT_EQ(reader.Open(), 1);
        EXPECT_EQ(ReadToEnd(reader, 3000), bytes);
        EXPECT_EQ(zu::platform::FileSizeByName(ringPath), 65536) << "mapped whole while in use";
    }
    EXPECT_EQ(ReadFile(ringPath), bytes) << "a ring that never wrapped leaves exactly its bytes";

    CBufferedReader unusable(GetMemoryReader(bytes.data(), 10000, 1));
    unusable.SetBufferFile(Z(folder.File(u"no such folder/ring.dat")));
    CBufferedReader childless(nullptr);
    for (VBufferedReader* pReader : {&unusable, &childless}) {
        EXPECT_EQ(pReader->Open(), 0);
        EXPECT_EQ(ReadUpTo(*pReader, 1), "");
    }
    EXPECT_EQ(childless.SetPosition(10, ZU_SEEK_BEGIN), -1);
    EXPECT_EQ(StreamTitle(childless), u"");
}

// A ring file's length is reserved before it is mapped: a folder too small for a named ring file
// fails the Open with a line that says why, where a sparse file would have been mapped and the
// worker killed by SIGBUS once it wrote past what the folder holds. The default ring's file takes
// no room in the temporary folder: it is memory in no folder.
TEST(BufferedReaderTest, RingFileAFolderCannotHoldFailsTheOpenAndTheDefaultRingNeedsNoFolder)
{
    CTempFolder folder;
    const CSmallTmpfs tmpfs(folder.Path(), 1048576);
    if (!tmpfs.Mounted())
        GTEST_SKIP() << "cannot mount a 1 MiB tmpfs here (Linux as root only)";
    const CScopedTempFolder temp(folder.Path());
    const int nListener = zu::CLog::Get()->AddListener(zu::LOG_READER);
    const std::string stream = PatternBytes(200000, 21);
    CReaderPtr pTooLarge(GetBufferedReader(GetMemoryReader(stream.data(), static_cast<int32_t>(stream.size()), 0)));
    auto& tooLarge = static_cast<VBufferedReader&>(*pTooLarge);
    tooLarge.SetBufferFile(Z(folder.File(u"ring.dat")));
    tooLarge.SetBufferSize(4 * 1048576);
    EXPECT_EQ(tooLarge.Open(), 0);
    std::u16string said;
    for (const std::u16string& line : zu::CLog::Get()->DrainListener(nListener))
        said += line;
    zu::CLog::Get()->RemoveListener(nListener);
    EXPECT_NE(said.find(u"is full"), std::u16string::npos) << Utf8(said);
    tooLarge.Close();
    std::filesystem::remove(std::filesystem::path(folder.File(u"ring.dat")));

    CReaderPtr pDefault(GetBufferedReader(GetMemoryReader(stream.data(), static_cast<int32_t>(stream.size()), 0)));
    static_cast<VBufferedReader&>(*pDefault).SetBufferSize(4 * 1048576);
    ASSERT_EQ(pDefault->Open(), 1);
    EXPECT_TRUE(std::filesystem::is_empty(std::filesystem::path(folder.Path())));
    EXPECT_EQ(ReadToEnd(*pDefault, 65536), stream);
}

TEST(BufferedReaderTest, SeeksInsideTheWindowLeaveTheChildAlone)
{
    const std::string bytes = PatternBytes(10000, 3);
    constexpr uint32_t kCapacity = 4096;
    CBuffered reader(bytes, kCapacity);
    ASSERT_EQ(reader->Open(), 1);
    EXPECT_EQ(ReadToEnd(*reader, 1000), bytes);
    const int nReads = reader.pChild->ReadCalls();
    const int nSeeks = reader.pChild->SeekCalls();

    // The oldest byte still held is capacity - 1 behind the write position.
    const int64_t nOldest = 10000 - (kCapacity - 1);
    EXPECT_EQ(reader->SetPosition(nOldest, ZU_SEEK_BEGIN), nOldest);
    EXPECT_EQ(ReadUpTo(*reader, 100), bytes.substr(nOldest, 100));
    EXPECT_EQ(reader->SetPosition(3000, ZU_SEEK_END), 7000) << "+n from the end";
    EXPECT_EQ(reader->SetPosition(-3000, ZU_SEEK_END), 7000) << "-n from the end";
    EXPECT_EQ(ReadUpTo(*reader, 10), bytes.substr(7000, 10));
    EXPECT_EQ(reader->SetPosition(2980, ZU_SEEK_CURRENT), 9990) << "forwards inside the buffer";
    EXPECT_EQ(ReadUpTo(*reader, 100), bytes.substr(9990));
    EXPECT_EQ(reader->SetPosition(-10, ZU_SEEK_CURRENT), 9990);
    EXPECT_EQ(reader->SetPosition(0, 3), -1) << "no such origin";
    EXPECT_EQ(reader->SetPosition(-1, ZU_SEEK_BEGIN), -1);
    EXPECT_EQ(reader->GetPosition(), 9990);
    EXPECT_EQ(reader.pChild->ReadCalls(), nReads) << "the child was not read again";
    EXPECT_EQ(reader.pChild->SeekCalls(), nSeeks) << "nor moved";

    EXPECT_EQ(reader->SetPosition(nOldest - 1, ZU_SEEK_BEGIN), nOldest - 1) << "one byte further restarts";
    EXPECT_GT(reader.pChild->SeekCalls(), nSeeks);
    EXPECT_EQ(ReadUpTo(*reader, 200), bytes.substr(nOldest - 1, 200));
}

TEST(BufferedReaderTest, SeekPastTheWrittenBytesRestartsTheWorkerThere)
{
    const std::string bytes = PatternBytes(1048576, 4);
    CBuffered reader(bytes, 4096);
    ASSERT_EQ(reader->Open(), 1);
    EXPECT_EQ(ReadUpTo(*reader, 1000), bytes.substr(0, 1000));
    ASSERT_TRUE(WaitFor(5000, [&] { return StateOf(*reader).nBuffered == 4095; }));
    EXPECT_EQ(reader->SetPosition(500000, ZU_SEEK_BEGIN), 500000);
    EXPECT_GE(reader.pChild->GetPosition(), 500000) << "the new worker reads from there";
    EXPECT_EQ(ReadUpTo(*reader, 5000), bytes.substr(500000, 5000));
    EXPECT_EQ(reader->SetPosition(-1000, ZU_SEEK_END), 1048576 - 1000);
    EXPECT_EQ(ReadToEnd(*reader, 300), bytes.substr(1048576 - 1000));
}

TEST(BufferedReaderTest, LiveSourceGrowsAndRefusesSeeksOutsideTheWindow)
{
    const std::string bytes = PatternBytes(10000, 5);
    CBuffered reader(bytes, 4096, [](CScriptedReader& child) {
        child.SetLive();
        child.AddGate(3000);
    });
    ASSERT_EQ(reader->Open(), 1);
    ASSERT_TRUE(reader.pChild->WaitUntilHeldAt(0, 5000));
    EXPECT_EQ(reader->GetLength(), 3000) << "a live length is what has arrived";
    EXPECT_EQ(ReadUpTo(*reader, 1000), bytes.substr(0, 1000));
    EXPECT_EQ(reader->SetPosition(3001, ZU_SEEK_BEGIN), -1) << "nothing to skip to yet";
    EXPECT_EQ(reader->SetPosition(2500, ZU_SEEK_BEGIN), 2500);
    EXPECT_EQ(ReadUpTo(*reader, 500), bytes.substr(2500, 500));
    reader.pChild->Release();
    EXPECT_EQ(ReadToEnd(*reader, 700), bytes.substr(3000));
    EXPECT_EQ(reader->GetLength(), 10000);

    const int nSeeks = reader.pChild->SeekCalls();
    EXPECT_EQ(reader->SetPosition(10000 - 4096, ZU_SEEK_BEGIN), -1) << "one byte before the window";
    EXPECT_EQ(reader->GetPosition(), 10000) << "a refused seek moves nothing";
    EXPECT_EQ(reader->SetPosition(10000 - 4095, ZU_SEEK_BEGIN), 10000 - 4095);
    EXPECT_EQ(ReadUpTo(*reader, 95), bytes.substr(10000 - 4095, 95));
    EXPECT_EQ(reader.pChild->SeekCalls(), nSeeks) << "a live child is never asked to seek";
}

TEST(BufferedReaderTest, WaitAtEndDecidesWhetherAReadAtTheEndWaits)
{
    const std::string bytes = PatternBytes(3000, 6);
    CBuffered reader(bytes.substr(0, 1000), 65536);
    reader->SetRetryTime(1500);
    reader->SetWaitAtEnd(0);
    ASSERT_EQ(reader->Open(), 1);
    ASSERT_TRUE(WaitFor(5000, [&] { return StateOf(*reader).nEnd == 1; })) << "the child ran dry";
    uint32_t nStart = TickCount();
    EXPECT_EQ(ReadUpTo(*reader, 2000), bytes.substr(0, 1000)) << "what there is, at once";
    EXPECT_EQ(ReadUpTo(*reader, 10), "") << "nothing, at once";
    EXPECT_LT(TickCount() - nStart, 400u);
    EXPECT_EQ(StateOf(*reader).nActive, 1u) << "the worker still retries";

    // A read that waits wakes when the retry brings more.
    reader->SetWaitAtEnd(1);
    std::thread grow([&] {
        SleepMilliseconds(200);
        reader.pChild->Append(bytes.substr(1000));
    });
    nStart = TickCount();
    EXPECT_EQ(ReadUpTo(*reader, 2000), bytes.substr(1000));
    EXPECT_GE(TickCount() - nStart, 150u);
    grow.join();
    nStart = TickCount();
    EXPECT_EQ(ReadUpTo(*reader, 10), "") << "waits for the worker to give up";
    const uint32_t nWaited = TickCount() - nStart;
    EXPECT_GE(nWaited, 500u);
    EXPECT_LT(nWaited, 4000u);
}

TEST(BufferedReaderTest, SwitchingBufferingOffContinuesWhereTheCallerWas)
{
    const std::string bytes = PatternBytes(100000, 7);
    CBuffered reader(bytes, 16384);
    ASSERT_EQ(reader->Open(), 1);
    EXPECT_EQ(ReadUpTo(*reader, 5000), bytes.substr(0, 5000));
    reader->SetBuffering(0);
    EXPECT_EQ(StateOf(*reader).nActive, 0u);
    const int nReads = reader.pChild->ReadCalls();
    EXPECT_EQ(ReadUpTo(*reader, 1000), bytes.substr(5000, 1000));
    EXPECT_EQ(reader.pChild->ReadCalls(), nReads + 1) << "a pass-through read is the child's";
    reader->SetBuffering(1);
    EXPECT_EQ(StateOf(*reader).nActive, 0u) << "nothing until the next read";
    EXPECT_EQ(ReadUpTo(*reader, 1000), bytes.substr(6000, 1000));
    EXPECT_EQ(StateOf(*reader).nActive, 1u);
    EXPECT_EQ(reader->GetPosition(), 7000);
}

TEST(IcyMetadataTest, ReadsHeadersIntervalsAndTitleText)
{
    const auto header = [](const std::string& bytes) {
        return CIcyMetadata::ParseStreamHeader(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    };
    const std::string bare = std::string("Song-Name: A song\nicy-metaint:100\r\n\0\0audio", 43);
    EXPECT_EQ(header(bare).m_Title, "") << "no icy-name, no title, even with a Song-Name";
    EXPECT_EQ(header(bare).m_nHeaderLength, 36u) << "two NULs after a line end read as a blank line";
    EXPECT_EQ(header(std::string(1023, 'x') + "\r\n\r\n").m_nHeaderLength, 0u) << "only 1023 bytes are searched";

    EXPECT_EQ(CIcyMetadata::ParseInterval("8192 bytes"), 8192);
    EXPECT_EQ(CIcyMetadata::ParseInterval("99999999999"), INT32_MAX);

    std::string title = "old";
    const std::string nulInside = std::string("StreamUrl='x';\0StreamTitle='hidden';", 36);
    EXPECT_FALSE(CIcyMetadata::ApplyBlock(reinterpret_cast<const unsigned char*>(nulInside.data()),
                                          nulInside.size(), title));
    EXPECT_EQ(title, "old") << "the block's text ends at its first NUL";

    EXPECT_EQ(CIcyMetadata::TitleToText("Caf\xE9"), u"Caf\u00E9") << "one character a byte where not UTF-8";
    EXPECT_EQ(CIcyMetadata::TextToTitle(u"Caf\u00E9"), "Caf\xE9");
    EXPECT_EQ(CIcyMetadata::TextToTitle(u"\u20AC"), "\xE2\x82\xAC");
}

TEST(BufferedReaderTest, IcyBlocksAreStrippedAndEveryTitleFollows)
{
    const std::vector<std::string> blocks = {
        "StreamTitle='One';",
        "",
        "StreamTitle='Rock 'n' Roll \"2\"';StreamUrl='http://127.0.0.1/';",
        "StreamUrl='http://127.0.0.1/no-title';",
        "StreamTitle='" + std::string(300, 'L') + "';",
        "StreamTitle='no end to this one",
        "StreamTitle='Caf\xC3\xA9';",
    };
    const std::vector<std::u16string> titles = {
        u"One", u"One", u"Rock 'n' Roll \"2\"", u"Rock 'n' Roll \"2\"", std::u16string(255, u'L'), u"", u"Caf\u00E9",
    };
    const std::string audio = PatternBytes(1000 * blocks.size() + 123, 8);
    const CRadio radio = Interleave(audio, 1000, blocks);
    // The interval and name as the child's headers, or in a header at the head of the stream
    // (icy-name there wins over Song-Name, as it stands); whole reads, or short reads that cut
    // the header and the blocks apart; a live station read part by part, or a recording read in
    // large chunks with the blocks taken out around the audio.
    const std::string head =
        "ICY 200 OK\r\nSong-Name: A song\nicy-name: Inline radio\r\nArtist-Name:x\nicy-metaint:1000\r\n\r\n";
    const struct {
        uint32_t nMaxPerRead;
        bool bInline;
        bool bLive;
    } kCases[] = {{0xFFFFFFFFu, false, true}, {61, false, true}, {300, true, true},
                  {0xFFFFFFFFu, false, false}, {61, true, false}};
    for (const auto& test : kCases) {
        SCOPED_TRACE(std::to_string(test.nMaxPerRead) + (test.bInline ? " inline" : "") + (test.bLive ? " live" : ""));
        const int64_t nHead = test.bInline ? static_cast<int64_t>(head.size()) : 0;
        CBuffered reader((test.bInline ? head : "") + radio.stream, 65536, [&](CScriptedReader& child) {
            if (test.bLive)
                child.SetLive();
            child.SetMaxPerRead(test.nMaxPerRead);
            if (!test.bInline) {
                child.SetInfo(u"icy-name", u"Station \u00FC");
                child.SetInfo(u"icy-metaint", u"1000");
            }
            // The header is probed whole before the first title is known.
            child.AddGate(test.bInline ? 1024 : 0);
            for (const int64_t nEnd : radio.blockEnds)
                child.AddGate(nHead + nEnd);
        });
        reader->EnableIcyMetadata();
        ASSERT_EQ(reader->Open(), 1);
        ASSERT_TRUE(reader.pChild->WaitUntilHeldAt(0, 5000));
        EXPECT_EQ(StreamTitle(*reader), test.bInline ? u" Inline radio" : u"Station \u00FC") << "the name first";
        for (size_t i = 0; i < blocks.size(); ++i) {
            reader.pChild->Release();
            ASSERT_TRUE(reader.pChild->WaitUntilHeldAt(i + 1, 5000)) << "block " << i;
            EXPECT_EQ(StreamTitle(*reader), titles[i]) << "after block " << i;
        }
        reader.pChild->Release();
        EXPECT_TRUE(ReadToEnd(*reader, 4096) == audio) << "exactly the audio, nothing of the blocks";
        EXPECT_EQ(reader->GetPosition(), static_cast<int64_t>(audio.size()));
    }
}

std::u16string TitleAtReadPosition(VBufferedReader& reader, uint32_t& nToNext)
{
    const ZUBSTR bstr = reader.GetStreamTitleAtReadPosition(&nToNext);
    const std::u16string title = bstr ? reinterpret_cast<const char16_t*>(bstr) : u"(null)";
    ZUFreeString(bstr);
    return title;
}

// The whole stream is in the buffer before the host reads a byte, so the latest title is the last
// one; the title at the read position is the one whose block came before the bytes there, also
// after a step back.
TEST(BufferedReaderTest, WholeStreamAtOnceTitleAtEachReadPositionIsTheOneBeforeItsBytes)
{
    const std::vector<std::string> blocks = {"StreamTitle='First';", "StreamTitle='Second';", "StreamTitle='Third';"};
    const std::string audio = PatternBytes(3000 * blocks.size() + 500, 9);
    CBuffered reader(Interleave(audio, 3000, blocks).stream, 1 << 20, [](CScriptedReader& child) {
        child.SetInfo(u"icy-name", u"Station");
        child.SetInfo(u"icy-metaint", u"3000");
    });
    reader->EnableIcyMetadata();
    ASSERT_EQ(reader->Open(), 1);
    ASSERT_TRUE(WaitFor(5000, [&] { return StateOf(*reader).nEnd == 1; }));
    EXPECT_EQ(StreamTitle(*reader), u"Third") << "the latest title is what the network brought last";
    const std::u16string kTitles[] = {u"Station", u"First", u"Second", u"Third"};
    std::string read;
    for (int64_t nAt = 0; nAt < static_cast<int64_t>(audio.size()); nAt = reader->GetPosition()) {
        uint32_t nToNext = 0;
        const size_t nTitle = static_cast<size_t>(nAt / 3000);
        EXPECT_EQ(TitleAtReadPosition(*reader, nToNext), kTitles[nTitle]) << "at " << nAt;
        EXPECT_EQ(nToNext, nTitle < 3 ? static_cast<uint32_t>((nTitle + 1) * 3000 - nAt) : UINT32_MAX) << "at " << nAt;
        read += ReadUpTo(*reader, 700);
    }
    EXPECT_TRUE(read == audio);
    ASSERT_EQ(reader->SetPosition(3000, ZU_SEEK_BEGIN), 3000);
    uint32_t nToNext = 0;
    EXPECT_EQ(TitleAtReadPosition(*reader, nToNext), u"First") << "a step back brings the title back";
    EXPECT_EQ(nToNext, 3000u);
    ASSERT_EQ(reader->SetPosition(2999, ZU_SEEK_BEGIN), 2999);
    EXPECT_EQ(TitleAtReadPosition(*reader, nToNext), u"Station");
    EXPECT_EQ(nToNext, 1u);
}

// A real radio stream of known bytes, the odd server's, read to the end while another thread notes
// each new title. A real station (icecast, its titles and its audio decoded) is the command-line
// tool's check, which goes through this same reader.
TEST(BufferedReaderTest, OddServerRadioComesOutExactlyWithEveryTitle)
{
    ZU_REQUIRE_SERVERS();
    const std::u16string prefix = u"ZUReader odd radio|Title 0|Rock 'n' Roll \"2\"";
    const struct {
        const char* pszPath;
        int nLength;
        std::u16string titles;
    } kCases[] = {
        // Each block comes in two halves 150 ms apart, with a pause after it.
        {"/radio?metaint=4000&blocks=8&tail=77&pause=150", 4000 * 8 + 77, prefix + u"|Title 4|Rock 'n' Roll \"6\""},
        {"/radio?metaint=3000&blocks=3&inline=1&pause=100", 3000 * 3, prefix},
    };
    for (const auto& test : kCases) {
        SCOPED_TRACE(test.pszPath);
        CBufferedReader reader(GetInternetReader(Z(ServerUrl("ODD_HTTP", test.pszPath))));
        reader.SetBufferInFile(0);
        reader.SetBufferSize(4 << 20);
        reader.EnableIcyMetadata();
        reader.SetTimeout(10000);
        ASSERT_EQ(reader.Open(), 1);
        std::atomic<bool> bDone{false};
        std::u16string titles;
        std::thread watcher([&] {
            std::u16string last;
            for (bool bLast = false; !bLast; SleepMilliseconds(5)) {
                bLast = bDone;
                const std::u16string title = StreamTitle(reader);
                if (!title.empty() && title != last)
                    titles += (titles.empty() ? u"" : u"|") + (last = title);
            }
        });
        const std::string audio = ReadToEnd(reader, 1500);
        bDone = true;
        watcher.join();
        EXPECT_TRUE(audio == PatternBytes(test.nLength, 3)) << "got " << audio.size() << " bytes";
        EXPECT_EQ(Utf8(titles), Utf8(test.titles));
        EXPECT_EQ(reader.GetLength(), test.nLength) << "a live length is what has arrived";
    }
}

TEST(BufferedReaderTest, IcyWithoutAUsableIntervalPassesEveryByte)
{
    const std::string looksLikeBlocks = Interleave(PatternBytes(300, 10), 100, {"StreamTitle='x';", ""}).stream;
    CBuffered announced(looksLikeBlocks, 65536, [](CScriptedReader& child) {
        child.SetInfo(u"icy-name", u"Named");
        child.SetInfo(u"icy-metaint", u"none");
    });
    announced->EnableIcyMetadata();
    ASSERT_EQ(announced->Open(), 1);
    EXPECT_EQ(ReadToEnd(*announced, 1000), looksLikeBlocks);
    EXPECT_EQ(StreamTitle(*announced), u"Named");

    std::string plain;
    while (plain.size() < 5000)
        plain += "Plain text lines without a header or a blank line.\r\n";
    CBuffered unannounced(plain, 65536);
    unannounced->EnableIcyMetadata();
    ASSERT_EQ(unannounced->Open(), 1);
    EXPECT_EQ(ReadToEnd(*unannounced, 777), plain) << "the probed head goes back into the stream";
    EXPECT_EQ(StreamTitle(*unannounced), u"");
}

TEST(BufferedReaderThreadTest, StopEndsAWorkerWaitingOnAFullBuffer)
{
    CBuffered reader(PatternBytes(1048576, 12), 4096);
    ASSERT_EQ(reader->Open(), 1);
    ASSERT_TRUE(WaitFor(5000, [&] { return StateOf(*reader).nBuffered == 4095; }));
    uint32_t nStart = TickCount();
    EXPECT_EQ(reader->StopBuffering(), 1);
    EXPECT_LT(TickCount() - nStart, 1000u);
    EXPECT_EQ(StateOf(*reader).nActive, 0u);
    EXPECT_EQ(reader->Open(), 1) << "a new worker after a stop";
    nStart = TickCount();
    reader->Close();
    EXPECT_LT(TickCount() - nStart, 1000u) << "Close also ends a full buffer's wait at once";
}

TEST(BufferedReaderThreadTest, StopEndsAWorkerWaitingToRetry)
{
    CBuffered reader("", 4096);
    reader->SetRetryTime(60000);
    ASSERT_EQ(reader->Open(), 1);
    ASSERT_TRUE(WaitFor(5000, [&] { return reader.pChild->ReadCalls() >= 2; })) << "retrying";
    const uint32_t nStart = TickCount();
    reader->StopBuffering();
    EXPECT_LT(TickCount() - nStart, 1000u) << "the retry wait ends with the stop";
}

TEST(BufferedReaderThreadTest, StopEndsAWorkerBlockedInTheChildWithinItsTimeout)
{
    CBuffered reader(PatternBytes(100, 13), 4096, [](CScriptedReader& child) { child.AddGate(0); });
    ASSERT_EQ(reader->Open(), 1);
    ASSERT_TRUE(reader.pChild->WaitUntilHeldAt(0, 5000));
    const uint32_t nStart = TickCount();
    reader->StopBuffering();
    const uint32_t nElapsed = TickCount() - nStart;
    EXPECT_GE(nElapsed, static_cast<uint32_t>(CBackgroundReaderThread::kStopTimeout) - 100) << "waited first";
    EXPECT_LT(nElapsed, static_cast<uint32_t>(CBackgroundReaderThread::kStopTimeout) + 2000) << "then killed";
    EXPECT_EQ(StateOf(*reader).nActive, 0u);
}

// The caller's read waits for the worker, which waits in a remote child (a stalled server).
TEST(BufferedReaderThreadTest, CloseWakesAReadBlockedInAnotherThread)
{
    CBuffered reader(PatternBytes(100, 14), 4096, [](CScriptedReader& child) {
        child.SetLive();
        child.AddGate(0);
    });
    ASSERT_EQ(reader->Open(), 1);
    ASSERT_TRUE(reader.pChild->WaitUntilHeldAt(0, 5000));
    std::atomic<uint32_t> nRead{12345};
    std::thread blocked([&] { nRead = ReadUpTo(*reader, 100).size(); });
    SleepMilliseconds(100);
    EXPECT_EQ(nRead.load(), 12345u) << "the read is still waiting";
    const uint32_t nStart = TickCount();
    reader->Close();
    blocked.join();
    EXPECT_LT(TickCount() - nStart, 2000u) << "the child's Close ends its read, the stop ends ours";
    EXPECT_EQ(nRead.load(), 0u);
    EXPECT_EQ(reader.pChild->IsOpen(), 0);
}

// The worker fills the ring (its write index away from the end of the memory, where a space to
// fill is cut short), the caller frees a little, and the worker's next child read is slow: the
// bytes just read stay within a step back's reach meanwhile, and the step costs the child nothing
// (before, the read had claimed that space and the step restarted the worker, which had to be
// killed in the child after its stop time-out).
TEST(BufferedReaderThreadTest, StepBackDuringASlowChildReadIsServedFromTheBuffer)
{
    const std::string bytes = PatternBytes(10000, 15);
    CBuffered reader(bytes, 4096, [](CScriptedReader& child) { child.AddGate(4095 + 2000); });
    ASSERT_EQ(reader->Open(), 1);
    ASSERT_TRUE(WaitFor(5000, [&] { return StateOf(*reader).nBuffered == 4095; }));
    EXPECT_EQ(ReadUpTo(*reader, 2000), bytes.substr(0, 2000));
    ASSERT_TRUE(WaitFor(5000, [&] { return StateOf(*reader).nBuffered == 4095; }));
    EXPECT_EQ(ReadUpTo(*reader, 100), bytes.substr(2000, 100));
    ASSERT_TRUE(reader.pChild->WaitUntilHeldAt(0, 5000)) << "the worker's next read waits in the child";
    const int nSeeks = reader.pChild->SeekCalls();
    const uint32_t nStart = TickCount();
    EXPECT_EQ(reader->SetPosition(-10, ZU_SEEK_CURRENT), 2090);
    EXPECT_LT(TickCount() - nStart, 1000u);
    EXPECT_EQ(reader.pChild->SeekCalls(), nSeeks) << "the step back restarted the worker";
    EXPECT_EQ(ReadUpTo(*reader, 10), bytes.substr(2090, 10));
    reader.pChild->Release();
    EXPECT_EQ(ReadToEnd(*reader, 1000), bytes.substr(2100));
}

// A local child's read is let finish before the child is closed: closing a file under a read on
// another thread may hand the read another file that got the same descriptor.
TEST(BufferedReaderThreadTest, CloseLetsALocalChildsReadInFlightFinishFirst)
{
    CBuffered reader(PatternBytes(1048576, 16), 65536, [](CScriptedReader& child) { child.SetReadDelay(400); });
    ASSERT_EQ(reader->Open(), 1);
    ASSERT_TRUE(WaitFor(5000, [&] { return reader.pChild->ReadCalls() >= 1; }));
    const uint32_t nStart = TickCount();
    reader->Close();
    EXPECT_LT(TickCount() - nStart, 2000u) << "a read that ends on its own is waited for, not killed";
    EXPECT_EQ(reader.pChild->ClosesUnderARead(), 0);
    EXPECT_EQ(reader.pChild->IsOpen(), 0);
}

// A caller restarts the worker over and over (seeks outside the window, and the lazy start of a
// Read) while another closes the reader or switches buffering off. Every Close must stop the
// worker that exists when it takes the lock, not only the one it signalled before, and leave the
// child alone until that worker is out of it: the local file under the ring would otherwise be
// closed under a read (ThreadSanitizer reports the race).
TEST(BufferedReaderConcurrencyTest, RestartOnOneThreadWhileAnotherClosesOrSwitchesBufferingOff)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"source.bin");
    const std::string bytes = PatternBytes(4 * 1048576 + 3, 17);
    WriteFile(path, bytes);
    CReaderPtr pGeneric(GetBufferedReader(GetLocalReader(Z(path))));
    auto& reader = static_cast<VBufferedReader&>(*pGeneric);
    reader.SetBufferInFile(0);
    reader.SetBufferSize(262144);
    for (int nRound = 0; nRound < 12; ++nRound) {
        ASSERT_EQ(reader.Open(), 1);
        reader.SetBuffering(1);
        std::atomic<bool> bDone{false};
        std::atomic<int> nWrong{0};
        std::thread caller([&] {
            for (uint32_t i = 0; !bDone; ++i) {
                const int64_t nTarget = (i * 1048573ll + nRound * 7919ll) % static_cast<int64_t>(bytes.size());
                const int64_t nAt = reader.SetPosition(nTarget, ZU_SEEK_BEGIN);
                const std::string got = ReadUpTo(reader, 4096);
                // Once closed, reads find nothing; while open, whatever comes is the file's.
                if (nAt == nTarget && !got.empty() && got != bytes.substr(static_cast<size_t>(nTarget), got.size()))
                    ++nWrong;
            }
        });
        SleepMilliseconds(20 + 5 * (nRound % 4));
        if (nRound % 2 == 0)
            reader.Close();
        else
            reader.SetBuffering(0);
        SleepMilliseconds(10);
        bDone = true;
        caller.join();
        EXPECT_EQ(nWrong.load(), 0) << "round " << nRound;
        reader.Close();
    }
}
