// The read-ahead reader over the Internet reader against real radio streams: the odd server's
// stream of known bytes, and icecast2 playing an MP3 that ffmpeg feeds it, with titles changed
// through icecast's admin interface while the test listens.
#include "ServerSupport.h"
#include "TestSupport.h"

#include "buffering/BufferedReader.h"
#include "platform/System.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

using namespace zutest;
using zu::platform::SleepMilliseconds;
using zu::platform::TickCount;

namespace {

std::u16string StreamTitle(VBufferedReader& reader)
{
    const ZUBSTR bstr = reader.GetStreamTitle();
    const std::u16string title = reinterpret_cast<const char16_t*>(bstr);
    ZUFreeString(bstr);
    return title;
}

// A radio through the read-ahead reader that strips its metadata, opened.
CReaderPtr OpenRadio(const std::u16string& url)
{
    CReaderPtr pReader(GetBufferedReader(GetInternetReader(Z(url))));
    auto& reader = static_cast<VBufferedReader&>(*pReader);
    reader.SetBufferInFile(0);
    reader.SetBufferSize(4 << 20);
    reader.EnableIcyMetadata();
    reader.SetTimeout(10000);
    EXPECT_EQ(reader.Open(), 1) << Utf8(url);
    return pReader;
}

// Reads the whole stream while another thread notes every title the reader reports.
struct CListening {
    std::string audio;
    std::vector<std::u16string> titles;
};

CListening ListenToEnd(VBufferedReader& reader)
{
    CListening listening;
    std::atomic<bool> bDone{false};
    std::thread watcher([&] {
        for (bool bLast = false; !bLast;) {
            bLast = bDone;
            const std::u16string title = StreamTitle(reader);
            if (!title.empty() && (listening.titles.empty() || listening.titles.back() != title))
                listening.titles.push_back(title);
            SleepMilliseconds(5);
        }
    });
    for (std::string part; !(part = ReadUpTo(reader, 1500)).empty();)
        listening.audio += part;
    bDone = true;
    watcher.join();
    return listening;
}

std::u16string Ascii(const std::string& text)
{
    return std::u16string(text.begin(), text.end());
}

std::string PercentEncoded(const std::string& text)
{
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (const unsigned char c : text) {
        if (isalnum(c) || c == '-' || c == '_' || c == '.')
            out += static_cast<char>(c);
        else
            out += {'%', kHex[c >> 4], kHex[c & 15]};
    }
    return out;
}

// The station's title, through icecast's admin interface and the library's own Internet reader.
bool SetIcecastTitle(const std::string& title)
{
    const std::string path = "/admin/metadata?mount=" + ServerValue("ICECAST_MOUNT") +
                             "&mode=updinfo&song=" + PercentEncoded(title);
    CReaderPtr pAdmin(GetInternetReader(Z(ServerUrl("ICECAST", path))));
    pAdmin->SetOption(Z(u"AUTH_USERNAME"), Z(Ascii(ServerValue("ICECAST_ADMIN_USER"))));
    pAdmin->SetOption(Z(u"AUTH_PASSWORD"), Z(Ascii(ServerValue("ICECAST_ADMIN_PASSWORD"))));
    if (!pAdmin->Open())
        return false;
    std::string answer;
    for (std::string part; !(part = ReadUpTo(*pAdmin, 4096)).empty();)
        answer += part;
    return answer.find("Metadata update successful") != std::string::npos;
}

// MPEG-1 Layer III frames, as the radio sends them.
size_t FrameLength(const std::string& bytes, size_t nAt)
{
    static const int kKilobits[] = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0};
    static const int kRates[] = {44100, 48000, 32000, 0};
    if (nAt + 4 > bytes.size())
        return 0;
    const auto* h = reinterpret_cast<const unsigned char*>(bytes.data() + nAt);
    if (h[0] != 0xFF || (h[1] & 0xFE) != 0xFA)
        return 0;
    const int nKilobits = kKilobits[h[2] >> 4];
    const int nRate = kRates[(h[2] >> 2) & 3];
    if (nKilobits == 0 || nRate == 0)
        return 0;
    return static_cast<size_t>(144000 * nKilobits / nRate + ((h[2] >> 1) & 1));
}

struct CFrames {
    size_t nStart = 0;     // the first frame
    size_t nEnd = 0;       // just after the last whole frame
    size_t nCount = 0;
    size_t nBroken = 0;    // where a frame was expected and none began; 0 when none
};

// Walks the frames from the first place where two follow each other; every frame must start
// exactly where the one before ends, up to the last whole one.
CFrames WalkFrames(const std::string& bytes)
{
    CFrames frames;
    size_t nAt = 0;
    while (nAt < bytes.size() && !(FrameLength(bytes, nAt) && FrameLength(bytes, nAt + FrameLength(bytes, nAt))))
        ++nAt;
    frames.nStart = frames.nEnd = nAt;
    for (size_t nLength; nAt + 4 <= bytes.size(); nAt += nLength) {
        nLength = FrameLength(bytes, nAt);
        if (nLength == 0) {
            frames.nBroken = nAt;
            break;
        }
        if (nAt + nLength > bytes.size())
            break;
        frames.nEnd = nAt + nLength;
        ++frames.nCount;
    }
    return frames;
}

}  // namespace

