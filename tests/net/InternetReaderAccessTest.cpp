// The Internet reader's ways in: Basic credentials from options, the URL, the settings and a host
// prompt; proxies through squid (HTTP and HTTPS tunnels); HTTPS with a certificate nobody vouches
// for; FTP. What was sent is checked on the server side.
#include "host/Base64.h"
#include "host/Settings.h"
#include "net/InternetReaderSupport.h"
#include "net/StoredCredentials.h"
#include "platform/Internet.h"
#include "platform/System.h"

#include <gtest/gtest.h>

using namespace zutest;
using zu::host::CBase64;
using zu::host::CSettings;
using zu::platform::InternetErrorText;
using InternetReaderAccessTest = CInternetReaderTest;

namespace {

// "user:password" of the account the ports file names PREFIX_USER and PREFIX_PASSWORD.
std::string Login(const std::string& prefix)
{
    return ServerValue(prefix + "_USER") + ":" + ServerValue(prefix + "_PASSWORD");
}

std::string Basic(const std::string& login)
{
    return "Basic " + CBase64::Encode(login);
}

std::u16string LoginOptions(const std::string& prefix)
{
    return U16("AUTH_USERNAME|" + ServerValue(prefix + "_USER") + "|AUTH_PASSWORD|" + ServerValue(prefix + "_PASSWORD"));
}

std::u16string Site(const std::string& server)
{
    return U16("127.0.0.1:" + ServerValue(server));
}

std::u16string StoredSiteValue(const std::u16string& site)
{
    return CSettings::ReadProtectedText(CStoredCredentials::kSection, site + u":WWW", CStoredCredentials::kSeed);
}

std::vector<std::string> SquidLines(const std::string& needle, uint32_t nWaitMs = 3000)
{
    return LogLinesWith("SQUID_ACCESS_LOG", needle, nWaitMs);
}

std::u16string ProxyOptions(const std::string& proxy, const std::string& agent)
{
    return U16("CONNECT_PROXY|127.0.0.1:" + ServerValue(proxy) + "|USER_AGENT|" + agent);
}

// squid's one line for the request that went out with the agent given.
std::string SquidLineOf(const std::string& agent)
{
    const std::vector<std::string> lines = SquidLines("ua=\"" + agent + "\"");
    EXPECT_EQ(1u, lines.size()) << agent;
    return lines.empty() ? std::string() : lines[0];
}

}  // namespace

TEST_F(InternetReaderAccessTest, BasicCredentialsComeFromOptionsOrElseFromTheUrl)
{
    ZU_REQUIRE_SERVERS();
    const std::string login = Login("AUTH");
    {
        const std::string tag = UniqueTag("options");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", "/auth/secret.txt?" + tag), LoginOptions("AUTH"));
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        EXPECT_EQ("The secret behind Basic authentication.\n", ReadToEnd(*reader));
        EXPECT_EQ(Basic(login), AccessLogField(NginxLine(tag), "auth"));
    }
    {
        // Half a pair in the options does not hold against a whole pair in the URL.
        const std::string tag = UniqueTag("url");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", "/auth/secret.txt?" + tag, login), u"AUTH_USERNAME|someone");
        ASSERT_TRUE(reader->Open());
        EXPECT_EQ(Basic(login), AccessLogField(NginxLine(tag), "auth"));
    }
    {
        // A whole pair in the options wins over the URL's.
        const std::string tag = UniqueTag("both");
        CCredentialHost host("", "");
        CReaderPtr reader =
            InternetReader(ServerUrl("NGINX_HTTP", "/auth/secret.txt?" + tag, login), u"AUTH_USERNAME|someone|AUTH_PASSWORD|else");
        EXPECT_FALSE(reader->Open());
        EXPECT_EQ(u"401", Info(*reader, u"StatusCode"));
        EXPECT_EQ(Basic("someone:else"), AccessLogField(NginxLine(tag), "auth"));
        EXPECT_EQ(1, host.m_nPrompts);
    }
}

