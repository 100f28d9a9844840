#include "EncoderFactory.h"

#include "ProviderText.h"

#include <cstdlib>
#include <new>

namespace {

bool IsSetRate(EAudioFormat eFormat) {
    return eFormat == EAudioFormat::Mp3 || eFormat == EAudioFormat::Aac;
}

}  // namespace

CEncoderFactory* CEncoderFactory::Create(uint32_t nIndex) {
    static const EAudioFormat aFormats[] = {EAudioFormat::Mp3, EAudioFormat::Aac, EAudioFormat::Flac,
                                            EAudioFormat::Wav};
    if (nIndex >= sizeof(aFormats) / sizeof(aFormats[0])) return nullptr;
    return new (std::nothrow) CEncoderFactory(aFormats[nIndex]);
}

CEncoderFactory::CEncoderFactory(EAudioFormat eFormat) : m_eFormat(eFormat) {}

void CEncoderFactory::Release() {
    delete this;
}

ZUBOOL CEncoderFactory::SetProperty(const ZUCHAR* pszName, const ZUCHAR* pszValue) {
    std::string sName = CProviderText::ToUtf8(pszName);
    std::string sValue = CProviderText::ToUtf8(pszValue);
    try {
        if (sName == "Settings") {
            return CProviderText::ForEachPair(sValue, [this](const std::string& k, const std::string& v) {
                return SetSetting(k, v);
            }) ? 1 : 0;
        }
        return SetSetting(sName, sValue) ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

bool CEncoderFactory::SetSetting(const std::string& sKey, const std::string& sValue) {
    if (sKey != "Bitrate" || !IsSetRate(m_eFormat)) return false;
    char* pEnd = nullptr;
    unsigned long nValue = std::strtoul(sValue.c_str(), &pEnd, 10);
    // Below 8 kbit/s or above 640 kbit/s neither codec makes a file.
    if (sValue.empty() || *pEnd || nValue < 8000 || nValue > 640000) return false;
    m_nBitrate = static_cast<uint32_t>(nValue);
    return true;
}

VAudioEncoder* CEncoderFactory::CreateEncoder(uint32_t nArgument) {
    return new (std::nothrow) CAudioFileEncoder(m_eFormat, m_nBitrate);
}

extern "C" __attribute__((visibility("default"))) VAudioEncoderFactory* CreateEncoder(uint32_t nIndex) {
    return CEncoderFactory::Create(nIndex);
}
