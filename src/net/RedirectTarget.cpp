#include "net/RedirectTarget.h"

std::u16string CRedirectTarget::Resolve(const std::u16string& currentUrl, const std::u16string& location)
{
    std::u16string target = location;
    if (location.find(u"://") == std::u16string::npos) {
        const size_t lastSlash = currentUrl.rfind(u'/');
        const size_t firstKept = location.find_first_not_of(u'/');
        target = currentUrl.substr(0, lastSlash) + u"/" +
                 (firstKept == std::u16string::npos ? std::u16string() : location.substr(firstKept));
    }
    const size_t query = currentUrl.find(u'?');
    if (query != std::u16string::npos && target.find(u'?') == std::u16string::npos)
        target += currentUrl.substr(query);
    return target;
}
