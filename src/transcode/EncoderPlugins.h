// CEncoderPlugins: the encoder plug-ins registered for this user and for the machine.
//
// A plug-in of a category and name has a per-user key, "Plugins\<category>\<name>" in the user's
// settings store, and a machine-wide one, the same path in the machine-wide store (below
// SOFTWARE\Orvane\Quillbox of HKEY_LOCAL_MACHINE on Windows; a settings file under /etc on Linux).
// A key counts only when its "IVersion" lies in the range asked for: encoders must say exactly 5,
// so a per-user key of another version leaves the machine-wide one in force.
#pragma once

#include "platform/SettingsStore.h"
#include "transcode/EncoderDescriptor.h"

#include <memory>
#include <string>
#include <vector>

namespace zu::transcode {

// The user's encoding options, from the section "Encoding" of the per-user store.
struct CEncodingSettings {
    uint32_t bEncodeOnTheFly = 1;
    uint32_t nConvertMode = 0;
    uint32_t nNormalizationLevel = 95;
    std::u16string encoderName;
    uint32_t bEnableNormalization = 0;
    uint32_t bDeleteWaveFiles = 1;
};

class CEncoderPlugins {
public:
    static constexpr uint32_t kEncoderVersion = 5;
    static const char16_t* const kEncoderCategory;  // "Encoders"
    static const char16_t* const kEncodingSection;  // "Encoding"

    // A plug-in key that opened: the store it is in and its section there.
    struct CPluginKey {
        platform::VSettingsStore* pStore = nullptr;
        std::u16string section;
        explicit operator bool() const { return pStore != nullptr; }
    };

    // The per-user plug-ins of the category, then (with bIncludeMachine) the machine-wide ones not
    // listed yet, appended to names.
    static void EnumeratePlugins(const std::u16string& category, std::vector<std::u16string>& names,
                                 bool bIncludeMachine);
    // The per-user key when its "IVersion" lies in [lowest, highest], else the machine-wide key
    // when its version does; an empty key when neither.
    static CPluginKey OpenPluginKey(const std::u16string& category, const std::u16string& name, uint32_t nLowest,
                                    uint32_t nHighest);
    // A descriptor for every encoder whose key opens with version 5, in the order listed.
    static std::vector<std::unique_ptr<CEncoderDescriptor>> BuildEncoderList();
    // The descriptor of that name in the list, or null.
    static CEncoderDescriptor* Find(const std::vector<std::unique_ptr<CEncoderDescriptor>>& list,
                                    const std::u16string& name);
    // An encoder made by the descriptor's module, configured by the descriptor's settings or,
    // when it has none, the "Settings" value of the encoder's per-user key (with its sub-key).
    static TProviderPtr<VAudioEncoder> CreateEncoderObject(CEncoderDescriptor& descriptor, uint32_t nArgument,
                                                           std::u16string& error);
    // The options of the "Encoding" section; absent values keep what current holds, the others
    // their defaults. With no encoder name anywhere, "Windows Media".
    static CEncodingSettings ReadEncodingSettings(const CEncodingSettings& current = {});

    // Registers an encoder (the install step): "IVersion" 5, "Path" and "Index" in the per-user
    // or the machine-wide store.
    static bool RegisterEncoder(const std::u16string& name, const std::u16string& modulePath, uint32_t nIndex,
                                bool bMachineWide);
    // Registers the encoders of the plug-in modules this library ships that are present in the
    // provider folder, under their module's file name; answers how many.
    static uint32_t RegisterInstalledEncoders(bool bMachineWide);

private:
    static std::u16string CategorySection(const std::u16string& category);
};

}  // namespace zu::transcode
