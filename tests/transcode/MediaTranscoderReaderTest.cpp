// The transcoder readers driven end to end through the simple provider (WAV in, WAV out with a
// gain; a passthrough video converter), which builds and runs the same on both systems.
#include "transcode/TranscodeSupport.h"

#include "platform/DynamicLibrary.h"
#include "platform/File.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>

using namespace zutest;

namespace {

constexpr uint32_t kRate = 8000;

class MediaTranscoderReaderTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_Samples = ToneSteps(kRate, 5);
        m_Source = m_Scene.Folder().File(u"tones.wav");
        WriteFile(m_Source, WaveFile(m_Samples, kRate));
    }

    CReaderPtr Music(const std::u16string& settings = u"", const std::u16string& encoder = u"WAV")
    {
        return CReaderPtr(GetMusicTranscoderReader(Z(encoder), Z(settings), 0, Z(m_Source), Z(u"wav")));
    }

    static VMediaTranscoderReader& Transcoder(CReaderPtr& pReader)
    {
        return *ZUReaderCast<VMediaTranscoderReader>(pReader.get());
    }

    // Everything the reader gives, in reads of nChunk bytes.
    static std::string ReadAll(VReader& reader, uint32_t nChunk = 3000)
    {
        std::string all;
        std::string chunk(nChunk, '\0');
        while (const uint32_t nRead = reader.Read(chunk.data(), nChunk)) {
            all.append(chunk, 0, nRead);
            if (nRead < nChunk)
                break;
        }
        return all;
    }

    CTranscodeScene m_Scene;
    std::vector<int16_t> m_Samples;
    std::u16string m_Source;
};

TEST_F(MediaTranscoderReaderTest, TheOutputIsTheEncodersAndEndsCleanly)
{
    CReaderPtr pReader = Music(u"Gain=0.5");
    ASSERT_TRUE(pReader);
    EXPECT_EQ(ZU_READER_MUSIC_TRANSCODER, pReader->GetType());
    EXPECT_EQ(u"Yes", Info(*pReader, u"Can Truncate"));
    ASSERT_TRUE(pReader->Open());
    EXPECT_EQ(1u, m_Scene.TempFileCount()) << "the output is a temporary file";
    EXPECT_EQ(u"", Info(*pReader, u"Can Truncate"));
    EXPECT_EQ(u"Yes", Info(*pReader, u"Transcoding"));
    EXPECT_EQ(u"", Info(*pReader, u"Length estimate"));
    EXPECT_EQ(-1, pReader->GetLength());
    EXPECT_EQ(-1, pReader->GetPosition());
    EXPECT_EQ(-1, pReader->SetPosition(0, ZU_SEEK_BEGIN));
    EXPECT_EQ(0u, pReader->Write("x", 1));

    const std::string output = ReadAll(*pReader);
    const std::vector<int16_t> samples = WaveSamples(output);
    ASSERT_EQ(m_Samples.size(), samples.size());
    for (size_t i = 0; i < samples.size(); i += 997)
        ASSERT_EQ(std::lround(m_Samples[i] * 0.5), samples[i]) << "sample " << i;
    // The estimate (duration x bit rate) is the data's size; the header is what it leaves out.
    const int64_t nEstimate = std::atoll(Utf8(Info(*pReader, u"Length Estimate")).c_str());
    EXPECT_EQ(static_cast<int64_t>(m_Samples.size() * 2), nEstimate);
    char scratch[16];
    EXPECT_EQ(0u, pReader->Read(scratch, 1)) << "the end stays the end";
    pReader->Close();
    EXPECT_EQ(0u, m_Scene.TempFileCount()) << "the output file goes with the reader";
    EXPECT_EQ(0u, pReader->Read(scratch, 1));
    EXPECT_FALSE(pReader->Open()) << "a closed transcoder has no encoder left";
}

