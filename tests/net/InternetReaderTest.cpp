// The Internet reader over HTTP against the loopback servers: what it sends (checked in nginx's
// access log and the odd server's record), what it answers, redirects, ranges, lengths, and how
// it fails. Authentication, proxies, HTTPS and FTP are in InternetReaderAccessTest.cpp.
#include "net/InternetReader.h"
#include "net/InternetReaderSupport.h"
#include "platform/Internet.h"
#include "platform/NetworkState.h"
#include "platform/SharedSection.h"
#include "platform/System.h"
#include "platform/Thread.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace zutest;
using zu::platform::InternetErrorText;
using InternetReaderTest = CInternetReaderTest;

namespace {

const std::string DEFAULT_AGENT = "Orvane Internet Reader/2.0 (compatible; Windows-Media-Player/10)";
const std::string HELLO = "Hello from the root.\n";

}  // namespace

TEST_F(InternetReaderTest, ReadsAWholeBodyAndAnswersWhatTheServerSaid)
{
    ZU_REQUIRE_SERVERS();
    const std::string tag = UniqueTag("whole");
    const std::u16string url = ServerUrl("NGINX_HTTP", "/pattern.bin?" + tag);
    CReaderPtr reader = InternetReader(url);
    ASSERT_TRUE(reader);
    EXPECT_EQ(ZU_READER_INTERNET, reader->GetType());
    EXPECT_EQ(url, Info(*reader, u"Location")) << "known before the reader opens";

    ASSERT_TRUE(reader->Open()) << Utf8(Info(*reader, u"StatusText"));
    EXPECT_TRUE(reader->Open()) << "a second Open keeps what is open";
    EXPECT_EQ(1, reader->IsOpen());
    EXPECT_EQ(0, reader->IsLengthUnknown());
    EXPECT_EQ(static_cast<int64_t>(ServedPattern().size()), reader->GetLength());
    EXPECT_EQ(u"0", Info(*reader, u"Error"));
    EXPECT_EQ(u"200", Info(*reader, u"StatusCode"));
    EXPECT_EQ(u"OK", Info(*reader, u"StatusText"));
    EXPECT_EQ(u"application/octet-stream", Info(*reader, u"ContentType"));
    EXPECT_EQ(U16(ServerValue("PATTERN_SIZE")), Info(*reader, u"ContentLength"));
    EXPECT_EQ(0u, Info(*reader, u"AllHeaders").find(u"HTTP/1.1 200 OK\r\n"));

    EXPECT_TRUE(ReadToEnd(*reader) == ServedPattern());
    reader->Close();
    EXPECT_EQ(0, reader->IsOpen());
    EXPECT_EQ("", ReadUpTo(*reader, 1));
    reader->Close();

    const std::string line = NginxLine(tag);
    EXPECT_EQ(0u, line.find("http GET ")) << line;
    EXPECT_EQ(DEFAULT_AGENT, AccessLogField(line, "ua"));
    EXPECT_EQ("1", AccessLogField(line, "icy")) << "a GET asks for radio titles";
    for (const char* pszUnsent : {"range", "auth", "cookie", "flash"})
        EXPECT_EQ("-", AccessLogField(line, pszUnsent)) << pszUnsent;
}

