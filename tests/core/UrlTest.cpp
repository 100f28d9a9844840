#include "core/Url.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

using namespace zutest;

namespace {

// What the Windows cracker answers for one text. Rows whose pszWineDiffers is set describe where
// Wine's cracker answers otherwise; the Windows build skips them when it runs under Wine.
struct CUrlCase {
    const char16_t* pszUrl;
    bool bValid;
    const char16_t* pszScheme;
    int32_t nScheme;
    const char16_t* pszHost;
    uint16_t nPort;
    const char16_t *pszUser, *pszPassword, *pszPath, *pszExtra;
    const char* pszWineDiffers;
};

constexpr int32_t kUnknown = -1, kFtp = 1, kGopher = 2, kHttp = 3, kHttps = 4, kFile = 5, kNews = 6, kMailto = 7,
                  kSocks = 8, kJavascript = 9, kVbscript = 10, kRes = 11;

#define INVALID(url) {url, false, u"", kUnknown, u"", 0, u"", u"", u"", u"", nullptr}

const CUrlCase kCases[] = {
    // Well-formed.
    {u"http://www.example.org/site/about#hi", true, u"http", kHttp, u"www.example.org", 80, u"", u"", u"/site/about", u"#hi", nullptr},
    {u"http://www.example.org?test=123", true, u"http", kHttp, u"www.example.org", 80, u"", u"", u"", u"?test=123", nullptr},
    {u"http://www.example.org/script.php;test=123", true, u"http", kHttp, u"www.example.org", 80, u"", u"", u"/script.php;test=123", u"", nullptr},
    {u"HtTp://www.example.org/scheme", true, u"HtTp", kHttp, u"www.example.org", 80, u"", u"", u"/scheme", u"", nullptr},
    {u"HTTPS://h", true, u"HTTPS", kHttps, u"h", 443, u"", u"", u"", u"", nullptr},
    {u"https://h:8443/a/b", true, u"https", kHttps, u"h", 8443, u"", u"", u"/a/b", u"", nullptr},
    {u"ftp://u:p@h/f", true, u"ftp", kFtp, u"h", 21, u"u", u"p", u"/f", u"", nullptr},
    {u"ftp://u@h:2121/a/b;type=i", true, u"ftp", kFtp, u"h", 2121, u"u", u"", u"/a/b;type=i", u"", nullptr},
    {u"gopher://h/x", true, u"gopher", kGopher, u"h", 0, u"", u"", u"/x", u"", nullptr},
    {u"res://IELib.dll/test.htm", true, u"res", kRes, u"IELib.dll", 0, u"", u"", u"/test.htm", u"", nullptr},
    {u"res://a:5/x", true, u"res", kRes, u"a:5", 0, u"", u"", u"/x", u"", nullptr},
    {u"socks://h/", true, u"socks", kSocks, u"h", 0, u"", u"", u"/", u"", nullptr},
    {u"javascript:alert(1)", true, u"javascript", kJavascript, u"", 0, u"", u"", u"alert(1)", u"", nullptr},
    {u"vbscript:x", true, u"vbscript", kVbscript, u"", 0, u"", u"", u"x", u"", nullptr},
    {u"mailto:a@b", true, u"mailto", kMailto, u"", 0, u"", u"", u"a@b", u"", nullptr},
    {u"news:comp.lang", true, u"news", kNews, u"", 0, u"", u"", u"comp.lang", u"", nullptr},
    {u"qxsp://host/x", true, u"qxsp", kUnknown, u"host", 0, u"", u"", u"/x", u"", nullptr},
    {u"m01p://h:99/x", true, u"m01p", kUnknown, u"h", 99, u"", u"", u"/x", u"", nullptr},
    {u"a+b.c-d://h/", true, u"a+b.c-d", kUnknown, u"h", 0, u"", u"", u"/", u"", nullptr},
    {u"1http://h/", true, u"1http", kUnknown, u"h", 0, u"", u"", u"/", u"", nullptr},
    {u"httpx://h/", true, u"httpx", kUnknown, u"h", 0, u"", u"", u"/", u"", nullptr},
    {u"http://h/\u00e9?\u00fc=1", true, u"http", kHttp, u"h", 80, u"", u"", u"/\u00e9", u"?\u00fc=1", nullptr},
    // No scheme, or nothing else.
    INVALID(u""),
    INVALID(u"www.example.org"),
    INVALID(u"../Ritz.xml"),
    INVALID(u" http://h/"),
    INVALID(u"h ttp://x"),
    {u"http:", true, u"http", kHttp, u"", 0, u"", u"", u"", u"", nullptr},
    {u"a:", true, u"a", kUnknown, u"", 0, u"", u"", u"", u"", nullptr},
    {u"http://", true, u"http", kHttp, u"", 80, u"", u"", u"", u"", nullptr},
    {u"http:///path", true, u"http", kHttp, u"", 80, u"", u"", u"/path", u"", nullptr},
    {u"http:/h/x", true, u"http", kHttp, u"", 0, u"", u"", u"/h/x", u"", nullptr},
    {u"C:\\file.txt", true, u"C", kUnknown, u"", 0, u"", u"", u"\\file.txt", u"", nullptr},
    // IPv6 literals keep their brackets; the colons inside them are not port separators.
    {u"http://[::1]:8080/x", true, u"http", kHttp, u"[::1]", 8080, u"", u"", u"/x", u"", nullptr},
    {u"http://u:p@[::1]:9/x", true, u"http", kHttp, u"[::1]", 9, u"u", u"p", u"/x", u"", nullptr},
    {u"http://[fe80::1%251]:80/", true, u"http", kHttp, u"[fe80::1%251]", 80, u"", u"", u"/", u"", nullptr},
    {u"http://[::1]/x", true, u"http", kHttp, u"[::1]", 80, u"", u"", u"/x", u"",
     "Wine takes the last colon inside the brackets for the port: host \"[:\", port 1"},
    {u"http://[::1]?x", true, u"http", kHttp, u"[::1]", 80, u"", u"", u"", u"?x", "Wine: host \"[:\", port 1"},
    // Credentials end at the first "@"; the password starts after the last ":" before it.
    {u"http://user:p@ss@host/x", true, u"http", kHttp, u"ss@host", 80, u"user", u"p", u"/x", u"", nullptr},
    {u"http://user:pa:ss@host/x", true, u"http", kHttp, u"host", 80, u"user:pa", u"ss", u"/x", u"", nullptr},
    {u"http://user@h/", true, u"http", kHttp, u"h", 80, u"user", u"", u"/", u"", nullptr},
    {u"http://u:@h/", true, u"http", kHttp, u"h", 80, u"u", u"", u"/", u"", nullptr},
    {u"http://:p@h/", true, u"http", kHttp, u"h", 80, u"", u"p", u"/", u"", nullptr},
    {u"http://h/x@y", true, u"http", kHttp, u"h", 80, u"", u"", u"/x@y", u"", nullptr},
    {u"http://h?a@b", true, u"http", kHttp, u"h", 80, u"", u"", u"", u"?a@b", nullptr},
    // Ports: read like a C long, then cut to 16 bits.
    {u"http://h:65535/", true, u"http", kHttp, u"h", 65535, u"", u"", u"/", u"", nullptr},
    {u"http://h:65537/", true, u"http", kHttp, u"h", 1, u"", u"", u"/", u"", nullptr},
    {u"http://h:99999999999/", true, u"http", kHttp, u"h", 65535, u"", u"", u"/", u"", nullptr},
    {u"http://h:-1/", true, u"http", kHttp, u"h", 65535, u"", u"", u"/", u"", nullptr},
    {u"http://h:-2147483649/", true, u"http", kHttp, u"h", 0, u"", u"", u"/", u"", nullptr},
    {u"http://h:abc/", true, u"http", kHttp, u"h", 0, u"", u"", u"/", u"", nullptr},
    {u"http://h:80abc/", true, u"http", kHttp, u"h", 80, u"", u"", u"/", u"", nullptr},
    {u"http://h: 81/", true, u"http", kHttp, u"h", 81, u"", u"", u"/", u"", nullptr},
    {u"http://h:\u3000\u0661\uff15/", true, u"http", kHttp, u"h", 15, u"", u"", u"/", u"", nullptr},
    {u"http://h:/x", true, u"http", kHttp, u"h", 0, u"", u"", u"/x", u"", nullptr},
    {u"http://h:1:2/", true, u"http", kHttp, u"h:1", 2, u"", u"", u"/", u"", nullptr},
    {u"http://h:80#x", true, u"http", kHttp, u"h", 80, u"", u"", u"", u"#x", nullptr},
    // Percent escapes stay as written.
    {u"http://h/a%20b?c=%41", true, u"http", kHttp, u"h", 80, u"", u"", u"/a%20b", u"?c=%41", nullptr},
    {u"http://u%40x:p%3A@h/", true, u"http", kHttp, u"h", 80, u"u%40x", u"p%3A", u"/", u"", nullptr},
    // The extra information starts at the first "?" or "#", whichever comes first.
    {u"http://h/p?q#f", true, u"http", kHttp, u"h", 80, u"", u"", u"/p", u"?q#f", nullptr},
    {u"http://h/p#f?q", true, u"http", kHttp, u"h", 80, u"", u"", u"/p", u"#f?q",
     "Wine looks for a \"?\" first: path \"/p#f\", extra \"?q\""},
    {u"http://h#f?q", true, u"http", kHttp, u"h", 80, u"", u"", u"", u"#f?q", "Wine: host \"h#f\", extra \"?q\""},
    {u"http://h/?", true, u"http", kHttp, u"h", 80, u"", u"", u"/", u"?", nullptr},
    // A scheme word is compared whole.
    {u"ht://h/", true, u"ht", kUnknown, u"h", 0, u"", u"", u"/", u"", "Wine matches the start of \"http\": scheme 3, port 80"},
    {u"f://h/", true, u"f", kUnknown, u"h", 0, u"", u"", u"/", u"", "Wine matches the start of \"ftp\": scheme 1, port 21"},
    {u":foo", false, u"", kUnknown, u"", 0, u"", u"", u"", u"", "Wine accepts an empty scheme and numbers it 1 (FTP)"},
    {u"://h", false, u"", kUnknown, u"", 0, u"", u"", u"", u"", "Wine accepts an empty scheme and numbers it 1 (FTP)"},
    // A path without extra information ends at a line feed.
    {u"http://h/a\nb", true, u"http", kHttp, u"h", 80, u"", u"", u"/a", u"", nullptr},
    {u"http://h/a\nb?c", true, u"http", kHttp, u"h", 80, u"", u"", u"/a\nb", u"?c", nullptr},
    {u"http://h/a\tb c", true, u"http", kHttp, u"h", 80, u"", u"", u"/a\tb c", u"", nullptr},
    // "file" URLs give DOS paths.
    {u"file:///C:/Program%20Files/Tools/x.xml", true, u"file", kFile, u"", 0, u"", u"", u"C:\\Program Files\\Tools\\x.xml", u"", nullptr},
    {u"file://C:/Program%20Files/Tools/x.xml", true, u"file", kFile, u"", 0, u"", u"", u"C:\\Program%20Files\\Tools\\x.xml", u"", nullptr},
    {u"file:///C:/Program%20Files/Tools/..", true, u"file", kFile, u"", 0, u"", u"", u"C:\\Program Files\\Tools\\..\\", u"", nullptr},
    {u"FILE:///C|/x", true, u"FILE", kFile, u"", 0, u"", u"", u"C:\\x", u"", nullptr},
    {u"file://server/share/x", true, u"file", kFile, u"server", 0, u"", u"", u"\\\\server\\share\\x", u"", nullptr},
    {u"file://localhost/C:/x%20y", true, u"file", kFile, u"localhost", 0, u"", u"", u"C:\\x y", u"", nullptr},
    {u"file:///home/x", true, u"file", kFile, u"", 0, u"", u"", u"\\home\\x", u"", nullptr},
    {u"file:////server/x", true, u"file", kFile, u"", 0, u"", u"", u"\\\\server\\x", u"", nullptr},
    {u"file://h/a%20b", true, u"file", kFile, u"", 0, u"", u"", u"h\\a%20b", u"", nullptr},
    {u"file:x/y", true, u"file", kFile, u"", 0, u"", u"", u"x\\y", u"", nullptr},
    {u"file:///C:/a?x", true, u"file", kFile, u"", 0, u"", u"", u"C:\\a?x", u"?x", nullptr},
    {u"file:", true, u"file", kFile, u"", 0, u"", u"", u"", u"", nullptr},
};

#undef INVALID

}  // namespace