TEST_F(MediaTranscoderReaderTest, ProviderModulesAreLoadedOnlyWhileAReaderNeedsThem)
{
    const std::string player = Utf8(zu::platform::LibraryFileName(u"ZUPlayer"));
    const std::string encoder = Utf8(zu::platform::LibraryFileName(u"ZUWaveEncoder"));
    const std::string tools = Utf8(zu::platform::LibraryFileName(u"ZUTools"));
    ASSERT_FALSE(ModuleIsLoaded(player));
    CReaderPtr pReader = Music();
    Transcoder(pReader).SetEncodeArgument(Z(u"Pace=100"));
    CReaderPtr pVideo(GetVideoTranscoderReader(Z(m_Source), Z(u"wav"), 100));
    EXPECT_FALSE(ModuleIsLoaded(player)) << "nothing is loaded before Open";
    ASSERT_TRUE(pReader->Open());
    ASSERT_TRUE(pVideo->Open());
    EXPECT_TRUE(ModuleIsLoaded(player));
    EXPECT_TRUE(ModuleIsLoaded(encoder));
    EXPECT_TRUE(ModuleIsLoaded(tools));
    // Mid-encode: the workers must end before their modules go, or this would crash.
    pReader->Close();
    pVideo.reset();
    EXPECT_FALSE(ModuleIsLoaded(player));
    EXPECT_FALSE(ModuleIsLoaded(encoder));
    EXPECT_FALSE(ModuleIsLoaded(tools));
}

TEST_F(MediaTranscoderReaderTest, StartTimeOffsetAndLimitEachApplyOnce)
{
    // The start time reaches the decoder, which starts at that sample exactly; nothing skips again.
    CReaderPtr pTimed = Music();
    Transcoder(pTimed).SetStartTime(3000);
    ASSERT_TRUE(pTimed->Open());
    const std::vector<int16_t> timed = WaveSamples(ReadAll(*pTimed));
    ASSERT_EQ(m_Samples.size() - 3 * kRate, timed.size());
    EXPECT_TRUE(std::equal(timed.begin(), timed.end(), m_Samples.begin() + 3 * kRate));

    // An offset set before Open skips output bytes; a limit ends the output there, both counted
    // from the output's first byte.
    CReaderPtr pCut = Music();
    EXPECT_EQ(-1, pCut->SetPosition(5000, ZU_SEEK_BEGIN));
    EXPECT_EQ(-1, pCut->SetPosition(7000, ZU_SEEK_END)) << "only the start origin sets the offset";
    EXPECT_TRUE(pCut->SetLengthHint(12345));
    ASSERT_TRUE(pCut->Open());
    EXPECT_EQ(-1, pCut->SetPosition(9000, ZU_SEEK_BEGIN));
    const std::string cut = ReadAll(*pCut, 4096);
    ASSERT_EQ(12345u - 5000u, cut.size());
    CReaderPtr pWhole = Music();
    ASSERT_TRUE(pWhole->Open());
    EXPECT_EQ(ReadAll(*pWhole).substr(5000, 12345 - 5000), cut);

    CReaderPtr pNothing = Music();
    pNothing->SetPosition(100, ZU_SEEK_BEGIN);
    pNothing->SetLengthHint(100);
    ASSERT_TRUE(pNothing->Open());
    char scratch[16];
    EXPECT_EQ(0u, pNothing->Read(scratch, 10)) << "a limit at the offset leaves nothing";
}

TEST_F(MediaTranscoderReaderTest, BytesArriveWhileTheEncoderRunsAndReadsWaitForMore)
{
    // 10 blocks of 4096 frames, 60 ms apart: the output grows for about 0.6 s.
    CReaderPtr pReader = Music();
    Transcoder(pReader).SetEncodeArgument(Z(u"Pace=60"));
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(pReader->Open());
    std::string first(100, '\0');
    ASSERT_EQ(100u, pReader->Read(first.data(), 100));
    const auto firstByte = std::chrono::steady_clock::now() - start;
    // One read larger than the whole output waits, in 100 ms steps, for all of it.
    std::string rest(1 << 20, '\0');
    const uint32_t nRest = pReader->Read(rest.data(), 1 << 20);
    const auto total = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(44 + m_Samples.size() * 2, 100 + nRest);
    EXPECT_LT(firstByte * 3, total) << "the first bytes came long before the encoder was done";
}

