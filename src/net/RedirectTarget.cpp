#include "net/RedirectTarget.h"

#include "core/Url.h"
#include "platform/UrlCracker.h"

#include <algorithm>

using namespace zu::platform;

namespace {

bool SameTextNoCase(const std::u16string& a, const std::u16string& b)
{
    auto lower = [](char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c; };
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [&](char16_t x, char16_t y) { return lower(x) == lower(y); });
}

}  // namespace

std::u16string CRedirectTarget::Resolve(const std::u16string& currentUrl, const std::u16string& location)
{
    std::u16string target = location;
    const bool bRelative = location.find(u"://") == std::u16string::npos;
    if (bRelative) {
        const size_t lastSlash = currentUrl.rfind(u'/');
        const size_t firstKept = location.find_first_not_of(u'/');
        target = currentUrl.substr(0, lastSlash) + u"/" +
                 (firstKept == std::u16string::npos ? std::u16string() : location.substr(firstKept));
    }
    const size_t query = currentUrl.find(u'?');
    const bool bQueryTravels = bRelative || IsSameSite(CUrl(currentUrl), CUrl(target));
    if (query != std::u16string::npos && target.find(u'?') == std::u16string::npos && bQueryTravels)
        target += currentUrl.substr(query);
    return target;
}

bool CRedirectTarget::IsSameSite(const CUrl& a, const CUrl& b)
{
    return a.IsValid() && b.IsValid() && a.GetSchemeNumber() == b.GetSchemeNumber() && a.GetPort() == b.GetPort() &&
           SameTextNoCase(a.GetHost(), b.GetHost());
}

bool CRedirectTarget::IsFollowable(const CUrl& target)
{
    const int32_t nScheme = target.GetSchemeNumber();
    return target.IsValid() && (nScheme == URL_SCHEME_FTP || nScheme == URL_SCHEME_HTTP || nScheme == URL_SCHEME_HTTPS);
}

bool CRedirectTarget::IsDowngrade(const CUrl& from, const CUrl& to)
{
    return from.GetSchemeNumber() == URL_SCHEME_HTTPS && to.GetSchemeNumber() != URL_SCHEME_HTTPS;
}