TEST(UrlTest, PartsAreThoseOfTheSystemCracker)
{
    const bool bWine = RunningUnderWine();
    int nSkipped = 0;
    for (const CUrlCase& row : kCases) {
        SCOPED_TRACE(Utf8(row.pszUrl));
        if (bWine && row.pszWineDiffers) {
            std::printf("[   NOTE   ] %s: %s\n", Utf8(row.pszUrl).c_str(), row.pszWineDiffers);
            ++nSkipped;
            continue;
        }
        const CUrl url(row.pszUrl);
        EXPECT_EQ(url.IsValid(), row.bValid);
        EXPECT_EQ(url.GetScheme(), row.pszScheme);
        EXPECT_EQ(url.GetSchemeNumber(), row.nScheme);
        EXPECT_EQ(url.GetHost(), row.pszHost);
        EXPECT_EQ(url.GetPort(), row.nPort);
        EXPECT_EQ(url.GetUser(), row.pszUser);
        EXPECT_EQ(url.GetPassword(), row.pszPassword);
        EXPECT_EQ(url.GetPath(), row.pszPath);
        EXPECT_EQ(url.GetExtra(), row.pszExtra);
    }
    if (nSkipped)
        std::printf("[   NOTE   ] %d cases follow Windows where Wine's cracker differs\n", nSkipped);
}

