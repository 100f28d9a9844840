#include "net/StoredCredentials.h"

#include "host/Settings.h"

using zu::host::CSettings;

const char16_t* const CStoredCredentials::kSection = u"Internet Authorization";
const char16_t* const CStoredCredentials::kSeed = u"Network Password Salt Value";

namespace {

const char16_t kSiteSuffix[] = u":WWW";
const char16_t kProxySuffix[] = u":Proxy";

}  // namespace

bool CStoredCredentials::LoadSite(const std::u16string& site, std::u16string& user, std::u16string& password)
{
    return Load(site + kSiteSuffix, user, password);
}

bool CStoredCredentials::LoadProxy(const std::u16string& site, std::u16string& user, std::u16string& password)
{
    return Load(site + kProxySuffix, user, password);
}

bool CStoredCredentials::SaveSite(const std::u16string& site, const std::u16string& user,
                                  const std::u16string& password)
{
    return CSettings::WriteProtectedText(kSection, site + kSiteSuffix, user + u"|" + password, kSeed);
}

// The user name ends at the first "|": a password may contain one, a user name may not.
bool CStoredCredentials::Load(const std::u16string& valueName, std::u16string& user, std::u16string& password)
{
    const std::u16string value = CSettings::ReadProtectedText(kSection, valueName, kSeed);
    const size_t bar = value.find(u'|');
    if (bar == std::u16string::npos)
        return false;
    user = value.substr(0, bar);
    password = value.substr(bar + 1);
    return true;
}
