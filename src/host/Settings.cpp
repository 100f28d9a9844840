#include "host/Settings.h"

#include "host/AppInfo.h"
#include "host/Base64.h"
#include "host/IniSettingsStore.h"
#include "platform/DataProtection.h"
#include "platform/Text.h"

#include <mutex>

namespace zu::host {
namespace {

struct CStoreSlot {
    std::mutex lock;
    std::u16string home;
    std::unique_ptr<platform::VSettingsStore> pStore;
    // Stores replaced by a change of ZUREADER_HOME stay alive: a caller may still hold a reference.
    std::unique_ptr<CStoreSlot> pRetired;
};

using COpenNative = std::unique_ptr<platform::VSettingsStore> (*)(const std::u16string&, const std::u16string&);

std::unique_ptr<platform::VSettingsStore> OpenStore(const std::u16string& home, COpenNative openNative,
                                                    const std::u16string& file)
{
    std::unique_ptr<platform::VSettingsStore> pStore;
    if (home.empty())
        pStore = openNative(CAppInfo::CompanyName(), CAppInfo::ApplicationName());
    if (!pStore)
        pStore = std::make_unique<CIniSettingsStore>(file);
    return pStore;
}

// The store for the override folder in force now; a changed override opens a new one.
platform::VSettingsStore& StoreInSlot(CStoreSlot& slot, const std::u16string& home, COpenNative openNative,
                                      const std::u16string& file)
{
    std::lock_guard<std::mutex> lock(slot.lock);
    if (!slot.pStore || home != slot.home) {
        if (slot.pStore) {
            auto pRetired = std::make_unique<CStoreSlot>();
            pRetired->pStore = std::move(slot.pStore);
            pRetired->pRetired = std::move(slot.pRetired);
            slot.pRetired = std::move(pRetired);
        }
        slot.pStore = OpenStore(home, openNative, file);
        slot.home = home;
    }
    return *slot.pStore;
}

}  // namespace

platform::VSettingsStore& CSettings::Store()
{
    static CStoreSlot slot;
    return StoreInSlot(slot, CAppInfo::HomeOverride(), platform::OpenNativeSettingsStore, CAppInfo::SettingsFile());
}

platform::VSettingsStore& CSettings::MachineStore()
{
    static CStoreSlot slot;
    return StoreInSlot(slot, CAppInfo::MachineHomeOverride(), platform::OpenNativeMachineSettingsStore,
                       CAppInfo::MachineSettingsFile());
}

bool CSettings::HasSection(const std::u16string& section)
{
    return Store().HasSection(section);
}

uint32_t CSettings::ReadNumber(const std::u16string& section, const std::u16string& name, uint32_t nDefault)
{
    uint32_t value = nDefault;
    return Store().ReadNumber(section, name, value) ? value : nDefault;
}

std::u16string CSettings::ReadText(const std::u16string& section, const std::u16string& name,
                                   const std::u16string& fallback)
{
    std::u16string value;
    return Store().ReadText(section, name, value) ? value : fallback;
}

bool CSettings::WriteNumber(const std::u16string& section, const std::u16string& name, uint32_t value)
{
    return Store().WriteNumber(section, name, value);
}

bool CSettings::WriteText(const std::u16string& section, const std::u16string& name, const std::u16string& value)
{
    return Store().WriteText(section, name, value);
}

std::u16string CSettings::ReadProtectedText(const std::u16string& section, const std::u16string& name,
                                            const std::u16string& seed)
{
    std::string sealed;
    std::string plain;
    if (!CBase64::Decode(platform::Utf8FromUtf16(ReadText(section, name)), sealed) || sealed.empty() ||
        !platform::UnsealData(sealed, seed, CAppInfo::KeyFile(), plain))
        return {};
    return platform::Utf16FromUtf8(plain);
}

bool CSettings::WriteProtectedText(const std::u16string& section, const std::u16string& name,
                                   const std::u16string& value, const std::u16string& seed)
{
    std::string sealed;
    return platform::SealData(platform::Utf8FromUtf16(value), seed, CAppInfo::KeyFile(), sealed) &&
           WriteText(section, name, platform::Utf16FromUtf8(CBase64::Encode(sealed)));
}

}  // namespace zu::host
