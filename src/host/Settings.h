// The per-user settings store the readers consult ("Debug", "Internet Authorization", ...): the
// system's own store where there is one, the settings file otherwise or when ZUREADER_HOME is set.
#pragma once

#include "platform/SettingsStore.h"

#include <memory>

namespace zu::host {

class CSettings {
public:
    // The store in use; chosen again when ZUREADER_HOME changes (tests move it between cases).
    static platform::VSettingsStore& Store();
    // The machine-wide store (plug-ins installed for every user): the system's own where there is
    // one, the machine-wide settings file otherwise or when ZUREADER_MACHINE_HOME is set.
    static platform::VSettingsStore& MachineStore();

    static bool HasSection(const std::u16string& section);
    static uint32_t ReadNumber(const std::u16string& section, const std::u16string& name, uint32_t nDefault);
    static std::u16string ReadText(const std::u16string& section, const std::u16string& name,
                                   const std::u16string& fallback = {});
    static bool WriteNumber(const std::u16string& section, const std::u16string& name, uint32_t value);
    static bool WriteText(const std::u16string& section, const std::u16string& name, const std::u16string& value);

    // Values kept sealed for the current user (stored credentials); the seed must match to open them.
    // An absent value, or one that does not open, reads as empty.
    static std::u16string ReadProtectedText(const std::u16string& section, const std::u16string& name,
                                            const std::u16string& seed);
    static bool WriteProtectedText(const std::u16string& section, const std::u16string& name,
                                   const std::u16string& value, const std::u16string& seed);
};

}  // namespace zu::host