TEST_F(InternetReaderTest, PositionsMoveWithinAKnownLengthAndReadsStopAtIt)
{
    ZU_REQUIRE_SERVERS();
    const std::string pattern = ServedPattern();
    const int64_t nSize = static_cast<int64_t>(pattern.size());
    CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", "/pattern.bin?" + UniqueTag("seek")));
    ASSERT_TRUE(reader->Open());
    EXPECT_EQ(0, reader->GetPosition());
    ASSERT_EQ(1000u, ReadUpTo(*reader, 1000).size());
    EXPECT_EQ(1000, reader->GetPosition());

    EXPECT_EQ(300000, reader->SetPosition(300000, ZU_SEEK_BEGIN));
    EXPECT_EQ(pattern.substr(300000, 100), ReadUpTo(*reader, 100));
    EXPECT_EQ(300050, reader->SetPosition(-50, ZU_SEEK_CURRENT));
    EXPECT_EQ(nSize - 10, reader->SetPosition(-10, ZU_SEEK_END));
    EXPECT_EQ(pattern.substr(pattern.size() - 10), ReadUpTo(*reader, 1000)) << "no further than the length";
    EXPECT_EQ("", ReadUpTo(*reader, 1000));

    // A body delimited by the connection's end has no length: no positions, no moves.
    CReaderPtr stream = InternetReader(ServerUrl("ODD_HTTP", "/icy?metaint=1000&blocks=3&" + UniqueTag("nolength")));
    ASSERT_TRUE(stream->Open());
    EXPECT_EQ(-1, stream->GetLength());
    EXPECT_EQ(1, stream->IsLengthUnknown());
    EXPECT_EQ(-1, stream->GetPosition());
    EXPECT_EQ(-1, stream->SetPosition(10, ZU_SEEK_BEGIN));
    EXPECT_GT(ReadToEnd(*stream, 777).size(), 3000u) << "audio and the metadata blocks the reader asked for";
}

TEST_F(InternetReaderTest, RequestsCarryTheHeadersTheOptionsAndTheSharedCookieAskFor)
{
    ZU_REQUIRE_SERVERS();
    {
        const std::string tag = UniqueTag("headers");
        CReaderPtr reader = InternetReader(ServerUrl("ODD_HTTP", "/echo?" + tag),
                                           u"USER_AGENT|Test agent 1.0|INFO_HEADERS|X-One: 1\r\nX-Two: two");
        ASSERT_TRUE(reader->Open());
        const std::vector<CRecordedRequest> recorded = RecordedRequests("/echo?" + tag);
        ASSERT_EQ(1u, recorded.size());
        const CRecordedRequest& request = recorded[0];
        EXPECT_EQ("GET", request.m_strMethod);
        EXPECT_EQ("Test agent 1.0", request.Header("User-Agent"));
        EXPECT_EQ("1", request.Header("X-One"));
        EXPECT_EQ("two", request.Header("X-Two"));
        EXPECT_EQ("1", request.Header("Icy-MetaData"));
        EXPECT_EQ("*/*", request.Header("Accept"));
    }
    {
        // Another verb sends the body and no radio header.
        const std::string tag = UniqueTag("post");
        const std::string body = "field=value&other=2";
        CReaderPtr reader = InternetReader(ServerUrl("ODD_HTTP", "/echo?" + tag), u"HTTPREQUEST_TYPE|POST");
        reader->SetPostData(body.data(), static_cast<uint32_t>(body.size()));
        ASSERT_TRUE(reader->Open());
        const std::vector<CRecordedRequest> recorded = RecordedRequests("/echo?" + tag);
        ASSERT_EQ(1u, recorded.size());
        EXPECT_EQ("POST", recorded[0].m_strMethod);
        EXPECT_EQ(static_cast<int64_t>(body.size()), recorded[0].m_nBodyLength);
        EXPECT_TRUE(recorded[0].HeaderValues("Icy-MetaData").empty());
    }
    {
        // A URL of the configured video host gets the player-version header.
        const std::string tag = UniqueTag("flash");
        CReaderPtr reader =
            InternetReader(ServerUrl("NGINX_HTTP", "/hello.txt?from=www." + Utf8(CInternetReader::kFlashVideoHost) + "&" + tag));
        ASSERT_TRUE(reader->Open());
        EXPECT_EQ("10,0,22,87", AccessLogField(NginxLine(tag), "flash"));
    }
    {
        // The cookie another component left in the section named by the URL replaces the session's.
        const std::string tag = UniqueTag("cookie");
        const std::u16string url = ServerUrl("NGINX_HTTP", "/hello.txt?" + tag);
        zu::platform::CSharedSection section;
        ASSERT_TRUE(section.Open(url, 1028, true));
        const std::u16string cookie = u"session=abc123; theme=dark";
        std::memset(section.Data(), 0x7F, 4);
        std::memcpy(static_cast<char*>(section.Data()) + 4, cookie.c_str(), (cookie.size() + 1) * sizeof(char16_t));
        ASSERT_TRUE(InternetReader(url)->Open());
        ASSERT_TRUE(InternetReader(url, u"NO_COOKIE|1")->Open());
        const std::vector<std::string> lines = LogLinesWith("NGINX_ACCESS_LOG", tag, 3000, 2);
        ASSERT_EQ(2u, lines.size());
        EXPECT_EQ(Utf8(cookie), AccessLogField(lines[0], "cookie"));
        EXPECT_EQ("-", AccessLogField(lines[1], "cookie"));
        section.Close();
        zu::platform::CSharedSection::Remove(url);
    }
}

