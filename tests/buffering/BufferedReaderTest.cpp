#include "TestSupport.h"

#include "buffering/BackgroundReaderThread.h"
#include "buffering/BufferedReader.h"
#include "buffering/IcyMetadata.h"
#include "buffering/ScriptedReader.h"
#include "core/MemoryReader.h"
#include "platform/File.h"
#include "platform/System.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <functional>
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

bool WaitFor(uint32_t nMilliseconds, const std::function<bool()>& condition)
{
    const uint32_t nStart = TickCount();
    while (!condition()) {
        if (TickCount() - nStart > nMilliseconds)
            return false;
        SleepMilliseconds(2);
    }
    return true;
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
        pReader.reset(new VBufferedReader(pChild));
        pReader->SetBufferInFile(0);
        pReader->SetBufferSize(nCapacity);
    }
    VBufferedReader& operator*() { return *pReader; }
    VBufferedReader* operator->() { return pReader.get(); }
};

// An Internet-radio stream: the audio cut into intervals with one metadata block after each.
std::string MetadataBlock(const std::string& text)
{
    const size_t nUnits = (text.size() + 15) / 16;
    std::string block(1, static_cast<char>(nUnits));
    block += text;
    block.resize(1 + nUnits * 16, '\0');
    return block;
}

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
        radio.stream += text.empty() ? std::string(1, '\0') : MetadataBlock(text);
        radio.blockEnds.push_back(static_cast<int64_t>(radio.stream.size()));
    }
    radio.stream += audio.substr(nAudio);
    return radio;
}

const std::vector<std::string> kBlocks = {
    "StreamTitle='One';",
    "",
    "StreamTitle='Rock 'n' Roll \"2\"';StreamUrl='http://127.0.0.1/';",
    "StreamUrl='http://127.0.0.1/no-title';",
    "StreamTitle='" + std::string(300, 'L') + "';",
    "StreamTitle='no end to this one",
    "StreamTitle='Caf\xC3\xA9';",
};
const std::vector<std::u16string> kTitlesAfterBlocks = {
    u"One", u"One", u"Rock 'n' Roll \"2\"", u"Rock 'n' Roll \"2\"", std::u16string(255, u'L'), u"", u"Caf\u00E9",
};

}  // namespace

TEST(BufferedReaderTest, ReadsAheadOfTheCallerAndReportsItsState)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"source.bin");
    const std::string bytes = PatternBytes(3 * 1048576 + 17);
    WriteFile(path, bytes);
    CReaderPtr pGeneric(GetBufferedReader(GetLocalReader(Z(path))));
    ASSERT_TRUE(pGeneric);
    EXPECT_EQ(pGeneric->GetType(), 8u);
    auto& reader = static_cast<VBufferedReader&>(*pGeneric);
    reader.SetBufferInFile(0);
    reader.SetBufferSize(1048576);

    CState state = StateOf(reader);
    EXPECT_EQ(state.nActive, 0u);
    EXPECT_EQ(state.nCapacity, 1048576u) << "the configured size before a worker exists";
    EXPECT_EQ(reader.GetBufferFullness(), 0.0f);

    ASSERT_EQ(reader.Open(), 1);
    EXPECT_EQ(reader.GetLength(), static_cast<int64_t>(bytes.size())) << "a known length is the child's";
    ASSERT_TRUE(WaitFor(5000, [&] { return StateOf(reader).nBuffered == 1048575; }))
        << "the worker fills the buffer to capacity - 1 and waits";
    EXPECT_NEAR(reader.GetBufferFullness(), 1048575.0f / 1048576.0f, 1e-6);
    state = StateOf(reader);
    EXPECT_EQ(state.nActive, 1u);
    EXPECT_EQ(state.nEnd, 0u);

    char nothing = 0;
    EXPECT_EQ(reader.Read(&nothing, 0), 0u);
    std::string got;
    for (std::string part; !(part = ReadUpTo(reader, 100003)).empty();)
        got += part;
    EXPECT_TRUE(got == bytes) << "read " << got.size() << " of " << bytes.size() << " bytes";
    EXPECT_EQ(reader.GetPosition(), static_cast<int64_t>(bytes.size()));
    EXPECT_EQ(reader.Read(&nothing, 1), 0u) << "the end stays the end";
    state = StateOf(reader);
    EXPECT_EQ(state.nEnd, 1u);
    EXPECT_EQ(state.nBuffered, 0u);
    reader.Close();
    EXPECT_EQ(StateOf(reader).nActive, 0u) << "Close removes the worker";
}

