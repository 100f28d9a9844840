// The Internet reader's ways in: Basic credentials from options, the URL, the settings and a host
// prompt; proxies through squid (HTTP and HTTPS tunnels); HTTPS with a certificate nobody vouches
// for; FTP. What was sent is checked on the server side.
#include "host/Base64.h"
#include "host/Settings.h"
#include "net/InternetReaderSupport.h"
#include "net/StoredCredentials.h"
#include "platform/Internet.h"
#include "platform/NetworkState.h"
#include "platform/System.h"

#include <gtest/gtest.h>

using namespace zutest;
using zu::host::CBase64;
using zu::host::CSettings;
using zu::platform::InternetErrorText;

namespace {

class InternetReaderAccessTest : public testing::Test {
protected:
    // Credentials a server accepted in an earlier test would otherwise go out unasked.
    void SetUp() override { zu::platform::EndInternetSession(); }

    CScopedHome m_Home;  // stored credentials of this test only
};

std::string Basic(const std::string& user, const std::string& password)
{
    return "Basic " + CBase64::Encode(user + ":" + password);
}

std::string AuthUser()
{
    return ServerValue("AUTH_USER");
}

std::string AuthPassword()
{
    return ServerValue("AUTH_PASSWORD");
}

std::u16string Site(const std::string& server)
{
    return U16("127.0.0.1:" + ServerValue(server));
}

std::u16string StoredSiteValue(const std::u16string& site)
{
    return CSettings::ReadProtectedText(CStoredCredentials::kSection, site + u":WWW",
                                        CStoredCredentials::kSeed);
}

// squid's access-log lines that contain needle.
std::vector<std::string> SquidLines(const std::string& needle, uint32_t nWaitMs = 3000)
{
    return LogLinesWith("SQUID_ACCESS_LOG", needle, nWaitMs);
}

}  // namespace

TEST_F(InternetReaderAccessTest, BasicCredentialsComeFromOptionsOrElseFromTheUrl)
{
    ZU_REQUIRE_SERVERS();
    const std::string expected = Basic(AuthUser(), AuthPassword());
    {
        const std::string tag = UniqueTag("options");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", "/auth/secret.txt?" + tag),
                                           U16("AUTH_USERNAME|" + AuthUser() + "|AUTH_PASSWORD|" + AuthPassword()));
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        EXPECT_EQ("The secret behind Basic authentication.\n", ReadToEnd(*reader));
        EXPECT_EQ(expected, AccessLogField(NginxLine(tag), "auth"));
    }
    {
        // Half a pair in the options does not hold against a whole pair in the URL.
        const std::string tag = UniqueTag("url");
        CReaderPtr reader = InternetReader(
            ServerUrl("NGINX_HTTP", "/auth/secret.txt?" + tag, AuthUser() + ":" + AuthPassword()), u"AUTH_USERNAME|someone");
        ASSERT_TRUE(reader->Open());
        EXPECT_EQ(expected, AccessLogField(NginxLine(tag), "auth"));
    }
    {
        // A whole pair in the options wins over the URL's.
        const std::string tag = UniqueTag("both");
        CCredentialHost host("", "");
        CReaderPtr reader =
            InternetReader(ServerUrl("NGINX_HTTP", "/auth/secret.txt?" + tag, AuthUser() + ":" + AuthPassword()),
                           u"AUTH_USERNAME|someone|AUTH_PASSWORD|else");
        EXPECT_FALSE(reader->Open());
        EXPECT_EQ(u"401", Info(*reader, u"StatusCode"));
        EXPECT_EQ(Basic("someone", "else"), AccessLogField(NginxLine(tag), "auth"));
        EXPECT_EQ(1, host.Prompts());
    }
}

