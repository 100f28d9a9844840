// What neither a caller's texts nor a server's answers can make the Internet reader do: put lines
// of their own into a request, carry credentials, a cookie or a query to another site or into
// clear text, accept a certificate that is out of date or for another name, pass off a body cut
// short as a whole one, or show a password in what it hands a prompt. And a user slow to answer
// the prompt is neither timed out nor killed.
#include "core/Log.h"
#include "core/Url.h"
#include "host/Settings.h"
#include "host/Base64.h"
#include "net/InternetReaderSupport.h"
#include "net/StoredCredentials.h"
#include "platform/Internet.h"
#include "platform/SharedSection.h"
#include "platform/System.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

using namespace zutest;
using namespace zu::platform;
using InternetReaderSafetyTest = CInternetReaderTest;
using zu::CLog;
using zu::host::CSettings;

namespace {

std::u16string NginxLogin()
{
    return U16("AUTH_USERNAME|" + ServerValue("AUTH_USER") + "|AUTH_PASSWORD|" + ServerValue("AUTH_PASSWORD"));
}

// The odd server's record of what arrived with the agent given.
std::vector<CRecordedRequest> RecordedWithAgent(const std::string& agent)
{
    std::vector<CRecordedRequest> found;
    for (const CRecordedRequest& request : RecordedRequests("/"))
        if (request.Header("User-Agent") == agent)
            found.push_back(request);
    return found;
}

// Leaves a cookie for url where another component of the application would; removed with it.
class CSharedCookie {
public:
    CSharedCookie(const std::u16string& url, const std::u16string& cookie) : m_Url(url)
    {
        EXPECT_TRUE(m_Section.Open(url, 1028, true));
        std::memset(m_Section.Data(), 0, 4);
        std::memcpy(static_cast<char*>(m_Section.Data()) + 4, cookie.c_str(), (cookie.size() + 1) * sizeof(char16_t));
    }
    ~CSharedCookie()
    {
        m_Section.Close();
        CSharedSection::Remove(m_Url);
    }

private:
    std::u16string m_Url;
    CSharedSection m_Section;
};

}  // namespace

TEST_F(InternetReaderSafetyTest, WhatWasMeantForOneSiteStaysThere)
{
    ZU_REQUIRE_SERVERS();
    {
        // nginx sends the request on to the odd server's port: no credentials, cookie or query follow.
        const std::string agent = UniqueTag("elsewhere");
        const std::u16string url = ServerUrl("NGINX_HTTP", "/redirect/odd?secret-query");
        CSharedCookie cookie(url, u"session=for-nginx-only");
        CReaderPtr reader = InternetReader(url, NginxLogin() + U16("|USER_AGENT|" + agent));
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        const std::string first = NginxLine(agent);
        EXPECT_EQ("Basic " + zu::host::CBase64::Encode(ServerValue("AUTH_USER") + ":" + ServerValue("AUTH_PASSWORD")),
                  AccessLogField(first, "auth"));
        EXPECT_EQ("session=for-nginx-only", AccessLogField(first, "cookie"));
        const std::vector<CRecordedRequest> moved = RecordedWithAgent(agent);
        ASSERT_EQ(1u, moved.size());
        EXPECT_EQ("/echo", moved[0].m_strPath);
        EXPECT_TRUE(moved[0].HeaderValues("Authorization").empty());
        EXPECT_TRUE(moved[0].HeaderValues("Cookie").empty());
    }
    {
        // On the same site the caller's pair goes on.
        const std::string agent = UniqueTag("same-site");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", "/redirect/301"), NginxLogin() + U16("|USER_AGENT|" + agent));
        ASSERT_TRUE(reader->Open());
        const std::vector<std::string> lines = LogLinesWith("NGINX_ACCESS_LOG", agent, 3000, 2);
        ASSERT_EQ(2u, lines.size());
        EXPECT_NE("-", AccessLogField(lines[1], "auth")) << lines[1];
    }
    {
        // From TLS into clear text nothing secret goes, not even what was stored for the new site.
        const std::string agent = UniqueTag("downgrade");
        const std::u16string plainSite = U16("127.0.0.1:" + ServerValue("NGINX_HTTP"));
        CStoredCredentials::SaveSite(plainSite, u"stored", u"pair");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTPS", "/redirect/plain"),
                                           NginxLogin() + U16("|HTTPREQUEST_TYPE|HEAD|USER_AGENT|" + agent));
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        const std::vector<std::string> lines = LogLinesWith("NGINX_ACCESS_LOG", agent, 3000, 2);
        ASSERT_EQ(2u, lines.size());
        EXPECT_EQ(0u, lines[1].find("http HEAD \"/hello.txt\"")) << lines[1];
        EXPECT_EQ("-", AccessLogField(lines[1], "auth"));
    }
    {
        // An FTP server elsewhere is not logged in to with the caller's FTP account.
        CReaderPtr reader = InternetReader(
            ServerUrl("NGINX_HTTP", "/redirect/ftp"),
            U16("AUTH_USERNAME|" + ServerValue("FTP_USER") + "|AUTH_PASSWORD|" + ServerValue("FTP_PASSWORD")));
        EXPECT_FALSE(reader->Open()) << "anonymous logins are refused";
    }
    {
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", "/redirect/file"));
        EXPECT_FALSE(reader->Open());
        EXPECT_NE(std::string::npos, Utf8(Info(*reader, u"StatusText")).find("only http, https and ftp"));
    }
}

