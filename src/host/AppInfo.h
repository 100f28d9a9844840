// Who the host application is and where its per-user files live. ZUREADER_HOME, when set, puts the
// settings file, the key file and the data folder under that one folder, so tests and demos never
// touch a real user's files.
#pragma once

#include <string>

namespace zu::host {

class CAppInfo {
public:
    static std::u16string CompanyName();
    static std::u16string ApplicationName();
    static std::u16string ApplicationVersion();
    // The ZUREADER_HOME folder with a trailing separator, or empty when it is not set.
    static std::u16string HomeOverride();
    // Where Log.txt and other per-user data go; ends in a separator.
    static std::u16string DataFolder();
    // The settings file used where there is no native store, or when ZUREADER_HOME is set.
    static std::u16string SettingsFile();
    // The ZUREADER_MACHINE_HOME folder with a trailing separator, or empty when it is not set.
    static std::u16string MachineHomeOverride();
    // The machine-wide settings file used where there is no native machine-wide store, or when
    // ZUREADER_MACHINE_HOME is set: company/product/settings.ini below the system's configuration
    // folder (/etc on Linux).
    static std::u16string MachineSettingsFile();
    static std::u16string KeyFile();
    static std::u16string TempFolder();
};

}  // namespace zu::host
