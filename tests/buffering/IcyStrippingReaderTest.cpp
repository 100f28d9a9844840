#include "TestSupport.h"

#include "buffering/IcyStrippingReader.h"
#include "buffering/ScriptedReader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace zutest;

namespace {

constexpr size_t kInterval = 1000;

// The audio cut into intervals with a metadata block after each (an empty one where the text is).
std::string Interleave(const std::string& audio, const std::vector<std::string>& blocks)
{
    std::string stream;
    size_t nAudio = 0;
    for (const std::string& text : blocks) {
        stream += audio.substr(nAudio, kInterval);
        nAudio += kInterval;
        const size_t nUnits = (text.size() + 15) / 16;
        stream += static_cast<char>(nUnits) + text + std::string(nUnits * 16 - text.size(), '\0');
    }
    return stream + audio.substr(nAudio);
}

std::string TitleAt(CIcyStrippingReader& reader, int64_t nPosition, int64_t& nToNext)
{
    return reader.Titles().At(nPosition, nToNext);
}

}  // namespace

// One thread, no buffer: the stripping alone, over a station on air (asked part by part) and over a
// recording (audio runs read with the length byte after them), with the header in the child's
// information or at the head of the stream, in reads of every size.
TEST(IcyStrippingReaderTest, AudioComesOutWholeAndEachTitleHoldsFromItsBlock)
{
    const std::vector<std::string> blocks = {"StreamTitle='One';", "", "StreamUrl='x';", "StreamTitle='Two';",
                                             "StreamTitle='Three';"};
    const std::string audio = PatternBytes(kInterval * blocks.size() + 321, 4);
    const std::string stream = Interleave(audio, blocks);
    const std::string head = "ICY 200 OK\r\nicy-name:Inline\r\nicy-metaint:1000\r\n\r\n";
    for (const bool bLive : {true, false}) {
        for (const bool bInline : {false, true}) {
            for (const uint32_t nMaxPerRead : {0xFFFFFFFFu, 61u}) {
                for (const uint32_t nRequest : {7u, 5000u}) {
                    SCOPED_TRACE(std::string(bLive ? "live" : "recorded") + (bInline ? " inline " : " ") +
                                 std::to_string(nMaxPerRead) + " " + std::to_string(nRequest));
                    CScriptedReader child((bInline ? head : "") + stream);
                    if (bLive)
                        child.SetLive();
                    child.SetMaxPerRead(nMaxPerRead);
                    if (!bInline) {
                        child.SetInfo(u"icy-name", u"Station");
                        child.SetInfo(u"icy-metaint", u"1000");
                    }
                    ASSERT_EQ(child.Open(), 1);
                    CIcyStrippingReader reader(&child);
                    std::string out;
                    for (std::string part; !(part = ReadUpTo(reader, nRequest)).empty();)
                        out += part;
                    EXPECT_TRUE(out == audio) << "got " << out.size() << " bytes of " << audio.size();

                    int64_t nToNext = 0;
                    EXPECT_EQ(TitleAt(reader, 0, nToNext), bInline ? "Inline" : "Station");
                    EXPECT_EQ(nToNext, 1000);
                    EXPECT_EQ(TitleAt(reader, 999, nToNext), bInline ? "Inline" : "Station");
                    EXPECT_EQ(TitleAt(reader, 1000, nToNext), "One") << "from the first byte after its block";
                    EXPECT_EQ(nToNext, 3000) << "the empty and title-less blocks change nothing";
                    EXPECT_EQ(TitleAt(reader, 3999, nToNext), "One");
                    EXPECT_EQ(TitleAt(reader, 4000, nToNext), "Two");
                    EXPECT_EQ(TitleAt(reader, 5000, nToNext), "Three");
                    EXPECT_EQ(nToNext, -1) << "no later title yet";
                    EXPECT_EQ(reader.Titles().Latest(), "Three");
                    EXPECT_EQ(child.IsOpen(), 1);
                }
            }
        }
    }
}

// On air, a read answers the audio it has once a part ends rather than ask for more, which could
// keep the block that follows (and its title) waiting for audio that has not been sent yet.
TEST(IcyStrippingReaderTest, OnAirAReadEndsWithTheAudioRunBeforeABlock)
{
    const std::string audio = PatternBytes(2 * kInterval, 6);
    CScriptedReader child(Interleave(audio, {"StreamTitle='Now';"}));
    child.SetLive();
    child.SetInfo(u"icy-name", u"Station");
    child.SetInfo(u"icy-metaint", u"1000");
    ASSERT_EQ(child.Open(), 1);
    CIcyStrippingReader reader(&child);
    EXPECT_EQ(ReadUpTo(reader, 4000).size(), kInterval) << "the run before the block, and no more";
    EXPECT_EQ(reader.Titles().Latest(), "Station");
    EXPECT_EQ(ReadUpTo(reader, 4000).size(), kInterval);
    EXPECT_EQ(reader.Titles().Latest(), "Now");
}
