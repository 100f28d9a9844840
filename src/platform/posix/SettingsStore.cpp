#include "platform/SettingsStore.h"

namespace zu::platform {

// POSIX has no per-user settings database; the host keeps an INI-style file.
std::unique_ptr<VSettingsStore> OpenNativeSettingsStore(const std::u16string&, const std::u16string&)
{
    return nullptr;
}

std::unique_ptr<VSettingsStore> OpenNativeMachineSettingsStore(const std::u16string&, const std::u16string&)
{
    return nullptr;
}

}  // namespace zu::platform
