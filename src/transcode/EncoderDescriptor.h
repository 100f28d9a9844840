// CEncoderDescriptor: one registered encoder: where its module is, which encoder inside it, and
// its settings; the module and the module's encoder factory once the encoder is first made.
#pragma once

#include <zureader/TranscodeProvider.h>

#include "platform/DynamicLibrary.h"
#include "transcode/ProviderObject.h"

#include <memory>
#include <string>

namespace zu::transcode {

class CEncoderDescriptor {
public:
    CEncoderDescriptor(std::u16string name, std::u16string modulePath, uint32_t nIndex);
    ~CEncoderDescriptor();

    const std::u16string& GetName() const { return m_Name; }
    const std::u16string& GetModulePath() const { return m_ModulePath; }
    uint32_t GetIndex() const { return m_nIndex; }

    // Loads the module and makes its factory on first use, gives the factory settings as its
    // "Settings" property and has it make an encoder; null, with error set, when any step fails.
    // The encoder must be released before this descriptor goes: its code is in the module.
    TProviderPtr<VAudioEncoder> CreateEncoder(const std::u16string& settings, uint32_t nArgument,
                                              std::u16string& error);

    // Optional: a further key below the encoder's own whose "Settings" value applies.
    std::u16string m_SubKey;
    // The settings text; empty means the one stored in the per-user key.
    std::u16string m_Settings;

private:
    bool LoadFactory(std::u16string& error);

    std::u16string m_Name;
    std::u16string m_ModulePath;
    uint32_t m_nIndex;
    // Declared first: the module outlives the factory it made.
    std::unique_ptr<platform::VDynamicLibrary> m_pModule;
    TProviderPtr<VAudioEncoderFactory> m_pFactory;
};

}  // namespace zu::transcode