TEST_F(InternetReaderAccessTest, AChallengeIsAnsweredByTheHostAndTheAnswerIsKeptForTheSite)
{
    ZU_REQUIRE_SERVERS();
    CReaderLog log;
    const std::string tag = UniqueTag("prompt");
    const std::u16string url = ServerUrl("ODD_HTTP", "/auth?" + tag);
    {
        CCredentialHost host(AuthUser(), AuthPassword());
        CReaderPtr reader = InternetReader(url);
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        EXPECT_EQ("welcome\n", ReadToEnd(*reader));
        EXPECT_EQ(1, host.Prompts());
        EXPECT_EQ(Site("ODD_HTTP"), host.LastSite());
        EXPECT_EQ(url, host.LastUrl());
        EXPECT_EQ(U16(AuthUser() + "|" + AuthPassword()), StoredSiteValue(Site("ODD_HTTP")));
        EXPECT_TRUE(log.Contains("DownloadFromHTTPURL: Retry needed, trying again..."));

        // The system's own stack may knock once more without credentials before it answers the
        // challenge with the connection's; the last request carries them either way.
        const std::vector<CRecordedRequest> recorded = RecordedRequests("/auth?" + tag);
        ASSERT_GE(recorded.size(), 2u);
        ASSERT_LE(recorded.size(), 3u);
        EXPECT_TRUE(recorded.front().HeaderValues("Authorization").empty());
        EXPECT_EQ(Basic(AuthUser(), AuthPassword()), recorded.back().Header("Authorization"));
    }
    {
        // Next time the stored pair goes with the first request; nobody is asked.
        const size_t nBefore = RecordedRequests("/auth?" + tag).size();
        CCredentialHost host("", "");
        CReaderPtr reader = InternetReader(url);
        ASSERT_TRUE(reader->Open());
        EXPECT_EQ(0, host.Prompts());
        const std::vector<CRecordedRequest> recorded = RecordedRequests("/auth?" + tag);
        ASSERT_EQ(nBefore + 1, recorded.size());
        EXPECT_EQ(Basic(AuthUser(), AuthPassword()), recorded.back().Header("Authorization"));
    }
}

TEST_F(InternetReaderAccessTest, AChallengeNobodyAnswersFails)
{
    ZU_REQUIRE_SERVERS();
    CReaderLog log;
    // Named "localhost", a site for which no other test has answered a challenge: the system's
    // stack remembers answers per site for the life of the process.
    const std::u16string url = U16("http://localhost:" + ServerValue("ODD_HTTP") + "/auth?");
    {
        CCredentialHost host("", "");
        CReaderPtr reader = InternetReader(url + U16(UniqueTag("cancel")));
        EXPECT_FALSE(reader->Open());
        EXPECT_EQ(1, host.Prompts());
        EXPECT_EQ(u"401", Info(*reader, u"StatusCode"));
        EXPECT_EQ(u"3", Info(*reader, u"Error"));
        EXPECT_EQ(1u, log.Lines("Failed (header status code: 401)").size());
        EXPECT_EQ(U16("localhost:" + ServerValue("ODD_HTTP")), host.LastSite());
        EXPECT_EQ(u"", StoredSiteValue(host.LastSite()));
    }
#ifndef _WIN32
    // Without a host the system's dialog would ask; there is none here, and that is a cancel.
    CReaderPtr reader = InternetReader(url + U16(UniqueTag("nohost")));
    EXPECT_FALSE(reader->Open());
    EXPECT_EQ(u"401", Info(*reader, u"StatusCode"));
#endif
}

TEST_F(InternetReaderAccessTest, HttpsGetRefusesAnUnknownAuthorityWhereOtherVerbsGoOn)
{
    ZU_REQUIRE_SERVERS();
    {
        const std::string tag = UniqueTag("https-get");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTPS", "/hello.txt?" + tag));
        EXPECT_FALSE(reader->Open());
        EXPECT_EQ(InternetErrorText(zu::platform::INET_ERROR_INVALID_CA), Info(*reader, u"StatusText"));
        EXPECT_EQ(zu::platform::IsNetworkAlive() ? u"-1" : u"-2", Info(*reader, u"StatusCode"));
        EXPECT_TRUE(LogLinesWith("NGINX_ACCESS_LOG", tag, 300).empty()) << "no request got through";
    }
    {
        const std::string tag = UniqueTag("https-head");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTPS", "/hello.txt?" + tag), u"HTTPREQUEST_TYPE|HEAD");
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        EXPECT_EQ(21, reader->GetLength());
        EXPECT_EQ(0u, NginxLine(tag).find("https HEAD "));
    }
    {
        // nginx does not take POSTs to files, and says so; SUCCEED_ON_ERROR reads its answer.
        const std::string tag = UniqueTag("https-post");
        const std::string body = "a=1";
        CReaderPtr reader =
            InternetReader(ServerUrl("NGINX_HTTPS", "/hello.txt?" + tag), u"HTTPREQUEST_TYPE|POST|SUCCEED_ON_ERROR|1");
        reader->SetPostData(body.data(), static_cast<uint32_t>(body.size()));
        ASSERT_TRUE(reader->Open());
        EXPECT_EQ(u"405", Info(*reader, u"StatusCode"));
        EXPECT_NE(std::string::npos, ReadToEnd(*reader).find("405"));
        EXPECT_EQ(0u, NginxLine(tag).find("https POST ")) << "sent through TLS after the second try";
    }
}

