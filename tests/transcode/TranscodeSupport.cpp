#include "transcode/TranscodeSupport.h"

#include <cmath>
#include <filesystem>

namespace zutest {

std::vector<int16_t> ToneSteps(uint32_t nSampleRate, uint32_t nSeconds)
{
    std::vector<int16_t> samples(static_cast<size_t>(nSampleRate) * nSeconds);
    double phase = 0;
    for (size_t i = 0; i < samples.size(); ++i) {
        const double hz = 300.0 + 100.0 * static_cast<double>(i / nSampleRate);
        phase += 2 * 3.14159265358979 * hz / nSampleRate;
        samples[i] = static_cast<int16_t>(std::lround(12000 * std::sin(phase)));
    }
    return samples;
}

namespace {

void Put(std::string& bytes, uint32_t n, int nBytes)
{
    for (int i = 0; i < nBytes; ++i)
        bytes += static_cast<char>(n >> (8 * i));
}

}  // namespace

std::string WaveFile(const std::vector<int16_t>& samples, uint32_t nSampleRate)
{
    const uint32_t nData = static_cast<uint32_t>(samples.size() * 2);
    std::string bytes = "RIFF";
    Put(bytes, nData + 36, 4);
    bytes += "WAVEfmt ";
    Put(bytes, 16, 4);
    Put(bytes, 1, 2);
    Put(bytes, 1, 2);
    Put(bytes, nSampleRate, 4);
    Put(bytes, nSampleRate * 2, 4);
    Put(bytes, 2, 2);
    Put(bytes, 16, 2);
    bytes += "data";
    Put(bytes, nData, 4);
    for (int16_t sample : samples)
        Put(bytes, static_cast<uint16_t>(sample), 2);
    return bytes;
}

std::vector<int16_t> WaveSamples(const std::string& bytes)
{
    std::vector<int16_t> samples;
    for (size_t i = 44; i + 1 < bytes.size(); i += 2)
        samples.push_back(static_cast<int16_t>(static_cast<uint8_t>(bytes[i]) | (static_cast<uint8_t>(bytes[i + 1]) << 8)));
    return samples;
}

CTranscodeScene::CTranscodeScene()
    : m_pTempScope(std::make_unique<CScopedTempFolder>(m_Temp.Path())),
      m_pMachine(std::make_unique<CScopedEnvironment>(u"ZUREADER_MACHINE_HOME", m_MachineHome.Path()))
{
    // Windows finds the simple provider beside the test program; Linux keeps it apart from the
    // FFmpeg provider's modules of the same names.
    const std::string simple = ZU_TEST_SIMPLE_PROVIDER_DIR;
    if (!simple.empty())
        m_pProviders = std::make_unique<CScopedEnvironment>(u"ZUREADER_PROVIDER_DIR",
                                                            std::u16string(simple.begin(), simple.end()));
    ZURegisterEncoders(0);
}

CTranscodeScene::~CTranscodeScene() = default;

size_t CTranscodeScene::TempFileCount() const
{
    std::error_code error;
    size_t nFiles = 0;
    for (auto it = std::filesystem::directory_iterator(std::filesystem::path(m_Temp.Path()), error);
         !error && it != std::filesystem::directory_iterator(); it.increment(error))
        ++nFiles;
    return nFiles;
}

}  // namespace zutest
