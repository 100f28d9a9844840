// Settings-store seam: a store of sections holding named text and number values. Section names
// nest with backslashes ("Plugins\\Encoders\\MP3"), as the registry's keys do.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace zu::platform {

class VSettingsStore {
public:
    virtual ~VSettingsStore() = default;
    virtual bool HasSection(const std::u16string& section) = 0;
    virtual bool ReadText(const std::u16string& section, const std::u16string& name, std::u16string& value) = 0;
    virtual bool ReadNumber(const std::u16string& section, const std::u16string& name, uint32_t& value) = 0;
    virtual bool WriteText(const std::u16string& section, const std::u16string& name, const std::u16string& value) = 0;
    virtual bool WriteNumber(const std::u16string& section, const std::u16string& name, uint32_t value) = 0;
    virtual bool DeleteValue(const std::u16string& section, const std::u16string& name) = 0;
    // The names of the sections one level below section ("Plugins\\Encoders" lists "MP3" for
    // "Plugins\\Encoders\\MP3"), each once, in no promised order.
    virtual std::vector<std::u16string> ListSubsections(const std::u16string& section) = 0;
};

// The system's own per-user store below company\product (the registry under HKCU\Software on
// Windows); null where the system has none, and the caller keeps a settings file instead.
std::unique_ptr<VSettingsStore> OpenNativeSettingsStore(const std::u16string& company,
                                                        const std::u16string& product);

// The system's machine-wide store below SOFTWARE\\company\\product (HKEY_LOCAL_MACHINE on
// Windows); null where the system has none, and the caller keeps a machine-wide settings file.
std::unique_ptr<VSettingsStore> OpenNativeMachineSettingsStore(const std::u16string& company,
                                                               const std::u16string& product);

}  // namespace zu::platform