TEST_F(InternetReaderAccessTest, AProxyCarriesRequestsAndTunnelsHttps)
{
    ZU_REQUIRE_SERVERS();
    const std::u16string proxy = U16("127.0.0.1:" + ServerValue("SQUID"));
    {
        const std::string agent = UniqueTag("proxied");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", "/hello.txt"),
                                           u"CONNECT_PROXY|" + proxy + u"|USER_AGENT|" + U16(agent));
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        EXPECT_EQ("Hello from the root.\n", ReadToEnd(*reader));
        const std::vector<std::string> lines = SquidLines("ua=\"" + agent + "\"");
        ASSERT_EQ(1u, lines.size());
        EXPECT_NE(std::string::npos, lines[0].find(" GET http://127.0.0.1:" + ServerValue("NGINX_HTTP") + "/hello.txt 200 "))
            << lines[0];
    }
    {
        const std::string agent = UniqueTag("bypassed");
        const std::string tag = UniqueTag("bypassed");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", "/hello.txt?" + tag),
                                           u"CONNECT_PROXY|" + proxy + u"|CONNECT_PROXYBYPASS|127.0.0.1|USER_AGENT|" + U16(agent));
        ASSERT_TRUE(reader->Open());
        EXPECT_EQ(agent, AccessLogField(NginxLine(tag), "ua"));
        EXPECT_TRUE(SquidLines(agent, 300).empty());
    }
    {
        const std::string connect = "CONNECT 127.0.0.1:" + ServerValue("NGINX_HTTPS") + " ";
        const size_t nTunnels = SquidLines(connect, 0).size();
        const std::string tag = UniqueTag("tunnel");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTPS", "/hello.txt?" + tag),
                                           u"CONNECT_PROXY|" + proxy + u"|HTTPREQUEST_TYPE|HEAD");
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        EXPECT_EQ(0u, NginxLine(tag).find("https HEAD "));
        reader.reset();  // squid logs a tunnel once it closes
        for (int nTry = 0; nTry < 60 && SquidLines(connect, 0).size() < nTunnels + 2; ++nTry)
            zu::platform::SleepMilliseconds(50);
        EXPECT_EQ(nTunnels + 2, SquidLines(connect, 0).size()) << "one refused for its certificate, one to ask again";
    }
}

TEST_F(InternetReaderAccessTest, ProxyCredentialsStoredForTheSiteAreSentToTheProxy)
{
    ZU_REQUIRE_SERVERS();
    const std::u16string proxy = U16("127.0.0.1:" + ServerValue("SQUID_AUTH"));
    const std::u16string url = ServerUrl("NGINX_HTTP", "/hello.txt");
    {
        const std::string agent = UniqueTag("noproxyauth");
        CReaderPtr reader = InternetReader(url, u"CONNECT_PROXY|" + proxy + u"|USER_AGENT|" + U16(agent));
        EXPECT_FALSE(reader->Open());
        EXPECT_EQ(u"407", Info(*reader, u"StatusCode"));
    }
    ASSERT_TRUE(CSettings::WriteProtectedText(CStoredCredentials::kSection, Site("NGINX_HTTP") + u":Proxy",
                                              U16(ServerValue("PROXY_USER") + "|" + ServerValue("PROXY_PASSWORD")),
                                              CStoredCredentials::kSeed));
    const std::string agent = UniqueTag("proxyauth");
    CReaderPtr reader = InternetReader(url, u"CONNECT_PROXY|" + proxy + u"|USER_AGENT|" + U16(agent));
    ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
    EXPECT_EQ("Hello from the root.\n", ReadToEnd(*reader));
    const std::vector<std::string> lines = SquidLines("ua=\"" + agent + "\"");
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ(Basic(ServerValue("PROXY_USER"), ServerValue("PROXY_PASSWORD")), AccessLogField(lines[0], "pauth"));
    EXPECT_EQ(ServerValue("PROXY_USER"), AccessLogField(lines[0], "user"));
}