TEST_F(InternetReaderTest, RangesAskForPartsAndAWholeAnswerToARangeIsAFailure)
{
    ZU_REQUIRE_SERVERS();
    const std::string pattern = ServedPattern();
    struct CCase {
        const char* pszFile;
        std::u16string options;
        const char* pszRangeSent;
        std::string body;
    };
    const CCase cases[] = {
        {"/pattern.bin", u"RANGE_START|1000|RANGE_FINISH|1999", "bytes=1000-1999", pattern.substr(1000, 1000)},
        {"/pattern.bin", u"RANGE_START|1048000", "bytes=1048000-", pattern.substr(1048000)},
        {"/hello.txt", u"RANGE_START|0|RANGE_FINISH|5", "-", HELLO},  // a start of 0 asks for no range
    };
    for (const CCase& item : cases) {
        const std::string tag = UniqueTag("range");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", item.pszFile + ("?" + tag)), item.options);
        ASSERT_TRUE(reader->Open()) << item.pszRangeSent;
        EXPECT_EQ(u"0", Info(*reader, u"Error"));
        EXPECT_EQ(static_cast<int64_t>(item.body.size()), reader->GetLength()) << item.pszRangeSent;
        EXPECT_TRUE(ReadToEnd(*reader, 300) == item.body) << item.pszRangeSent;
        EXPECT_EQ(item.pszRangeSent, AccessLogField(NginxLine(tag), "range"));
    }

    const std::u16string url = ServerUrl("ODD_HTTP", "/status?code=200&length=100&" + UniqueTag("whole"));
    CReaderPtr refused = InternetReader(url, u"RANGE_START|10");
    EXPECT_FALSE(refused->Open());
    EXPECT_EQ(u"200", Info(*refused, u"StatusCode"));
    EXPECT_EQ(u"3", Info(*refused, u"Error"));

    // Even "0" lets the answer through: the option's presence is what counts.
    CReaderPtr accepted = InternetReader(url, u"RANGE_START|10|SUCCEED_ON_ERROR|0");
    ASSERT_TRUE(accepted->Open());
    EXPECT_EQ(u"3", Info(*accepted, u"Error"));
    EXPECT_TRUE(ReadToEnd(*accepted) == PatternBytes(100, 3)) << "the whole body, from its start";
}

