// CWaveEncoderFactory: what "CreateEncoder" of the simple encoder module answers. Settings:
// "Gain=<factor>" (1 by default).
#pragma once

#include <zureader/TranscodeProvider.h>

namespace zu::simple {

class CWaveEncoderFactory final : public VAudioEncoderFactory {
public:
    ZUBOOL SetProperty(const ZUCHAR* pszName, const ZUCHAR* pszValue) override;
    VAudioEncoder* CreateEncoder(uint32_t nArgument) override;
    void Release() override { delete this; }

private:
    double m_Gain = 1.0;
};

}  // namespace zu::simple