TEST_F(InternetReaderAccessTest, AChallengeIsAnsweredByTheHostAndTheAnswerIsKeptForTheSite)
{
    ZU_REQUIRE_SERVERS();
    const std::string tag = UniqueTag("prompt");
    const std::u16string url = ServerUrl("ODD_HTTP", "/auth?" + tag);
    {
        CCredentialHost host(ServerValue("AUTH_USER"), ServerValue("AUTH_PASSWORD"));
        CReaderPtr reader = InternetReader(url);
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        EXPECT_EQ("welcome\n", ReadToEnd(*reader));
        EXPECT_EQ(1, host.m_nPrompts);
        EXPECT_EQ(Site("ODD_HTTP"), host.m_LastSite);
        EXPECT_EQ(url, host.m_LastUrl);
        EXPECT_EQ(U16(ServerValue("AUTH_USER") + "|" + ServerValue("AUTH_PASSWORD")), StoredSiteValue(Site("ODD_HTTP")));

        // The system's own stack may knock once more without credentials before it answers the
        // challenge with the connection's; the last request carries them either way.
        const std::vector<CRecordedRequest> recorded = RecordedRequests("/auth?" + tag);
        ASSERT_GE(recorded.size(), 2u);
        ASSERT_LE(recorded.size(), 3u);
        EXPECT_TRUE(recorded.front().HeaderValues("Authorization").empty());
        EXPECT_EQ(Basic(Login("AUTH")), recorded.back().Header("Authorization"));
    }
    {
        // Next time the stored pair goes with the first request; nobody is asked.
        const size_t nBefore = RecordedRequests("/auth?" + tag).size();
        CCredentialHost host("", "");
        CReaderPtr reader = InternetReader(url);
        ASSERT_TRUE(reader->Open());
        EXPECT_EQ(0, host.m_nPrompts);
        const std::vector<CRecordedRequest> recorded = RecordedRequests("/auth?" + tag);
        ASSERT_EQ(nBefore + 1, recorded.size());
        EXPECT_EQ(Basic(Login("AUTH")), recorded.back().Header("Authorization"));
    }
}

TEST_F(InternetReaderAccessTest, AChallengeNobodyAnswersFails)
{
    ZU_REQUIRE_SERVERS();
    // Named "localhost", a site for which no other test has answered a challenge: the system's
    // stack remembers answers per site for the life of the process.
    const std::u16string url = U16("http://localhost:" + ServerValue("ODD_HTTP") + "/auth?");
    {
        CCredentialHost host("", "");
        CReaderPtr reader = InternetReader(url + U16(UniqueTag("cancel")));
        EXPECT_FALSE(reader->Open());
        EXPECT_EQ(1, host.m_nPrompts);
        EXPECT_EQ(u"401", Info(*reader, u"StatusCode"));
        EXPECT_EQ(u"3", Info(*reader, u"Error"));
        EXPECT_EQ(U16("localhost:" + ServerValue("ODD_HTTP")), host.m_LastSite);
        EXPECT_EQ(u"", StoredSiteValue(host.m_LastSite));
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
        EXPECT_EQ(TransferFailureCode(), Info(*reader, u"StatusCode"));
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

TEST_F(InternetReaderAccessTest, AProxyCarriesRequestsTunnelsHttpsAndGetsTheCredentialsStoredForTheSite)
{
    ZU_REQUIRE_SERVERS();
    {
        const std::string agent = UniqueTag("proxied");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", "/hello.txt"), ProxyOptions("SQUID", agent));
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        EXPECT_EQ("Hello from the root.\n", ReadToEnd(*reader));
        const std::string line = SquidLineOf(agent);
        EXPECT_NE(std::string::npos, line.find(" GET http://127.0.0.1:" + ServerValue("NGINX_HTTP") + "/hello.txt 200 ")) << line;
    }
    {
        const std::string agent = UniqueTag("bypassed");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", "/hello.txt?" + agent),
                                           ProxyOptions("SQUID", agent) + u"|CONNECT_PROXYBYPASS|127.0.0.1");
        ASSERT_TRUE(reader->Open());
        EXPECT_EQ(agent, AccessLogField(NginxLine(agent), "ua"));
        EXPECT_TRUE(SquidLines(agent, 300).empty());
    }
    {
        const std::string connect = "CONNECT 127.0.0.1:" + ServerValue("NGINX_HTTPS") + " ";
        const size_t nTunnels = SquidLines(connect, 0).size();
        const std::string tag = UniqueTag("tunnel");
        // Two handshakes through the tunnel (the first refused for its certificate): more than the
        // usual 2 s on a loaded machine under the sanitizers.
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTPS", "/hello.txt?" + tag),
                                           ProxyOptions("SQUID", tag) + u"|HTTPREQUEST_TYPE|HEAD", 15000);
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        EXPECT_EQ(0u, NginxLine(tag).find("https HEAD "));
        reader.reset();  // squid logs a tunnel once it closes
        for (int nTry = 0; nTry < 60 && SquidLines(connect, 0).size() < nTunnels + 2; ++nTry)
            zu::platform::SleepMilliseconds(50);
        EXPECT_EQ(nTunnels + 2, SquidLines(connect, 0).size()) << "one refused for its certificate, one to ask again";
    }
    const std::u16string url = ServerUrl("NGINX_HTTP", "/hello.txt");
    CReaderPtr refused = InternetReader(url, ProxyOptions("SQUID_AUTH", UniqueTag("noproxyauth")));
    EXPECT_FALSE(refused->Open());
    EXPECT_EQ(u"407", Info(*refused, u"StatusCode"));

    ASSERT_TRUE(CSettings::WriteProtectedText(CStoredCredentials::kSection, Site("NGINX_HTTP") + u":Proxy",
                                              U16(ServerValue("PROXY_USER") + "|" + ServerValue("PROXY_PASSWORD")),
                                              CStoredCredentials::kSeed));
    const std::string agent = UniqueTag("proxyauth");
    CReaderPtr reader = InternetReader(url, ProxyOptions("SQUID_AUTH", agent));
    ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
    EXPECT_EQ("Hello from the root.\n", ReadToEnd(*reader));
    const std::string line = SquidLineOf(agent);
    EXPECT_EQ(Basic(Login("PROXY")), AccessLogField(line, "pauth"));
    EXPECT_EQ(ServerValue("PROXY_USER"), AccessLogField(line, "user"));
}

