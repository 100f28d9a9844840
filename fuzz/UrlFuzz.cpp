// CUrl::Parse on any text, then Rebuild and Parse again. Checked: a failed parse leaves nothing
// behind; the extra information, fragment, query and query pairs agree with one another; parsing
// into a used object equals parsing into a fresh one; rebuilding settles on one text; and a URL
// with a location and an explicit port keeps every part through a rebuild.
#include "FuzzText.h"

#include "core/Url.h"
#include "platform/UrlCracker.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

using zufuzz::Require;

namespace {

bool SameParts(const CUrl& a, const CUrl& b)
{
    return a.IsValid() == b.IsValid() && a.GetScheme() == b.GetScheme() &&
           a.GetSchemeNumber() == b.GetSchemeNumber() && a.GetHost() == b.GetHost() && a.GetPort() == b.GetPort() &&
           a.GetUser() == b.GetUser() && a.GetPassword() == b.GetPassword() && a.GetPath() == b.GetPath() &&
           a.GetExtra() == b.GetExtra() && a.GetFragment() == b.GetFragment() && a.GetQuery() == b.GetQuery() &&
           a.GetQueryKeys() == b.GetQueryKeys() && a.GetQueryValues() == b.GetQueryValues();
}

bool NothingParsed(const CUrl& url)
{
    return url.GetScheme().empty() && url.GetSchemeNumber() == -1 && url.GetHost().empty() && url.GetPort() == 0 &&
           url.GetUser().empty() && url.GetPassword().empty() && url.GetPath().empty() && url.GetExtra().empty() &&
           url.GetFragment().empty() && url.GetQuery().empty() && url.GetQueryKeys().empty() &&
           url.GetQueryValues().empty();
}

bool Contains(const std::u16string& text, const char16_t* pszAny)
{
    return text.find_first_of(pszAny) != std::u16string::npos;
}

std::vector<std::u16string> Fields(const std::u16string& query)
{
    std::vector<std::u16string> fields;
    size_t nStart = 0;
    for (size_t nEnd; (nEnd = query.find(u'&', nStart)) != std::u16string::npos; nStart = nEnd + 1)
        fields.push_back(query.substr(nStart, nEnd - nStart));
    fields.push_back(query.substr(nStart));
    return fields;
}

void CheckQueryPairs(const CUrl& url, const std::u16string& text)
{
    const std::vector<std::u16string> keys = url.GetQueryKeys();
    const std::vector<std::u16string> values = url.GetQueryValues();
    const std::vector<std::u16string> fields = Fields(url.GetQuery());
    Require(keys.size() == values.size() && keys.size() == fields.size(), "one key and one value per query field",
            text);
    for (size_t i = 0; i < fields.size(); ++i) {
        Require(!Contains(keys[i], u"=&") && !Contains(values[i], u"&"), "keys hold no = or &, values no &", text);
        const bool bPlainKey = fields[i] == keys[i] && values[i].empty();
        Require(bPlainKey || fields[i] == keys[i] + u"=" + values[i], "a field is its key, = and its value", text);
    }
}

void CheckExtra(const CUrl& url, const std::u16string& text)
{
    const std::u16string extra = url.GetExtra();
    if (extra.empty() || (extra[0] != u'#' && extra[0] != u'?')) {
        Require(extra.empty(), "extra information begins with ? or #", text);
        Require(url.GetFragment().empty() && url.GetQuery().empty() && url.GetQueryKeys().empty(),
                "no extra, no fragment or query", text);
        return;
    }
    if (extra[0] == u'#') {
        Require(url.GetFragment() == extra.substr(1) && url.GetQuery().empty() && url.GetQueryKeys().empty(),
                "a # extra is a fragment only", text);
        return;
    }
    Require(url.GetQuery() == extra.substr(1) && url.GetFragment().empty(), "a ? extra is a query only", text);
    CheckQueryPairs(url, text);
}

void CheckValidParts(const CUrl& url, const std::u16string& text)
{
    const std::u16string read = text.substr(0, text.find(u'\0'));
    const std::u16string scheme = url.GetScheme();
    Require(!scheme.empty() && read.compare(0, scheme.size() + 1, scheme + u":") == 0, "the text starts with scheme:",
            text);
    Require(url.GetSchemeNumber() == zu::platform::SchemeNumberOfName(scheme), "the scheme number names the scheme",
            text);
    const std::u16string extra = url.GetExtra();
    Require(read.size() >= extra.size() && read.compare(read.size() - extra.size(), extra.size(), extra) == 0,
            "the extra information ends the text", text);
    if (url.GetSchemeNumber() != zu::platform::URL_SCHEME_FILE) {
        Require(!Contains(url.GetPath(), u"?#"), "the path stops before the extra information", text);
        Require(!Contains(url.GetHost() + url.GetUser() + url.GetPassword(), u"/?#"),
                "the location stops at the path or the extra information", text);
    }
    CheckExtra(url, text);
}

size_t SeparatorCount(const std::u16string& text)
{
    const auto isSeparator = [](char16_t c) { return c == u':' || c == u'@'; };
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), isSeparator));
}

