// CWaveEncoder: the simple provider's encoder: 16-bit PCM WAV out, each sample scaled by a gain.
// The header says "length unknown" while the file grows and gets the sizes at End.
#pragma once

#include <zureader/TranscodeProvider.h>

#include "WaveFormat.h"

#include <fstream>

namespace zu::simple {

class CWaveEncoder final : public VAudioEncoder {
public:
    explicit CWaveEncoder(double gain) : m_Gain(gain) {}

    ZUBOOL Begin(const ZUCHAR* pszOutputPath, uint32_t nSampleRate, uint32_t nChannels) override;
    ZUBOOL Write(const int16_t* pSamples, uint32_t nFrames) override;
    ZUBOOL End() override;
    uint32_t GetBitrate() override;
    void Release() override { delete this; }

private:
    double m_Gain;
    CWaveFormat m_Format;
    uint32_t m_nDataBytes = 0;
    std::ofstream m_Output;
};

}  // namespace zu::simple
