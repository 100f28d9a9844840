#include "host/AppInfo.h"

#include "platform/System.h"

#ifndef ZUREADER_VERSION
#define ZUREADER_VERSION "0.0.0"
#endif

namespace zu::host {
namespace {

std::u16string WithSeparator(std::u16string folder)
{
    if (!folder.empty() && folder.back() != u'/' && folder.back() != u'\\')
        folder += platform::PathSeparator();
    return folder;
}

// company/product/ below a base folder, with the system's separator.
std::u16string ProductFolder(const std::u16string& base)
{
    const char16_t separator = platform::PathSeparator();
    return base + CAppInfo::CompanyName() + separator + CAppInfo::ApplicationName() + separator;
}

}  // namespace

std::u16string CAppInfo::CompanyName()
{
    return u"Orvane";
}

std::u16string CAppInfo::ApplicationName()
{
    return u"Quillbox";
}

std::u16string CAppInfo::ApplicationVersion()
{
    const char* pszVersion = ZUREADER_VERSION;
    return std::u16string(pszVersion, pszVersion + std::char_traits<char>::length(pszVersion));
}

std::u16string CAppInfo::HomeOverride()
{
    return WithSeparator(platform::GetEnvironmentText(u"ZUREADER_HOME"));
}

std::u16string CAppInfo::MachineHomeOverride()
{
    return WithSeparator(platform::GetEnvironmentText(u"ZUREADER_MACHINE_HOME"));
}

std::u16string CAppInfo::MachineSettingsFile()
{
    const std::u16string home = MachineHomeOverride();
    return (home.empty() ? ProductFolder(platform::MachineConfigFolder()) : home) + u"settings.ini";
}

std::u16string CAppInfo::DataFolder()
{
    const std::u16string home = HomeOverride();
    return home.empty() ? ProductFolder(platform::UserDataFolder()) : home;
}

std::u16string CAppInfo::SettingsFile()
{
    const std::u16string home = HomeOverride();
    return (home.empty() ? ProductFolder(platform::UserConfigFolder()) : home) + u"settings.ini";
}

std::u16string CAppInfo::KeyFile()
{
    const std::u16string home = HomeOverride();
    return (home.empty() ? ProductFolder(platform::UserConfigFolder()) : home) + u"settings.key";
}

std::u16string CAppInfo::TempFolder()
{
    return platform::TempFolder();
}

}  // namespace zu::host