TEST_F(InternetReaderAccessTest, FtpLogsInWithTheUrlsCredentialsAndTakesTheSize)
{
    ZU_REQUIRE_SERVERS();
    const std::string login = ServerValue("FTP_USER") + ":" + ServerValue("FTP_PASSWORD");
    {
        CReaderPtr reader = InternetReader(ServerUrl("FTP", "/pattern.bin", login));
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        EXPECT_EQ(static_cast<int64_t>(FtpPattern().size()), reader->GetLength());
        EXPECT_EQ(0, reader->IsLengthUnknown());
        EXPECT_EQ(-1, reader->GetPosition()) << "FTP lengths do not make positions";
        EXPECT_EQ(-1, reader->SetPosition(5, ZU_SEEK_BEGIN));
        EXPECT_TRUE(ReadToEnd(*reader, 10007) == FtpPattern());
        const std::vector<std::string> log = ServerLogLines("FTP_LOG");
        const std::string all = [&] {
            std::string text;
            for (const std::string& line : log)
                text += line + "\n";
            return text;
        }();
        const size_t user = all.rfind("USER " + ServerValue("FTP_USER"));
        ASSERT_NE(std::string::npos, user) << all;
        const size_t size = all.find("SIZE /pattern.bin", user);
        EXPECT_NE(std::string::npos, size);
        EXPECT_NE(std::string::npos, all.find("RETR pattern.bin", size));
    }
    {
        // Credentials from the options, a file one folder down, a server that knows no SIZE.
        CReaderPtr reader = InternetReader(ServerUrl("FTP_NOSIZE", "/sub/deep.txt"),
                                           U16("AUTH_USERNAME|" + ServerValue("FTP_USER") + "|AUTH_PASSWORD|" +
                                               ServerValue("FTP_PASSWORD")));
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        EXPECT_EQ(0, reader->GetLength());
        EXPECT_EQ(1, reader->IsLengthUnknown());
        EXPECT_EQ("One folder down.\n", ReadToEnd(*reader));
    }
}

TEST_F(InternetReaderAccessTest, FtpFailuresSayWhy)
{
    ZU_REQUIRE_SERVERS();
    CReaderLog log;
    const std::string login = ServerValue("FTP_USER") + ":" + ServerValue("FTP_PASSWORD");
    {
        CReaderPtr reader = InternetReader(ServerUrl("FTP", "/no-such-file.bin", login));
        EXPECT_FALSE(reader->Open());
        EXPECT_EQ(u"550", Info(*reader, u"StatusCode"));
        EXPECT_EQ(0u, Info(*reader, u"StatusText").find(u"550 ")) << Utf8(Info(*reader, u"StatusText"));
        EXPECT_TRUE(log.Contains("CInternetReader::DownloadFromFTPURL: failed, FtpOpenFile returns error 12003"));
    }
    {
        // The server holds back its refusal for a few seconds, as FTP servers do.
        const auto start = CClock::now();
        CReaderPtr reader = InternetReader(ServerUrl("FTP", "/pattern.bin", ServerValue("FTP_USER") + ":wrong"), u"", 6000);
        EXPECT_FALSE(reader->Open());
        EXPECT_LT(MillisecondsSince(start), 5900);
        EXPECT_EQ(InternetErrorText(zu::platform::INET_ERROR_LOGIN_FAILURE), Info(*reader, u"StatusText"));
        EXPECT_TRUE(log.Contains("Failed to connect, InternetConnect(...) returns error 12015"));
    }
}