TEST(BufferedRadioTest, OddServerStreamComesOutExactlyWithEveryTitle)
{
    ZU_REQUIRE_SERVERS();
    // Each block comes in two halves 150 ms apart, with a pause after it.
    CReaderPtr pReader = OpenRadio(ServerUrl("ODD_HTTP", "/radio?metaint=4000&blocks=8&tail=77&pause=150"));
    ASSERT_TRUE(pReader);
    auto& reader = static_cast<VBufferedReader&>(*pReader);
    const CListening listening = ListenToEnd(reader);
    EXPECT_TRUE(listening.audio == PatternBytes(4000 * 8 + 77, 3)) << "got " << listening.audio.size() << " bytes";
    const std::vector<std::u16string> expected = {u"ZUReader odd radio", u"Title 0", u"Rock 'n' Roll \"2\"",
                                                  u"Title 4", u"Rock 'n' Roll \"6\""};
    EXPECT_EQ(listening.titles, expected);
    EXPECT_EQ(reader.GetLength(), 4000 * 8 + 77) << "a live length is what has arrived";
}

TEST(BufferedRadioTest, OddServerHeaderInTheBody)
{
    ZU_REQUIRE_SERVERS();
    CReaderPtr pReader = OpenRadio(ServerUrl("ODD_HTTP", "/radio?metaint=3000&blocks=3&inline=1&pause=100"));
    ASSERT_TRUE(pReader);
    auto& reader = static_cast<VBufferedReader&>(*pReader);
    const CListening listening = ListenToEnd(reader);
    EXPECT_TRUE(listening.audio == PatternBytes(3000 * 3, 3)) << "got " << listening.audio.size() << " bytes";
    const std::vector<std::u16string> expected = {u"ZUReader odd radio", u"Title 0", u"Rock 'n' Roll \"2\""};
    EXPECT_EQ(listening.titles, expected);
}

TEST(BufferedRadioTest, IcecastTitlesArriveAndTheAudioStaysWhole)
{
    ZU_REQUIRE_SERVERS();
    if (ServerValue("ICECAST").empty())
        GTEST_SKIP() << "the servers were started without icecast";
    CReaderPtr pReader = OpenRadio(ServerUrl("ICECAST", ServerValue("ICECAST_MOUNT")));
    ASSERT_TRUE(pReader);
    auto& reader = static_cast<VBufferedReader&>(*pReader);

    std::string audio;
    const std::string run = std::to_string(TickCount());
    for (int i = 0; i < 3; ++i) {
        const std::string title = "Loopback " + run + " #" + std::to_string(i) + " Rock 'n' Roll \"live\"";
        ASSERT_TRUE(SetIcecastTitle(title)) << title;
        const std::u16string wanted = Ascii(title);
        const uint32_t nStart = TickCount();
        while (StreamTitle(reader) != wanted) {
            ASSERT_LT(TickCount() - nStart, 15000u) << "no " << title << " in the stream";
            const std::string part = ReadUpTo(reader, 4096);
            ASSERT_FALSE(part.empty()) << "the stream ended";
            audio += part;
        }
    }
    reader.Close();

    const CFrames frames = WalkFrames(audio);
    EXPECT_LT(frames.nStart, 1441u) << "the first frame starts at once";
    EXPECT_EQ(frames.nBroken, 0u) << "a frame broken at byte " << frames.nBroken << " of " << audio.size();
    EXPECT_GT(frames.nCount, 38u) << "over a second of audio";
    EXPECT_GE(frames.nEnd + 1441, audio.size()) << "frames up to the end";

#ifndef _WIN32
    // The decoder's view, where it runs natively.
    CTempFolder folder;
    const std::string path = Utf8(folder.File(u"radio.mp3"));
    WriteFile(folder.File(u"radio.mp3"), audio.substr(frames.nStart, frames.nEnd - frames.nStart));
    auto run_tool = [](const std::string& command) {
        std::string output;
        if (FILE* pipe = popen((command + " 2>&1").c_str(), "r")) {
            char line[512];
            while (fgets(line, sizeof line, pipe))
                output += line;
            pclose(pipe);
        }
        return output;
    };
    EXPECT_EQ(run_tool("ffmpeg -nostdin -v error -i '" + path + "' -f null -"), "") << "decoder errors";
    const std::string counted = run_tool("ffprobe -v error -count_frames -select_streams a:0 "
                                         "-show_entries stream=nb_read_frames -of csv=p=0 '" + path + "'");
    const double dDecoded = std::atof(counted.c_str()) * 1152.0 / std::stod(ServerValue("ICECAST_SAMPLE_RATE"));
    const double dExpected = (frames.nEnd - frames.nStart) * 8.0 / std::stod(ServerValue("ICECAST_BITRATE"));
    EXPECT_NEAR(dDecoded, dExpected, 1152.0 / 44100) << "ffprobe counted " << counted;
#endif
}
