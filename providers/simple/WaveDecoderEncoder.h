// CWaveDecoderEncoder: the simple provider's decoder-encoder: 16-bit PCM WAV sources only, fed to
// the encoder in blocks. The further text may say "Pace=<ms>" to wait that long after each block,
// which lets a host (or a test) watch an output grow at a known speed.
#pragma once

#include <zureader/TranscodeProvider.h>

#include <mutex>
#include <string>

namespace zu::simple {

class CWaveDecoderEncoder final : public VAudioDecoderEncoder {
public:
    void SetFlag(uint32_t nFlag) override { m_nFlag = nFlag; }
    int32_t Encode(const ZUCHAR* pszSource, const ZUCHAR* pszType, const ZUCHAR* pszOutput, int32_t nMode,
                   ZUEncodeProgress pfnProgress, void* pContext, VAudioEncoder* pEncoder,
                   const ZUCHAR* pszEncoderName, const ZUCHAR* pszStartMs, const ZUCHAR* pszFurther) override;
    uint32_t GetProperty(const ZUCHAR* pszName, ZUCHAR* pszValue, uint32_t nCapacity) override;
    void Release() override { delete this; }

private:
    static constexpr uint32_t kBlockFrames = 4096;

    uint32_t m_nFlag = 0;
    // Properties are asked for from another thread while Encode runs.
    std::mutex m_Lock;
    std::basic_string<ZUCHAR> m_OutputName;
    double m_OutputSeconds = 0;
    uint32_t m_nBitrate = 0;
};

}  // namespace zu::simple