TEST(BufferedReaderTest, BufferInANamedFileKeepsWhatTheWorkerWrote)
{
    CTempFolder folder;
    const std::u16string ringPath = folder.File(u"ring.dat");
    const std::string bytes = PatternBytes(10000, 2);
    auto* pChild = new CMemoryReader(ZU_READER_MEMORY);
    ASSERT_TRUE(pChild->Copy(bytes.data(), static_cast<int32_t>(bytes.size())));
    {
        VBufferedReader reader(pChild);
        reader.SetBufferFile(Z(ringPath));
        reader.SetBufferSize(65536);
        ASSERT_EQ(reader.Open(), 1);
        EXPECT_EQ(ReadToEnd(reader, 3000), bytes);
        EXPECT_EQ(zu::platform::FileSizeByName(ringPath), 65536) << "mapped whole while in use";
    }
    EXPECT_EQ(ReadFile(ringPath), bytes) << "a ring that never wrapped leaves exactly its bytes";

    VBufferedReader unusable(new CMemoryReader(ZU_READER_MEMORY));
    unusable.SetBufferFile(Z(folder.File(u"no such folder/ring.dat")));
    EXPECT_EQ(unusable.Open(), 0) << "a buffer without memory fails the open";
    char byte = 0;
    EXPECT_EQ(unusable.Read(&byte, 1), 0u);
}

TEST(BufferedReaderTest, WithoutAChildNothingIsReadOrMoved)
{
    CReaderPtr pReader(GetBufferedReader(nullptr));
    ASSERT_TRUE(pReader);
    auto& reader = static_cast<VBufferedReader&>(*pReader);
    EXPECT_EQ(reader.Open(), 0);
    char byte = 0;
    EXPECT_EQ(reader.Read(&byte, 1), 0u);
    EXPECT_EQ(reader.GetLength(), -1);
    EXPECT_EQ(reader.GetPosition(), 0);
    EXPECT_EQ(reader.SetPosition(10, ZU_SEEK_BEGIN), -1);
    EXPECT_EQ(StreamTitle(reader), u"");
    reader.Close();
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
    EXPECT_EQ(reader->SetPosition(9990, ZU_SEEK_BEGIN), 9990) << "the same place is no seek";
    EXPECT_EQ(reader->SetPosition(0, 3), -1) << "no such origin";
    EXPECT_EQ(reader->SetPosition(-1, ZU_SEEK_BEGIN), -1);
    EXPECT_EQ(reader->GetPosition(), 9990);
    EXPECT_EQ(reader.pChild->ReadCalls(), nReads) << "the child was not read again";
    EXPECT_EQ(reader.pChild->SeekCalls(), nSeeks) << "nor moved";

    EXPECT_EQ(reader->SetPosition(nOldest - 1, ZU_SEEK_BEGIN), nOldest - 1) << "one byte further restarts";
    EXPECT_GT(reader.pChild->SeekCalls(), nSeeks);
    EXPECT_EQ(ReadUpTo(*reader, 200), bytes.substr(nOldest - 1, 200));
    EXPECT_EQ(reader->GetPosition(), nOldest + 199);
}

TEST(BufferedReaderTest, SeekPastTheWrittenBytesRestartsTheWorkerThere)
{
    const std::string bytes = PatternBytes(1048576, 4);
    CBuffered reader(bytes, 4096);
    ASSERT_EQ(reader->Open(), 1);
    EXPECT_EQ(ReadUpTo(*reader, 1000), bytes.substr(0, 1000));
    ASSERT_TRUE(WaitFor(5000, [&] { return StateOf(*reader).nBuffered == 4095; }));
    EXPECT_EQ(reader->SetPosition(500000, ZU_SEEK_BEGIN), 500000);
    EXPECT_EQ(reader.pChild->GetPosition() >= 500000, true) << "the new worker reads from there";
    EXPECT_EQ(ReadUpTo(*reader, 5000), bytes.substr(500000, 5000));
    EXPECT_EQ(reader->SetPosition(-1000, ZU_SEEK_END), 1048576 - 1000);
    EXPECT_EQ(ReadToEnd(*reader, 300), bytes.substr(1048576 - 1000));
}

