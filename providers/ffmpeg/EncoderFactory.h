// The encoder plug-in: one factory per registered index (0 MP3, 1 AAC, 2 FLAC, 3 WAV), configured
// by its settings text before it makes encoders.
#pragma once

#include "AudioFileEncoder.h"

#include <zureader/TranscodeProvider.h>

#include <string>

class CEncoderFactory final : public VAudioEncoderFactory {
public:
    // Null for an index that names no format.
    static CEncoderFactory* Create(uint32_t nIndex);

    ZUBOOL SetProperty(const ZUCHAR* pszName, const ZUCHAR* pszValue) override;
    VAudioEncoder* CreateEncoder(uint32_t nArgument) override;
    void Release() override;

private:
    explicit CEncoderFactory(EAudioFormat eFormat);
    bool SetSetting(const std::string& sKey, const std::string& sValue);

    const EAudioFormat m_eFormat;
    uint32_t m_nBitrate = 128000;
};
