// CStoredCredentials: the user names and passwords kept sealed in the settings section "Internet
// Authorization", per site ("host:port"): one pair for the site itself and one for the proxy used
// to reach it, each stored as "user|password".
#pragma once

#include <string>

class CStoredCredentials {
public:
    // False, leaving both as they were, when nothing usable is stored.
    static bool LoadSite(const std::u16string& site, std::u16string& user, std::u16string& password);
    static bool LoadProxy(const std::u16string& site, std::u16string& user, std::u16string& password);
    static bool SaveSite(const std::u16string& site, const std::u16string& user, const std::u16string& password);

    static const char16_t* const kSection;
    static const char16_t* const kSeed;

private:
    static bool Load(const std::u16string& valueName, std::u16string& user, std::u16string& password);
};