TEST_F(InternetReaderAccessTest, FtpLogsInTakesTheSizeAndSaysWhyItFails)
{
    ZU_REQUIRE_SERVERS();
    {
        CReaderPtr reader = InternetReader(ServerUrl("FTP", "/pattern.bin", Login("FTP")));
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        EXPECT_EQ(static_cast<int64_t>(ServedPattern("FTP_").size()), reader->GetLength());
        EXPECT_EQ(0, reader->IsLengthUnknown());
        EXPECT_EQ(-1, reader->GetPosition()) << "FTP lengths do not make positions";
        EXPECT_EQ(-1, reader->SetPosition(5, ZU_SEEK_BEGIN));
        EXPECT_TRUE(ReadToEnd(*reader, 10007) == ServedPattern("FTP_"));
        const std::string log = ReadFile(ServerPath("FTP_LOG"));
        const size_t nUser = log.rfind("USER " + ServerValue("FTP_USER"));
        ASSERT_NE(std::string::npos, nUser) << log;
        const size_t nSize = log.find("SIZE /pattern.bin", nUser);
        EXPECT_NE(std::string::npos, nSize);
        EXPECT_NE(std::string::npos, log.find("RETR pattern.bin", nSize));
    }
    {
        // Credentials from the options, a file one folder down, a server that knows no SIZE.
        CReaderPtr reader = InternetReader(ServerUrl("FTP_NOSIZE", "/sub/deep.txt"), LoginOptions("FTP"));
        ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
        EXPECT_EQ(0, reader->GetLength());
        EXPECT_EQ(1, reader->IsLengthUnknown());
        EXPECT_EQ("One folder down.\n", ReadToEnd(*reader));
    }
    CReaderPtr missing = InternetReader(ServerUrl("FTP", "/no-such-file.bin", Login("FTP")));
    EXPECT_FALSE(missing->Open());
    EXPECT_EQ(u"550", Info(*missing, u"StatusCode"));
    EXPECT_EQ(0u, Info(*missing, u"StatusText").find(u"550 ")) << Utf8(Info(*missing, u"StatusText"));

    // The server holds back its refusal for a few seconds, as FTP servers do.
    const auto start = CClock::now();
    CReaderPtr refused = InternetReader(ServerUrl("FTP", "/pattern.bin", ServerValue("FTP_USER") + ":wrong"), u"", 6000);
    EXPECT_FALSE(refused->Open());
    EXPECT_LT(MillisecondsSince(start), 5900);
    EXPECT_EQ(InternetErrorText(zu::platform::INET_ERROR_LOGIN_FAILURE), Info(*refused, u"StatusText"));
}
