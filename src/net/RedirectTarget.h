// CRedirectTarget: where a redirect leads from the current URL. A location without "://" is taken
// relative to the current URL's folder, even one that begins with "/", and the current query
// travels along to a target that has none of its own.
#pragma once

#include <string>

class CRedirectTarget {
public:
    static std::u16string Resolve(const std::u16string& currentUrl, const std::u16string& location);
};