TEST_F(MediaTranscoderReaderTest, FailuresLeaveNothingBehind)
{
    CReaderPtr pUnknown = Music(u"", u"No Such Encoder");
    EXPECT_FALSE(pUnknown->Open());
    CReaderPtr pBadSettings = Music(u"Gain=loud");
    EXPECT_FALSE(pBadSettings->Open());
    WriteFile(m_Scene.Folder().File(u"text.wav"), "not a wave file at all, just text");
    CReaderPtr pNotWave(GetMusicTranscoderReader(Z(u"WAV"), Z(u""), 0, Z(m_Scene.Folder().File(u"text.wav")), Z(u"wav")));
    EXPECT_FALSE(pNotWave->Open());
    CReaderPtr pMissing(GetMusicTranscoderReader(Z(u"WAV"), Z(u""), 0, Z(m_Scene.Folder().File(u"none.wav")), Z(u"wav")));
    EXPECT_FALSE(pMissing->Open());
    {
        CScopedEnvironment noProviders(u"ZUREADER_PROVIDER_DIR", m_Scene.Folder().Path());
        CReaderPtr pNoPlayer = Music();
        EXPECT_FALSE(pNoPlayer->Open()) << "no player library in the provider folder";
        CReaderPtr pNoTools(GetVideoTranscoderReader(Z(m_Source), Z(u"wav"), 0));
        EXPECT_FALSE(pNoTools->Open());
    }
    pUnknown.reset();
    pBadSettings.reset();
    pNotWave.reset();
    pMissing.reset();
    EXPECT_EQ(0u, m_Scene.TempFileCount());
}

TEST_F(MediaTranscoderReaderTest, DestroyingAReaderMidwayStopsTheEncoderAndDeletesAsAsked)
{
    CReaderPtr pReader = Music();
    Transcoder(pReader).SetEncodeArgument(Z(u"Pace=200"));
    pReader->SetDeleteOnClose(1);
    ASSERT_TRUE(pReader->Open());
    std::string some(64, '\0');
    ASSERT_EQ(64u, pReader->Read(some.data(), 64));
    const auto start = std::chrono::steady_clock::now();
    pReader.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << "the encode was cancelled";
    EXPECT_EQ(0u, m_Scene.TempFileCount());
    EXPECT_EQ(-1, zu::platform::FileSizeByName(m_Source)) << "delete-on-close removes the source";
}

TEST_F(MediaTranscoderReaderTest, TheVideoFormReadsTheConvertersGrowingOutput)
{
    const std::string video = PatternBytes(300000, 7);
    const std::u16string source = m_Scene.Folder().File(u"clip.flv");
    WriteFile(source, video);
    // The simple converter waits the flag's milliseconds after each 64 KiB.
    CReaderPtr pReader(GetVideoTranscoderReader(Z(source), Z(u"flv"), 40));
    ASSERT_TRUE(pReader);
    EXPECT_EQ(ZU_READER_VIDEO_TRANSCODER, pReader->GetType());
    Transcoder(pReader).SetEncodeArgument(Z(u"ignored by the video form"));
    ASSERT_TRUE(pReader->Open());
    EXPECT_EQ(u"300000", Info(*pReader, u"Length Estimate"));
    EXPECT_EQ(video, ReadAll(*pReader, 50000));
    pReader.reset();
    EXPECT_EQ(0u, m_Scene.TempFileCount());
    EXPECT_EQ(300000, zu::platform::FileSizeByName(source)) << "the source stays without delete-on-close";
}

}  // namespace
