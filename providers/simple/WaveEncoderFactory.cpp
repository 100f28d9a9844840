#include "WaveEncoderFactory.h"

#include "SettingsText.h"
#include "WaveEncoder.h"

#include <new>

namespace zu::simple {

ZUBOOL CWaveEncoderFactory::SetProperty(const ZUCHAR* pszName, const ZUCHAR* pszValue)
{
    if (Narrow(pszName) != "Settings")
        return 0;
    bool bOk = true;
    const double gain = SettingNumber(Narrow(pszValue), "Gain", 1.0, bOk);
    if (!bOk || gain < 0)
        return 0;
    m_Gain = gain;
    return 1;
}

VAudioEncoder* CWaveEncoderFactory::CreateEncoder(uint32_t)
{
    return new (std::nothrow) CWaveEncoder(m_Gain);
}

}  // namespace zu::simple

extern "C" ZU_PROVIDER_ENTRY VAudioEncoderFactory* CreateEncoder(uint32_t nIndex)
{
    return nIndex == 0 ? new (std::nothrow) zu::simple::CWaveEncoderFactory : nullptr;
}