// Rebuilding may change a text a few times: a default port gets written out, a location-less URL
// gains one, a host part ending in ":" without digits loses that colon (port 0 is not written) and
// an "@" with no credentials before it is dropped. Every change but three must drop a ":" or an
// "@", so the text settles; an endless change is a fault. "file" URLs are left out: their path is
// the DOS path of the whole URL, so a rebuilt one nests its own text.
void CheckRebuildSettles(const CUrl& url, const std::u16string& text)
{
    std::u16string previous = url.Rebuild();
    int nChangesKeepingSeparators = 0;
    for (;;) {
        const CUrl again(previous);
        Require(again.IsValid(), "a rebuilt URL parses", text);
        Require(again.GetScheme() == url.GetScheme() && again.GetSchemeNumber() == url.GetSchemeNumber(),
                "a rebuilt URL keeps its scheme", text);
        if (url.GetSchemeNumber() == zu::platform::URL_SCHEME_FILE)
            return;
        const std::u16string next = again.Rebuild();
        if (next == previous)
            return;
        Require(next.size() <= previous.size() + 8, "a rebuild adds at most a port and a separator", text);
        if (SeparatorCount(next) >= SeparatorCount(previous))
            Require(++nChangesKeepingSeparators <= 3, "rebuilding settles", text);
        previous = next;
    }
}

// scheme://[credentials@]host:port[/path][extra] comes back part for part.
void CheckLocationRoundTrip(const CUrl& url, const std::u16string& text)
{
    const int32_t nScheme = url.GetSchemeNumber();
    const std::u16string path = url.GetPath();
    const bool bHasLocation = text.compare(url.GetScheme().size() + 1, 2, u"//") == 0;
    const bool bAtHidden = Contains(url.GetHost(), u"@") && url.GetUser().empty() && url.GetPassword().empty();
    if (!bHasLocation || nScheme == zu::platform::URL_SCHEME_FILE || url.GetPort() == 0 || bAtHidden ||
        url.GetHost().empty() || (!path.empty() && path[0] != u'/'))
        return;
    const CUrl again(url.Rebuild());
    Require(again.GetHost() == url.GetHost() && again.GetPort() == url.GetPort() && again.GetUser() == url.GetUser() &&
                again.GetPassword() == url.GetPassword() && again.GetPath() == path &&
                again.GetExtra() == url.GetExtra(),
            "a URL with a location and a port keeps its parts through a rebuild", text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    const std::u16string text = zufuzz::TextOf(pData, nSize);
    const CUrl url(text);
    Require(url.GetURL() == text, "the URL text is kept as given", text);

    CUrl used(u"ftp://user:pw@used.example:2121/a?k=v&x");
    used.Parse(text);
    Require(SameParts(url, used), "parsing into a used object equals parsing into a fresh one", text);

    if (!url.IsValid()) {
        Require(NothingParsed(url), "a failed parse leaves every part empty", text);
        return 0;
    }
    CheckValidParts(url, text);
    CheckRebuildSettles(url, text);
    CheckLocationRoundTrip(url, text);
    return 0;
}
