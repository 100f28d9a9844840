// CRedirectTarget: where a redirect leads from the current URL, and what may follow it there. A
// location without "://" is taken relative to the current URL's folder, even one that begins with
// "/". What the caller meant for one site (its query, its credentials, its cookie) goes only to that
// same site: same scheme, host and port.
#pragma once

#include <string>

class CUrl;

class CRedirectTarget {
public:
    // The current query travels along to a target on the same site that has none of its own.
    static std::u16string Resolve(const std::u16string& currentUrl, const std::u16string& location);

    static bool IsSameSite(const CUrl& a, const CUrl& b);
    // Only the schemes the reader itself speaks are followed.
    static bool IsFollowable(const CUrl& target);
    // A secure hop that leads to one in clear.
    static bool IsDowngrade(const CUrl& from, const CUrl& to);
};
