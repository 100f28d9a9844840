#include "platform/UrlCracker.h"

namespace zu::platform {
namespace {

struct CSchemeName {
    const char16_t* pszName;
    int32_t nScheme;
};

constexpr CSchemeName kSchemeNames[] = {
    {u"ftp", URL_SCHEME_FTP},           {u"gopher", URL_SCHEME_GOPHER}, {u"http", URL_SCHEME_HTTP},
    {u"https", URL_SCHEME_HTTPS},       {u"file", URL_SCHEME_FILE},     {u"news", URL_SCHEME_NEWS},
    {u"mailto", URL_SCHEME_MAILTO},     {u"socks", URL_SCHEME_SOCKS},   {u"javascript", URL_SCHEME_JAVASCRIPT},
    {u"vbscript", URL_SCHEME_VBSCRIPT}, {u"res", URL_SCHEME_RES},
};

char16_t AsciiLower(char16_t c)
{
    return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c - u'A' + u'a') : c;
}

// The whole word must match: a word that is only the start of a scheme name ("ht") is no scheme.
bool SameWordIgnoringCase(const std::u16string& word, const char16_t* pszName)
{
    size_t i = 0;
    for (; i < word.size() && pszName[i]; ++i) {
        if (AsciiLower(word[i]) != pszName[i])
            return false;
    }
    return i == word.size() && !pszName[i];
}

}  // namespace

int32_t SchemeNumberOfName(const std::u16string& scheme)
{
    for (const CSchemeName& entry : kSchemeNames) {
        if (SameWordIgnoringCase(scheme, entry.pszName))
            return entry.nScheme;
    }
    return URL_SCHEME_UNKNOWN;
}

}  // namespace zu::platform