TEST(UrlTest, VeryLongTextsKeepEveryCharacter)
{
    const std::u16string longPath = u"/" + std::u16string(6000, u'x');
    const std::u16string longExtra = u"#" + std::u16string(6000, u'y');
    CUrl path(u"http://www.example.org" + longPath + longExtra);
    ASSERT_TRUE(path.IsValid());
    EXPECT_EQ(path.GetHost(), u"www.example.org");
    EXPECT_EQ(path.GetPath(), longPath);
    EXPECT_EQ(path.GetFragment(), longExtra.substr(1));

    const std::u16string longHost(40000, u'h');
    CUrl host(u"https://u:p@" + longHost + u":444/");
    EXPECT_EQ(host.GetHost(), longHost);
    EXPECT_EQ(host.GetPort(), 444);
}

TEST(UrlTest, ExtraSplitsIntoAFragmentOrQueryPairs)
{
    CUrl query(u"http://h/x?p=1&q&r=x=y");
    EXPECT_EQ(query.GetQuery(), u"p=1&q&r=x=y");
    EXPECT_EQ(query.GetFragment(), u"");
    EXPECT_EQ(query.GetQueryKeys(), (std::vector<std::u16string>{u"p", u"q", u"r"}));
    EXPECT_EQ(query.GetQueryValues(), (std::vector<std::u16string>{u"1", u"", u"x=y"}));

    CUrl gaps(u"http://h/?a=1&&=v&b=");
    EXPECT_EQ(gaps.GetQueryKeys(), (std::vector<std::u16string>{u"a", u"", u"", u"b"}));
    EXPECT_EQ(gaps.GetQueryValues(), (std::vector<std::u16string>{u"1", u"", u"v", u""}));

    // Only the first character of the extra information decides what it is.
    CUrl fragment(u"http://h/p?q=1#frag");
    EXPECT_EQ(fragment.GetQuery(), u"q=1#frag");
    EXPECT_EQ(fragment.GetQueryValues(), std::vector<std::u16string>{u"1#frag"});
    CUrl hashFirst(u"http://h/#a=1&b");
    EXPECT_EQ(hashFirst.GetFragment(), u"a=1&b");
    EXPECT_EQ(hashFirst.GetQuery(), u"");
    EXPECT_TRUE(hashFirst.GetQueryKeys().empty());
}

TEST(UrlTest, ParsingAgainReplacesEveryPartAndTheTextEndsAtAZero)
{
    CUrl url(u"ftp://u:p@h:2121/a?k=v#f");
    EXPECT_TRUE(url.Parse(u"http://h/#x"));
    EXPECT_EQ(url.GetUser(), u"");
    EXPECT_EQ(url.GetPassword(), u"");
    EXPECT_EQ(url.GetPort(), 80);
    EXPECT_TRUE(url.GetQueryKeys().empty());
    EXPECT_FALSE(url.Parse(u"no scheme here"));
    EXPECT_EQ(url.GetScheme() + url.GetHost() + url.GetPath() + url.GetExtra(), u"");
    EXPECT_EQ(url.GetPort(), 0);

    // As the system's cracker reads it.
    CUrl zero(std::u16string(u"http://h/x\0/y?z", 15));
    ASSERT_TRUE(zero.IsValid());
    EXPECT_EQ(zero.GetPath(), u"/x");
    EXPECT_EQ(zero.GetExtra(), u"");
}