TEST_F(InternetReaderSafetyTest, TextsThatWouldAddLinesToARequestAreRefusedBeforeItIsSent)
{
    ZU_REQUIRE_SERVERS();
    const std::string tag = UniqueTag("inject");
    const std::u16string url = ServerUrl("ODD_HTTP", "/echo?" + tag);
    const struct {
        const char16_t* pszKey;
        const char16_t* pszValue;
    } kRefused[] = {
        {u"USER_AGENT", u"agent\r\nX-Injected: 1"},
        {u"RANGE_START", u"1\r\nX-Injected: 1"},
        {u"RANGE_FINISH", u"5\nX-Injected: 1"},
        {u"HTTPREQUEST_TYPE", u"GET /other HTTP/1.1\r\nX-Injected: 1\r\n\r\nGET"},
        {u"HTTPREQUEST_TYPE", u"G ET"},
        {u"AUTH_USERNAME", u"user\r\nX-Injected: 1"},
        {u"AUTH_PASSWORD", u"pass\nX-Injected: 1"},
        {u"INFO_HEADERS", u"X-A: 1\r\n\r\nGET /other HTTP/1.1"},
        {u"INFO_HEADERS", u"X-A: 1\nX-Injected: 1"},
        {u"INFO_HEADERS", u"X-A: 1\rX-Injected: 1"},
        {u"INFO_HEADERS", u"no header here"},
    };
    for (const auto& refused : kRefused) {
        CReaderPtr reader = InternetReader(url);
        reader->SetOption(Z(refused.pszKey), Z(refused.pszValue));
        EXPECT_FALSE(reader->Open()) << Utf8(refused.pszKey);
        EXPECT_EQ(u"3", Info(*reader, u"Error"));
        EXPECT_NE(std::string::npos, Utf8(Info(*reader, u"StatusText")).find(Utf8(refused.pszKey)))
            << Utf8(Info(*reader, u"StatusText"));
    }
    {
        CReaderPtr reader = InternetReader(url + u"\r\nX-Injected: 1");
        EXPECT_FALSE(reader->Open());
        CSharedCookie cookie(url, u"a=1\r\nX-Injected: 1");
        reader = InternetReader(url);
        EXPECT_FALSE(reader->Open());
        EXPECT_NE(std::string::npos, Utf8(Info(*reader, u"StatusText")).find("cookie"));
    }
    // Well-formed lines go out as they are, each on a line of its own.
    CReaderPtr reader = InternetReader(url, u"INFO_HEADERS|X-One: 1\r\nX-Two: two\r\n|HTTPREQUEST_TYPE|GET");
    ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
    const std::vector<CRecordedRequest> recorded = RecordedRequests("/echo?" + tag);
    ASSERT_EQ(1u, recorded.size()) << "nothing else reached the server";
    const std::string& head = recorded[0].m_strRawHead;
    EXPECT_EQ(0u, head.find("GET /echo?" + tag + " HTTP/1.1\r\n")) << head;
    EXPECT_NE(std::string::npos, head.find("\r\nX-One: 1\r\nX-Two: two\r\n")) << head;
    EXPECT_EQ(std::string::npos, head.find("X-Injected"));
    EXPECT_EQ(head.size() - 4, head.find("\r\n\r\n")) << "one blank line, at the end";
}

TEST_F(InternetReaderSafetyTest, CertificatesOutOfDateOrForAnotherNameAreRefusedEvenWhereAnUnknownAuthorityIsNot)
{
    ZU_REQUIRE_SERVERS();
    const struct {
        const char* pszServer;
        uint32_t nError;
    } kBad[] = {
        {"NGINX_HTTPS_EXPIRED", INET_ERROR_SEC_CERT_DATE_INVALID},
        {"NGINX_HTTPS_WRONG_NAME", INET_ERROR_SEC_CERT_CN_INVALID},
    };
    for (const auto& bad : kBad) {
        const std::string tag = UniqueTag("bad-certificate");
        CReaderPtr reader = InternetReader(ServerUrl(bad.pszServer, "/hello.txt?" + tag), u"HTTPREQUEST_TYPE|POST");
        const std::string body = "a=1";
        reader->SetPostData(body.data(), static_cast<uint32_t>(body.size()));
        EXPECT_FALSE(reader->Open()) << bad.pszServer;
        EXPECT_EQ(InternetErrorText(bad.nError), Info(*reader, u"StatusText")) << bad.pszServer;
        EXPECT_TRUE(LogLinesWith("NGINX_ACCESS_LOG", tag, 300).empty()) << "no request got through";
    }
    // Request flags share bits with certificate flags of other meanings; they must not turn into them.
    CInternetHandle session(OpenInternetSession(u"flags", INET_OPEN_TYPE_DIRECT, u"", u"", 0));
    CInternetHandle connection(ConnectInternet(session.Get(), u"127.0.0.1", static_cast<uint16_t>(ServerPort("NGINX_HTTPS")),
                                               u"", u"", INET_SERVICE_HTTP, 0));
    CInternetHandle request(OpenHttpRequest(connection.Get(), u"GET", u"/hello.txt", u"", u"", u"",
                                            INET_FLAG_SECURE | INET_FLAG_PRAGMA_NOCACHE | INET_FLAG_NO_UI));
    EXPECT_FALSE(SendHttpRequest(request.Get(), u"", nullptr, 0));
    EXPECT_EQ(static_cast<uint32_t>(INET_ERROR_INVALID_CA), InternetLastError());
}