TEST_F(InternetReaderTest, RedirectsAreFollowedByTheReaderItself)
{
    ZU_REQUIRE_SERVERS();
    {
        // Absolute: the query travels along to a target that has none.
        const std::string tag = UniqueTag("absolute");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", "/redirect/301?" + tag));
        ASSERT_TRUE(reader->Open());
        EXPECT_EQ(ServerUrl("NGINX_HTTP", "/hello.txt?" + tag), Info(*reader, u"Location"));
        EXPECT_EQ(HELLO, ReadToEnd(*reader));
        const std::vector<std::string> lines = LogLinesWith("NGINX_ACCESS_LOG", tag, 3000, 2);
        ASSERT_EQ(2u, lines.size());
        EXPECT_NE(std::string::npos, lines[0].find("GET \"/redirect/301?" + tag + "\" 301 "));
        EXPECT_NE(std::string::npos, lines[1].find("GET \"/hello.txt?" + tag + "\" 200 "));
    }
    for (const char* pszFrom : {"/dir/r303", "/dir/r302"}) {
        // Relative, with or without a leading slash: from the current folder.
        const std::string tag = UniqueTag("relative");
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", std::string(pszFrom) + "?k=" + tag));
        ASSERT_TRUE(reader->Open()) << pszFrom;
        EXPECT_EQ(ServerUrl("NGINX_HTTP", "/dir/hello.txt?k=" + tag), Info(*reader, u"Location")) << pszFrom;
        EXPECT_EQ("Hello from dir.\n", ReadToEnd(*reader)) << pszFrom;
    }
    {
        const std::string tag = UniqueTag("kept");
        const std::u16string url = ServerUrl("NGINX_HTTP", "/redirect/302?" + tag);
        CReaderPtr reader = InternetReader(url, u"NO_REDIRECT|1");
        EXPECT_FALSE(reader->Open());
        EXPECT_EQ(u"302", Info(*reader, u"StatusCode"));
        EXPECT_EQ(url, Info(*reader, u"Location"));
        EXPECT_EQ(1u, LogLinesWith("NGINX_ACCESS_LOG", tag).size()) << "the target was not asked";
    }
    {
        // The scheme is judged again for the target: HTTPS, whose self-signed certificate a GET refuses.
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", "/redirect/https"));
        EXPECT_FALSE(reader->Open());
        EXPECT_EQ(ServerUrl("NGINX_HTTPS", "/hello.txt"), Info(*reader, u"Location"));
        EXPECT_EQ(InternetErrorText(zu::platform::INET_ERROR_INVALID_CA), Info(*reader, u"StatusText"));
    }
}

// Open gives up on a server after the time-out, whether it sends redirects for ever or nothing at
// all; the worker thread ends with it, and the server hears no more.
TEST_F(InternetReaderTest, AnEndlessRedirectOrASilentServerEndsWithTheTimeOut)
{
    ZU_REQUIRE_SERVERS();
    const uint32_t nThreadObjects = zu::platform::CountOpenThreadObjects();
    {
        const std::string tag = UniqueTag("loop");
        CReaderPtr reader = InternetReader(ServerUrl("ODD_HTTP", "/loop?" + tag), u"", 1000);
        const auto start = CClock::now();
        EXPECT_FALSE(reader->Open());
        const int64_t nElapsed = MillisecondsSince(start);
        EXPECT_GE(nElapsed, 950);
        EXPECT_LT(nElapsed, 2500) << "the worker ends as soon as Close asks";
        EXPECT_EQ(u"408", Info(*reader, u"StatusCode"));
        EXPECT_EQ(u"The request has timed out.", Info(*reader, u"StatusText"));
        EXPECT_EQ(u"3", Info(*reader, u"Error"));
        EXPECT_GT(RecordedRequests("/loop?" + tag).size(), 2u) << "the reader itself went round the loop";
        EXPECT_EQ(nThreadObjects, zu::platform::CountOpenThreadObjects()) << "no worker outlives Open's Close";

        // Thousands of requests went round the loop; the odd server forgets them, and hears no more.
        ASSERT_TRUE(InternetReader(ServerUrl("ODD_HTTP", "/__reset"))->Open());
        zu::platform::SleepMilliseconds(300);
        EXPECT_TRUE(RecordedRequests("/loop").empty()) << "nothing asks the server any more";
    }
    const std::string tag = UniqueTag("silent");
    CReaderPtr reader = InternetReader(ServerUrl("ODD_HTTP", "/stall?ms=1800&length=16&" + tag), u"", 1000);
    const auto start = CClock::now();
    EXPECT_FALSE(reader->Open());
    const int64_t nElapsed = MillisecondsSince(start);
    EXPECT_GE(nElapsed, 950);
    EXPECT_LT(nElapsed, 1700) << "given up before the server answers";
    EXPECT_EQ(u"408", Info(*reader, u"StatusCode"));
    EXPECT_EQ(0, reader->IsOpen());
    EXPECT_EQ(nThreadObjects, zu::platform::CountOpenThreadObjects());

    // The same reader opens when it waits long enough, and its status no longer says time-out.
    reader->SetTimeout(4000);
    ASSERT_TRUE(reader->Open());
    EXPECT_EQ(u"200", Info(*reader, u"StatusCode"));
    EXPECT_TRUE(ReadToEnd(*reader) == PatternBytes(16, 3));
    EXPECT_EQ(2u, RecordedRequests("/stall?ms=1800&length=16&" + tag).size());
}

