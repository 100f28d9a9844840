#include "transcode/EncoderDescriptor.h"

#include "host/SiblingLibraries.h"

namespace zu::transcode {

CEncoderDescriptor::CEncoderDescriptor(std::u16string name, std::u16string modulePath, uint32_t nIndex)
    : m_Name(std::move(name)), m_ModulePath(std::move(modulePath)), m_nIndex(nIndex)
{
}

CEncoderDescriptor::~CEncoderDescriptor()
{
    m_pFactory.reset();
    m_pModule.reset();
}

bool CEncoderDescriptor::LoadFactory(std::u16string& error)
{
    if (m_pFactory)
        return true;
    if (!m_pModule)
        m_pModule = host::CSiblingLibraries::LoadModule(m_ModulePath, error);
    if (!m_pModule)
        return false;
    const auto pfnCreate = reinterpret_cast<ZUCreateEncoderEntry>(m_pModule->FindSymbol("CreateEncoder"));
    if (!pfnCreate) {
        error = u"the module has no \"CreateEncoder\" entry";
        return false;
    }
    m_pFactory.reset(pfnCreate(m_nIndex));
    if (!m_pFactory)
        error = u"\"CreateEncoder\" made no encoder factory";
    return m_pFactory != nullptr;
}

TProviderPtr<VAudioEncoder> CEncoderDescriptor::CreateEncoder(const std::u16string& settings, uint32_t nArgument,
                                                              std::u16string& error)
{
    if (!LoadFactory(error))
        return nullptr;
    if (!m_pFactory->SetProperty(ProviderText(u"Settings"), ProviderText(settings))) {
        error = u"the encoder refused the settings \"" + settings + u"\"";
        return nullptr;
    }
    TProviderPtr<VAudioEncoder> pEncoder(m_pFactory->CreateEncoder(nArgument));
    if (!pEncoder)
        error = u"the encoder factory made no encoder";
    return pEncoder;
}

}  // namespace zu::transcode