TEST_F(InternetReaderSafetyTest, ABodyCutShortIsAFailureAndALengthPast2GiBIsKept)
{
    ZU_REQUIRE_SERVERS();
    CReaderPtr cut = InternetReader(ServerUrl("ODD_HTTP", "/drop?length=1000&" + UniqueTag("drop")));
    ASSERT_TRUE(cut->Open());
    EXPECT_EQ(u"0", Info(*cut, u"Error"));
    EXPECT_EQ(500u, ReadToEnd(*cut).size());
    EXPECT_EQ(u"3", Info(*cut, u"Error"));
    EXPECT_NE(std::string::npos, Utf8(Info(*cut, u"StatusText")).find("500 of the 1000")) << Utf8(Info(*cut, u"StatusText"));

    // The integrity header's length is the server's estimate, not a promise of the transfer.
    CReaderPtr estimated = InternetReader(ServerUrl("ODD_HTTP", "/integrity?n=5000&" + UniqueTag("integrity")));
    ASSERT_TRUE(estimated->Open());
    ReadToEnd(*estimated);
    EXPECT_EQ(u"0", Info(*estimated, u"Error"));

    const int64_t nLarge = 3LL << 30;
    CReaderPtr large = InternetReader(ServerUrl("ODD_HTTP", "/status?code=200&length=" + std::to_string(nLarge) + "&" +
                                                                UniqueTag("large")),
                                      u"HTTPREQUEST_TYPE|HEAD");
    ASSERT_TRUE(large->Open()) << Utf8(Info(*large, u"StatusText"));
    EXPECT_EQ(nLarge, large->GetLength());
}

TEST_F(InternetReaderSafetyTest, APromptSeesNoPasswordAndTakesAsLongAsTheUserNeeds)
{
    ZU_REQUIRE_SERVERS();
    const std::string tag = UniqueTag("slow-user");
    // The pair in the URL is wrong, so the server asks and the host prompts; the user answers
    // after three times the reader's time-out.
    const std::u16string url = ServerUrl("ODD_HTTP", "/auth?" + tag, "someone:wrong-secret");
    CCredentialHost host(ServerValue("AUTH_USER"), ServerValue("AUTH_PASSWORD"), 900);
    CSettings::WriteText(u"Debug", u"Type", u"8");
    CSettings::WriteNumber(u"Debug", u"File", 1);
    CLog::Get()->Reload();
    CReaderPtr reader = InternetReader(url, u"", 300);
    const bool bOpened = reader->Open();
    CSettings::WriteNumber(u"Debug", u"File", 0);
    CLog::Get()->Reload();
    ASSERT_TRUE(bOpened) << Utf8(Info(*reader, u"StatusText"));
    const std::string log = ReadFile(m_Home.Path() + u"Log.txt");
    EXPECT_NE(std::string::npos, log.find(std::string("s\0o\0m\0e\0o\0n\0e\0:\0*\0*\0*\0", 22))) << "the URL is logged";
    EXPECT_EQ(std::string::npos, log.find(std::string("w\0r\0o\0n\0g\0", 10)));
    EXPECT_EQ("welcome\n", ReadToEnd(*reader));
    EXPECT_EQ(1, host.m_nPrompts);
    EXPECT_EQ(CUrl::WithoutPassword(url), host.m_LastUrl);
    EXPECT_EQ(std::u16string::npos, host.m_LastUrl.find(u"wrong-secret"));

    // A Close from another thread waits for the answer instead of cutting the prompt off.
    // ("localhost": a site for which no answer is stored yet.)
    CCredentialHost slow("", "", 1500);
    CReaderPtr waiting = InternetReader(U16("http://localhost:" + ServerValue("ODD_HTTP") + "/auth?" + UniqueTag("closed")), u"", 300);
    std::thread opener([&] { EXPECT_FALSE(waiting->Open()); });
    const auto start = CClock::now();
    while (slow.m_nPrompts == 0 && MillisecondsSince(start) < 5000)
        SleepMilliseconds(10);
    EXPECT_EQ(1, slow.m_nPrompts);
    waiting->Close();
    EXPECT_EQ(1, slow.m_nAnswered) << "the prompt ran to its end";
    opener.join();
}