TEST_F(InternetReaderTest, AHeadThatTheServerRefusesIsAskedAgainAsAGet)
{
    ZU_REQUIRE_SERVERS();
    const std::string tag = UniqueTag("nohead");
    CReaderPtr reader = InternetReader(ServerUrl("ODD_HTTP", "/no-head?" + tag), u"HTTPREQUEST_TYPE|HEAD");
    ASSERT_TRUE(reader->Open());
    EXPECT_EQ(u"200", Info(*reader, u"StatusCode"));
    EXPECT_EQ("GET after all\n", ReadToEnd(*reader));
    const std::vector<CRecordedRequest> recorded = RecordedRequests("/no-head?" + tag);
    ASSERT_EQ(2u, recorded.size());
    EXPECT_EQ("HEAD", recorded[0].m_strMethod);
    EXPECT_TRUE(recorded[0].HeaderValues("Icy-MetaData").empty());
    EXPECT_EQ("GET", recorded[1].m_strMethod);
    EXPECT_EQ("1", recorded[1].Header("Icy-MetaData"));

    // A HEAD that is answered gives the length and no body.
    const std::string headTag = UniqueTag("head");
    CReaderPtr head = InternetReader(ServerUrl("NGINX_HTTP", "/pattern.bin?" + headTag), u"HTTPREQUEST_TYPE|HEAD");
    ASSERT_TRUE(head->Open());
    EXPECT_EQ(static_cast<int64_t>(ServedPattern().size()), head->GetLength());
    EXPECT_EQ("", ReadToEnd(*head));
    const std::string line = NginxLine(headTag);
    EXPECT_EQ(0u, line.find("http HEAD ")) << line;
    EXPECT_EQ("-", AccessLogField(line, "icy"));
}

TEST_F(InternetReaderTest, TheLengthComesFromTheIntegrityHeaderAndABodyCutShortEndsTheReads)
{
    ZU_REQUIRE_SERVERS();
    CReaderPtr reader = InternetReader(ServerUrl("ODD_HTTP", "/integrity?n=5000&" + UniqueTag("integrity")));
    ASSERT_TRUE(reader->Open());
    EXPECT_EQ(u"0", Info(*reader, u"ContentLength"));
    EXPECT_EQ(u"5000", Info(*reader, u"X-MusicNet-IntegrityCheck"));
    EXPECT_EQ(5000, reader->GetLength());
    EXPECT_EQ(0, reader->GetPosition());
    const std::string body = ReadToEnd(*reader);
    EXPECT_TRUE(PatternBytes(5000, 3).compare(0, body.size(), body) == 0) << "whatever arrives is the body's start";

    CReaderPtr cut = InternetReader(ServerUrl("ODD_HTTP", "/drop?length=1000&" + UniqueTag("drop")));
    ASSERT_TRUE(cut->Open());
    EXPECT_EQ(1000, cut->GetLength());
    EXPECT_TRUE(ReadUpTo(*cut, 2000) == PatternBytes(1000, 3).substr(0, 500)) << "the data ends at half";
    EXPECT_EQ("", ReadUpTo(*cut, 2000));
    EXPECT_EQ("", ReadUpTo(*cut, 2000));
}

