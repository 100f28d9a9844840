#include "WaveEncoder.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

namespace zu::simple {

ZUBOOL CWaveEncoder::Begin(const ZUCHAR* pszOutputPath, uint32_t nSampleRate, uint32_t nChannels)
{
    m_Output.open(std::filesystem::path(std::basic_string<ZUCHAR>(pszOutputPath)),
                  std::ios::binary | std::ios::trunc | std::ios::out);
    m_Format.nSampleRate = nSampleRate;
    m_Format.nChannels = nChannels;
    m_Format.nDataBytes = 0xFFFFFFFFu;
    m_Format.WriteHeader(m_Output);
    m_Output.flush();
    return m_Output.good() ? 1 : 0;
}

ZUBOOL CWaveEncoder::Write(const int16_t* pSamples, uint32_t nFrames)
{
    const size_t nSamples = static_cast<size_t>(nFrames) * m_Format.nChannels;
    std::vector<uint8_t> bytes(nSamples * 2);
    for (size_t i = 0; i < nSamples; ++i) {
        const double scaled = std::round(pSamples[i] * m_Gain);
        const auto sample = static_cast<int16_t>(std::clamp(scaled, -32768.0, 32767.0));
        bytes[2 * i] = static_cast<uint8_t>(sample);
        bytes[2 * i + 1] = static_cast<uint8_t>(static_cast<uint16_t>(sample) >> 8);
    }
    // Flushed at once: a reader follows the file as it grows.
    m_Output.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    m_Output.flush();
    m_nDataBytes += static_cast<uint32_t>(bytes.size());
    return m_Output.good() ? 1 : 0;
}

ZUBOOL CWaveEncoder::End()
{
    m_Format.nDataBytes = m_nDataBytes;
    m_Output.seekp(0);
    m_Format.WriteHeader(m_Output);
    m_Output.close();
    return m_Output.fail() ? 0 : 1;
}

uint32_t CWaveEncoder::GetBitrate()
{
    return m_Format.nSampleRate * m_Format.FrameBytes() * 8;
}

}  // namespace zu::simple