TEST(BufferedReaderTest, LiveSourceGrowsAndRefusesSeeksOutsideTheWindow)
{
    const std::string bytes = PatternBytes(10000, 5);
    CBuffered reader(bytes, 4096, [](CScriptedReader& child) {
        child.SetRemote(true, true);
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
    EXPECT_LT(TickCount() - nStart, 400u);
    EXPECT_EQ(ReadUpTo(*reader, 10), "") << "nothing, at once";
    EXPECT_EQ(StateOf(*reader).nActive, 1u) << "the worker still retries";

    reader->SetWaitAtEnd(1);
    std::thread grow([&] {
        SleepMilliseconds(200);
        reader.pChild->Append(bytes.substr(1000));
    });
    nStart = TickCount();
    EXPECT_EQ(ReadUpTo(*reader, 2000), bytes.substr(1000)) << "waits until the retry brings the rest";
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
    EXPECT_EQ(reader.pChild->GetPosition(), 5000);
    const int nReads = reader.pChild->ReadCalls();
    EXPECT_EQ(ReadUpTo(*reader, 1000), bytes.substr(5000, 1000));
    EXPECT_EQ(reader.pChild->ReadCalls(), nReads + 1) << "a pass-through read is the child's";
    EXPECT_EQ(reader->GetPosition(), 6000);
    reader->SetBuffering(1);
    EXPECT_EQ(StateOf(*reader).nActive, 0u) << "nothing until the next read";
    EXPECT_EQ(ReadUpTo(*reader, 1000), bytes.substr(6000, 1000));
    EXPECT_EQ(StateOf(*reader).nActive, 1u);
    EXPECT_EQ(reader->GetPosition(), 7000);
}

TEST(IcyMetadataTest, ReadsHeadersBlocksIntervalsAndTitleText)
{
    const std::string head =
        "ICY 200 OK\r\nSong-Name: A song\nicy-name: The station\r\nArtist-Name:Someone\nicy-metaint:8192\r\n\r\nAUDIO";
    CIcyMetadata::CStreamHeader header =
        CIcyMetadata::ParseStreamHeader(reinterpret_cast<const unsigned char*>(head.data()), head.size());
    EXPECT_EQ(header.m_Title, " The station") << "icy-name wins over Song-Name, blanks and all";
    EXPECT_EQ(header.m_IntervalText, "8192");
    EXPECT_EQ(header.m_nHeaderLength, head.size() - 5);

    const std::string bare = std::string("icy-metaint:100\r\n\0\0audio", 25);
    header = CIcyMetadata::ParseStreamHeader(reinterpret_cast<const unsigned char*>(bare.data()), bare.size());
    EXPECT_EQ(header.m_Title, "") << "no icy-name, no title, even with a Song-Name elsewhere";
    EXPECT_EQ(header.m_nHeaderLength, 18u) << "two NULs after a line end read as a blank line";

    const std::string late = std::string(1023, 'x') + "\r\n\r\n";
    header = CIcyMetadata::ParseStreamHeader(reinterpret_cast<const unsigned char*>(late.data()), late.size());
    EXPECT_EQ(header.m_nHeaderLength, 0u) << "only the first 1023 bytes are searched";

    EXPECT_EQ(CIcyMetadata::ParseInterval(" 16000"), 16000);
    EXPECT_EQ(CIcyMetadata::ParseInterval("8192 bytes"), 8192);
    EXPECT_EQ(CIcyMetadata::ParseInterval("abc"), 0);
    EXPECT_EQ(CIcyMetadata::ParseInterval(""), 0);
    EXPECT_EQ(CIcyMetadata::ParseInterval("-5"), -5);
    EXPECT_EQ(CIcyMetadata::ParseInterval("99999999999"), INT32_MAX);

    std::string title = "old";
    const std::string nulInside = std::string("StreamUrl='x';\0StreamTitle='hidden';", 36);
    EXPECT_FALSE(CIcyMetadata::ApplyBlock(reinterpret_cast<const unsigned char*>(nulInside.data()),
                                          nulInside.size(), title));
    EXPECT_EQ(title, "old") << "the block's text ends at its first NUL";

    EXPECT_EQ(CIcyMetadata::TitleToText("Caf\xC3\xA9"), u"Caf\u00E9") << "UTF-8 where it is UTF-8";
    EXPECT_EQ(CIcyMetadata::TitleToText("Caf\xE9"), u"Caf\u00E9") << "one character a byte otherwise";
    EXPECT_EQ(CIcyMetadata::TextToTitle(u"Caf\u00E9"), "Caf\xE9");
    EXPECT_EQ(CIcyMetadata::TextToTitle(u"\u20AC"), "\xE2\x82\xAC");
    EXPECT_EQ(CIcyMetadata::TextToTitle(std::u16string(300, u'a')).size(), 255u);
}

TEST(BufferedReaderTest, IcyBlocksAreStrippedAndEveryTitleFollows)
{
    const std::string audio = PatternBytes(1000 * kBlocks.size() + 123, 8);
    const CRadio radio = Interleave(audio, 1000, kBlocks);
    // Whole reads, and short reads that cut blocks apart.
    for (const uint32_t nMaxPerRead : {0xFFFFFFFFu, 61u}) {
        SCOPED_TRACE(nMaxPerRead);
        CBuffered reader(radio.stream, 65536, [&](CScriptedReader& child) {
            child.SetRemote(true, true);
            child.SetMaxPerRead(nMaxPerRead);
            child.SetInfo(u"icy-name", u"Station \u00FC");
            child.SetInfo(u"icy-metaint", u"1000");
            child.AddGate(0);
            for (const int64_t nEnd : radio.blockEnds)
                child.AddGate(nEnd);
        });
        reader->EnableIcyMetadata();
        ASSERT_EQ(reader->Open(), 1);
        ASSERT_TRUE(reader.pChild->WaitUntilHeldAt(0, 5000));
        EXPECT_EQ(StreamTitle(*reader), u"Station \u00FC") << "the station's name comes first";
        for (size_t i = 0; i < kBlocks.size(); ++i) {
            reader.pChild->Release();
            ASSERT_TRUE(reader.pChild->WaitUntilHeldAt(i + 1, 5000)) << "block " << i;
            EXPECT_EQ(StreamTitle(*reader), kTitlesAfterBlocks[i]) << "after block " << i;
        }
        reader.pChild->Release();
        EXPECT_TRUE(ReadToEnd(*reader, 4096) == audio) << "exactly the audio, nothing of the blocks";
        EXPECT_EQ(reader->GetPosition(), static_cast<int64_t>(audio.size()));
    }
}

TEST(BufferedReaderTest, IcyHeaderAtTheHeadOfTheStream)
{
    const std::string audio = PatternBytes(2000 * 3 + 10, 9);
    const std::string head =
        "ICY 200 OK\r\nSong-Name: A song\nicy-name: Inline radio\r\nArtist-Name:x\nicy-metaint:2000\r\n\r\n";
    const CRadio radio = Interleave(audio, 2000, {"StreamTitle='First';", "", "StreamTitle='Third';"});
    CBuffered reader(head + radio.stream, 65536, [&](CScriptedReader& child) {
        child.SetRemote(true, true);
        child.SetMaxPerRead(300);
        child.AddGate(1024);
    });
    reader->EnableIcyMetadata();
    ASSERT_EQ(reader->Open(), 1);
    ASSERT_TRUE(reader.pChild->WaitUntilHeldAt(0, 5000));
    EXPECT_EQ(StreamTitle(*reader), u" Inline radio") << "the header's icy-name, as it stands";
    reader.pChild->Release();
    EXPECT_TRUE(ReadToEnd(*reader, 1500) == audio) << "the header and the blocks are gone";
    EXPECT_EQ(StreamTitle(*reader), u"Third");
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

TEST(BufferedReaderThreadTest, ReadWaitsForTheWorkerAndWakesWhenBytesArrive)
{
    const std::string bytes = PatternBytes(5000, 11);
    CBuffered reader(bytes, 65536, [](CScriptedReader& child) { child.AddGate(0); });
    ASSERT_EQ(reader->Open(), 1);
    ASSERT_TRUE(reader.pChild->WaitUntilHeldAt(0, 5000));
    std::thread release([&] {
        SleepMilliseconds(150);
        reader.pChild->Release();
    });
    const uint32_t nStart = TickCount();
    EXPECT_EQ(ReadUpTo(*reader, 5000), bytes);
    EXPECT_GE(TickCount() - nStart, 100u) << "the read waited for the bytes";
    release.join();
}

TEST(BufferedReaderThreadTest, StopEndsAWorkerWaitingOnAFullBuffer)
{
    CBuffered reader(PatternBytes(1048576, 12), 4096);
    ASSERT_EQ(reader->Open(), 1);
    ASSERT_TRUE(WaitFor(5000, [&] { return StateOf(*reader).nBuffered == 4095; }));
    const uint32_t nStart = TickCount();
    EXPECT_EQ(reader->StopBuffering(), 1);
    EXPECT_LT(TickCount() - nStart, 1000u);
    EXPECT_EQ(StateOf(*reader).nActive, 0u);
    EXPECT_EQ(reader->Open(), 1) << "a new worker after a stop";
    const uint32_t nCloseStart = TickCount();
    reader->Close();
    EXPECT_LT(TickCount() - nCloseStart, 1000u) << "Close also ends a full buffer's wait at once";
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
    CBuffered reader(PatternBytes(100, 13), 4096, [](CScriptedReader& child) { child.BlockReads(false); });
    ASSERT_EQ(reader->Open(), 1);
    ASSERT_TRUE(reader.pChild->WaitUntilBlocked(5000));
    const uint32_t nStart = TickCount();
    reader->StopBuffering();
    const uint32_t nElapsed = TickCount() - nStart;
    EXPECT_GE(nElapsed, static_cast<uint32_t>(CBackgroundReaderThread::kStopTimeout) - 100) << "waited first";
    EXPECT_LT(nElapsed, static_cast<uint32_t>(CBackgroundReaderThread::kStopTimeout) + 2000) << "then killed";
    EXPECT_EQ(StateOf(*reader).nActive, 0u);
}

TEST(BufferedReaderThreadTest, CloseWakesAReadBlockedInAnotherThread)
{
    CBuffered reader(PatternBytes(100, 14), 4096, [](CScriptedReader& child) { child.BlockReads(true); });
    ASSERT_EQ(reader->Open(), 1);
    ASSERT_TRUE(reader.pChild->WaitUntilBlocked(5000));
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

TEST(BufferedReaderThreadTest, TitleAndStateQueriesRunConcurrentlyWithReads)
{
    std::vector<std::string> blocks;
    for (int i = 0; i < 102; ++i)
        blocks.push_back(i % 3 == 1 ? "" : "StreamTitle='Song " + std::to_string(i) + "';");
    const std::string audio = PatternBytes(512 * blocks.size(), 15);
    const CRadio radio = Interleave(audio, 512, blocks);
    CBuffered reader(radio.stream, 8192, [](CScriptedReader& child) {
        child.SetRemote(true, true);
        child.SetMaxPerRead(300);
        child.SetInfo(u"icy-name", u"Station");
        child.SetInfo(u"icy-metaint", u"512");
    });
    reader->EnableIcyMetadata();
    ASSERT_EQ(reader->Open(), 1);
    std::atomic<bool> bDone{false};
    std::vector<std::u16string> seen;
    std::thread watcher([&] {
        while (!bDone) {
            const std::u16string title = StreamTitle(*reader);
            if (seen.empty() || seen.back() != title)
                seen.push_back(title);
            reader->GetBufferFullness();
            SleepMilliseconds(1);
        }
    });
    const std::string got = ReadToEnd(*reader, 333);
    bDone = true;
    watcher.join();
    EXPECT_TRUE(got == audio);
    EXPECT_EQ(StreamTitle(*reader), u"Song 101");
    for (const std::u16string& title : seen)
        EXPECT_TRUE(title.empty() || title == u"Station" || title.rfind(u"Song ", 0) == 0) << Utf8(title);
}