TEST_F(InternetReaderTest, RepeatedHeadersAreJoinedAndUnknownNamesAreEmpty)
{
    ZU_REQUIRE_SERVERS();
    CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", "/repeat"));
    ASSERT_TRUE(reader->Open());
    EXPECT_EQ(u"one, two", Info(*reader, u"x-repeat"));
    EXPECT_EQ(u"", Info(*reader, u"X-Absent"));
    const std::u16string all = Info(*reader, u"AllHeaders");
    EXPECT_NE(std::u16string::npos, all.find(u"\r\nX-Repeat: one\r\nX-Repeat: two\r\n")) << Utf8(all);
    reader->Close();
    EXPECT_EQ(u"", Info(*reader, u"X-Repeat")) << "nothing to ask once closed";
    EXPECT_EQ(u"200", Info(*reader, u"StatusCode")) << "the status stays";
}

TEST_F(InternetReaderTest, StreamingAddressesAreFetchedOverHttp)
{
    ZU_REQUIRE_SERVERS();
    const std::string rest = "127.0.0.1:" + ServerValue("NGINX_HTTP") + "/hello.txt";
    for (const std::string scheme : {"MMS://", "rtsp://", "m01p://"}) {
        CReaderPtr reader = InternetReader(U16(scheme + rest));
        EXPECT_EQ(U16("http://" + rest), Info(*reader, u"Location")) << scheme;
        ASSERT_TRUE(reader->Open()) << scheme;
        EXPECT_EQ(HELLO, ReadToEnd(*reader));
    }
    EXPECT_EQ(u"ftp://h/x", Info(*InternetReader(u"ftp://h/x"), u"Location"));
    EXPECT_EQ(u"mmsx://h/x", Info(*InternetReader(u"mmsx://h/x"), u"Location"));
}

TEST_F(InternetReaderTest, FailuresSayWhyInStatusCodeStatusTextAndError)
{
    ZU_REQUIRE_SERVERS();
    {
        CReaderPtr reader = InternetReader(ServerUrl("NGINX_HTTP", "/no-such-file.txt"));
        EXPECT_FALSE(reader->Open());
        EXPECT_EQ(u"404", Info(*reader, u"StatusCode"));
        EXPECT_EQ(u"Not Found", Info(*reader, u"StatusText"));
        EXPECT_EQ(u"2", Info(*reader, u"Error"));
        EXPECT_EQ(0, reader->IsOpen());
    }
    const std::pair<std::u16string, uint32_t> cases[] = {
        {u"not a url", zu::platform::INET_ERROR_INVALID_URL},
        {U16("gopher://127.0.0.1:" + ServerValue("NGINX_HTTP") + "/x"), zu::platform::INET_ERROR_UNRECOGNIZED_SCHEME},
        {u"http://127.0.0.1:1/x", zu::platform::INET_ERROR_CANNOT_CONNECT},  // nothing listens on port 1
        {u"http://no-such-host.invalid/x", zu::platform::INET_ERROR_NAME_NOT_RESOLVED},
    };
    for (const auto& item : cases) {
        CReaderPtr reader = InternetReader(item.first, u"", 3000);
        const auto start = CClock::now();
        EXPECT_FALSE(reader->Open()) << Utf8(item.first);
        EXPECT_LT(MillisecondsSince(start), 2900) << Utf8(item.first);
        EXPECT_EQ(TransferFailureCode(), Info(*reader, u"StatusCode")) << Utf8(item.first);
        EXPECT_EQ(InternetErrorText(item.second), Info(*reader, u"StatusText")) << Utf8(item.first);
        EXPECT_FALSE(Info(*reader, u"StatusText").empty());
        EXPECT_EQ(zu::platform::IsNetworkAlive() ? u"3" : u"1", Info(*reader, u"Error"));
        EXPECT_EQ("", ReadUpTo(*reader, 1));
        EXPECT_EQ(-1, reader->GetPosition());
    }
}
