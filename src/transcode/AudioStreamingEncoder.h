// CAudioStreamingEncoder: the audio form. The player library's decoder-encoder decodes the source
// and feeds the chosen encoder plug-in, which writes the output; the decoder applies the start
// time itself, sample-exact, so the output is never skipped a second time by a byte offset.
#pragma once

#include <zureader/TranscodeProvider.h>

#include "transcode/EncoderDescriptor.h"
#include "transcode/ProviderObject.h"
#include "transcode/StreamingEncoder.h"

#include <atomic>
#include <memory>
#include <vector>

namespace zu::transcode {

class CAudioStreamingEncoder final : public CStreamingEncoder {
public:
    CAudioStreamingEncoder(std::u16string encoderName, std::u16string encoderSettings, uint32_t nEncoderFlag);
    ~CAudioStreamingEncoder() override;

    ZUBOOL Open(const std::u16string& sourcePath, const std::u16string& sourceType, uint32_t nFlag) override;
    int64_t GetLengthEstimate() override;
    // The further text of the encode call.
    void SetEncodeArgument(const std::u16string& text) { m_EncodeArgument = text; }

protected:
    int32_t Thread() override;

private:
    static int32_t OnProgress(int32_t nEvent, int32_t nValue, void* pContext);
    bool MakeEncoder();
    double ReadNumberProperty(const char16_t* pszName);
    std::u16string ReadProperty(const char16_t* pszName);

    std::u16string m_EncoderName;
    std::u16string m_EncoderSettings;
    uint32_t m_nEncoderFlag;
    std::u16string m_EncodeArgument;
    std::atomic<ZUBOOL> m_bStarted{0};
    std::atomic<int32_t> m_nResult{0};
    // Released in reverse: the encoder before the plug-in list that holds its module.
    std::vector<std::unique_ptr<CEncoderDescriptor>> m_Encoders;
    TProviderPtr<VAudioEncoder> m_pEncoder;
    CProviderObject<VAudioDecoderEncoder> m_DecoderEncoder;
};

}  // namespace zu::transcode
