// CVideoStreamingEncoder: the video form. The tools library's converter, found by its interface
// identifier, converts on its own thread into an output a reader can follow while it grows
// (fragmented MP4); the worker only watches it end.
#pragma once

#include <zureader/TranscodeProvider.h>

#include "transcode/ProviderObject.h"
#include "transcode/StreamingEncoder.h"

namespace zu::transcode {

class CVideoStreamingEncoder final : public CStreamingEncoder {
public:
    explicit CVideoStreamingEncoder(const ZUInterfaceId& interfaceId);
    ~CVideoStreamingEncoder() override;

    ZUBOOL Open(const std::u16string& sourcePath, const std::u16string& sourceType, uint32_t nFlag) override;
    // The source's size: a converted video comes out near it.
    int64_t GetLengthEstimate() override;

protected:
    int32_t Thread() override;

private:
    static constexpr uint32_t kPollMs = 500;

    ZUInterfaceId m_InterfaceId;
    uint32_t m_nVideoFlag = 0;
    CProviderObject<VVideoConverter> m_Converter;
};

}  // namespace zu::transcode
