// The Internet seam against the loopback servers: nginx, squid, the FTP server and the odd HTTP
// server. Written against the seam alone, so that every backend answers to the same checks.
#include "platform/File.h"
#include "platform/Internet.h"
#include "platform/System.h"

#include "ServerSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

using namespace zu::platform;

namespace {

using CClock = std::chrono::steady_clock;

const std::u16string LOOPBACK = u"127.0.0.1";

std::u16string U16(const std::string& text)
{
    return std::u16string(text.begin(), text.end());
}

std::string Narrow(const std::u16string& text)
{
    return zutest::Utf8(text);
}

int64_t MillisecondsSince(CClock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(CClock::now() - start).count();
}

// A query text no other request of this run carries, to find this request in a server's log.
std::string UniqueTag(const char* pszWhat)
{
    static std::atomic<int> s_nCounter{0};
    return std::string(pszWhat) + "-" + std::to_string(TickCount()) + "-" + std::to_string(++s_nCounter);
}

uint16_t Port(const char* pszName)
{
    return static_cast<uint16_t>(zutest::ServerPort(pszName));
}

void SetTimeouts(InternetHandle h, uint32_t nMilliseconds)
{
    for (uint32_t nOption : {INET_OPTION_CONNECT_TIMEOUT, INET_OPTION_SEND_TIMEOUT, INET_OPTION_DATA_SEND_TIMEOUT,
                             INET_OPTION_RECEIVE_TIMEOUT, INET_OPTION_DATA_RECEIVE_TIMEOUT, INET_OPTION_LISTEN_TIMEOUT})
        ASSERT_TRUE(SetInternetOption(h, nOption, nMilliseconds)) << nOption;
}

// A session, a connection and the request handles of one test, closed in the right order.
class CHttpClient {
public:
    explicit CHttpClient(uint16_t nPort, uint32_t nAccessType = INET_OPEN_TYPE_DIRECT,
                         const std::u16string& proxies = u"", const std::u16string& bypass = u"",
                         uint32_t nTimeoutMs = 10000, const std::u16string& userAgent = u"ZUReader seam test",
                         const std::u16string& host = LOOPBACK)
    {
        m_Session.Reset(OpenInternetSession(userAgent, nAccessType, proxies, bypass, 0));
        if (!m_Session.IsOpen())
            return;
        SetTimeouts(m_Session.Get(), nTimeoutMs);
        m_Connection.Reset(ConnectInternet(m_Session.Get(), host, nPort, u"", u"", INET_SERVICE_HTTP, 0));
    }

    bool IsReady() const { return m_Session.IsOpen() && m_Connection.IsOpen(); }
    InternetHandle Session() const { return m_Session.Get(); }
    InternetHandle Connection() const { return m_Connection.Get(); }

    // A request for object (a path from the root, query included) that is not sent yet.
    InternetHandle Open(const std::string& object, const std::u16string& verb = u"GET", uint32_t nFlags = 0)
    {
        m_Requests.emplace_back(new CInternetHandle(OpenHttpRequest(
            m_Connection.Get(), verb, U16(object), u"HTTP/1.1", u"", u"*/*", nFlags | INET_FLAG_NO_UI)));
        return m_Requests.back()->Get();
    }

    // Opens and sends; null when either fails (InternetLastError tells why).
    InternetHandle Get(const std::string& object, const std::u16string& verb = u"GET", uint32_t nFlags = 0)
    {
        InternetHandle h = Open(object, verb, nFlags);
        return h && SendHttpRequest(h, u"", nullptr, 0) ? h : nullptr;
    }

private:
    CInternetHandle m_Session;
    CInternetHandle m_Connection;
    std::vector<std::unique_ptr<CInternetHandle>> m_Requests;
};

// Reads to the end in reads of nChunk bytes; false when a read fails.
bool ReadAll(InternetHandle h, std::string& body, uint32_t nChunk = 4096, size_t* pReads = nullptr)
{
    std::string buffer(nChunk, '\0');
    for (;;) {
        uint32_t nRead = 0;
        if (!ReadInternetFile(h, &buffer[0], nChunk, nRead))
            return false;
        if (nRead == 0)
            return true;
        EXPECT_LE(nRead, nChunk);
        body.append(buffer, 0, nRead);
        if (pReads)
            ++*pReads;
    }
}

// Reads exactly nCount bytes unless the data ends first.
std::string ReadSome(InternetHandle h, size_t nCount)
{
    std::string body;
    std::string buffer(nCount, '\0');
    while (body.size() < nCount) {
        uint32_t nRead = 0;
        if (!ReadInternetFile(h, &buffer[0], static_cast<uint32_t>(nCount - body.size()), nRead) || nRead == 0)
            break;
        body.append(buffer, 0, nRead);
    }
    return body;
}

std::string Info(InternetHandle h, uint32_t nLevel, const std::u16string& name = u"")
{
    std::u16string value;
    return QueryHttpInfo(h, nLevel, value, nullptr, name) ? Narrow(value) : std::string("<none>");
}

// Every instance of a header, asked for one by one as the index steps on.
std::vector<std::string> HeaderInstances(InternetHandle h, const std::u16string& name, uint32_t& nLastError)
{
    std::vector<std::string> values;
    uint32_t nIndex = 0;
    for (;;) {
        std::u16string value;
        const uint32_t nAsked = nIndex;
        if (!QueryHttpInfo(h, INET_QUERY_CUSTOM, value, &nIndex, name)) {
            nLastError = InternetLastError();
            return values;
        }
        EXPECT_EQ(nAsked + 1, nIndex);
        values.push_back(Narrow(value));
        if (values.size() > 10)
            return values;
    }
}

// The nginx access-log line of the request whose URI contains tag; empty until nginx wrote it.
std::string NginxLogLine(const std::string& tag, uint32_t nWaitMs = 3000)
{
    const auto start = CClock::now();
    for (;;) {
        for (const std::string& line : zutest::ServerLogLines("NGINX_ACCESS_LOG"))
            if (line.find(tag) != std::string::npos)
                return line;
        if (MillisecondsSince(start) > nWaitMs)
            return std::string();
        SleepMilliseconds(50);
    }
}

// The body bytes nginx reports having sent for that request.
int64_t NginxBytesSent(const std::string& line)
{
    // scheme METHOD "uri" status bytes ...
    const size_t uriEnd = line.find("\" ");
    if (uriEnd == std::string::npos)
        return -1;
    const size_t statusEnd = line.find(' ', uriEnd + 2);
    return statusEnd == std::string::npos ? -1 : std::atoll(line.c_str() + statusEnd + 1);
}

std::string Pattern()
{
    return zutest::PatternBytes(std::stoul(zutest::ServerValue("PATTERN_SIZE")),
                                static_cast<uint32_t>(std::stoul(zutest::ServerValue("PATTERN_SEED"))));
}

// The odd server's bodies.
std::string OddPattern(size_t nLength)
{
    return zutest::PatternBytes(nLength, 3);
}

}  // namespace

TEST(InternetTest, GetStreamsTheBodyThroughSmallReadsAndGivesTheHead)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("NGINX_HTTP"));
    ASSERT_TRUE(client.IsReady()) << InternetLastError();
    const std::string tag = UniqueTag("get");
    InternetHandle h = client.Get("/pattern.bin?" + tag);
    ASSERT_NE(nullptr, h) << InternetLastError();

    uint32_t nStatus = 0;
    ASSERT_TRUE(QueryHttpInfoNumber(h, INET_QUERY_STATUS_CODE, nStatus));
    EXPECT_EQ(200u, nStatus);
    EXPECT_EQ("OK", Info(h, INET_QUERY_STATUS_TEXT));
    EXPECT_EQ("HTTP/1.1", Info(h, INET_QUERY_VERSION));
    EXPECT_EQ(zutest::ServerValue("PATTERN_SIZE"), Info(h, INET_QUERY_CONTENT_LENGTH));
    EXPECT_EQ("application/octet-stream", Info(h, INET_QUERY_CONTENT_TYPE));
    EXPECT_EQ("<none>", Info(h, INET_QUERY_CONTENT_ENCODING));
    EXPECT_EQ(INET_ERROR_HTTP_HEADER_NOT_FOUND, InternetLastError());
    const std::string raw = Info(h, INET_QUERY_RAW_HEADERS_CRLF);
    EXPECT_EQ(0u, raw.find("HTTP/1.1 200 OK\r\n")) << raw;
    EXPECT_NE(std::string::npos, raw.find("\r\nContent-Length: " + zutest::ServerValue("PATTERN_SIZE") + "\r\n"));
    EXPECT_EQ(raw.size() - 4, raw.find("\r\n\r\n")) << "the head ends with one empty line";

    // An odd read size, so reads straddle whatever the transfer delivers in one piece.
    std::string body;
    size_t nReads = 0;
    ASSERT_TRUE(ReadAll(h, body, 1777, &nReads)) << InternetLastError();
    EXPECT_TRUE(body == Pattern()) << "got " << body.size() << " bytes";
    EXPECT_GE(nReads, Pattern().size() / 1777);
    uint32_t nRead = 99;
    char byte = 0;
    EXPECT_TRUE(ReadInternetFile(h, &byte, 1, nRead));
    EXPECT_EQ(0u, nRead) << "the end stays the end";
    EXPECT_EQ(500000, SetInternetFilePointer(h, 500000, INET_FILE_BEGIN)) << "back from the end";
    EXPECT_TRUE(ReadSome(h, 3000) == Pattern().substr(500000, 3000));

    const std::string line = NginxLogLine(tag);
    EXPECT_EQ("ZUReader seam test", zutest::AccessLogField(line, "ua")) << line;
    EXPECT_EQ("-", zutest::AccessLogField(line, "range")) << "nginx writes - for a header not sent";
    EXPECT_EQ(static_cast<int64_t>(Pattern().size()), NginxBytesSent(line)) << line;
}

TEST(InternetTest, RepeatedHeadersComeBackOneByOneAndLevelsWithoutInstancesKeepTheIndex)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("NGINX_HTTP"));
    InternetHandle h = client.Get("/repeat");
    ASSERT_NE(nullptr, h) << InternetLastError();

    uint32_t nEndError = 0;
    EXPECT_EQ((std::vector<std::string>{"one", "two"}), HeaderInstances(h, u"X-Repeat", nEndError));
    EXPECT_EQ(INET_ERROR_HTTP_HEADER_NOT_FOUND, nEndError);
    EXPECT_EQ((std::vector<std::string>{"one", "two"}), HeaderInstances(h, u"x-repeat", nEndError))
        << "names compare without regard to case";
    EXPECT_TRUE(HeaderInstances(h, u"X-Absent", nEndError).empty());
    EXPECT_EQ(INET_ERROR_HTTP_HEADER_NOT_FOUND, nEndError);

    uint32_t nIndex = 0;
    std::u16string value;
    ASSERT_TRUE(QueryHttpInfo(h, INET_QUERY_STATUS_CODE, value, &nIndex));
    EXPECT_EQ(u"200", value);
    EXPECT_EQ(0u, nIndex);
    ASSERT_TRUE(QueryHttpInfo(h, INET_QUERY_RAW_HEADERS_CRLF, value, &nIndex));
    EXPECT_EQ(0u, nIndex);
    nIndex = 1;
    ASSERT_TRUE(QueryHttpInfo(h, INET_QUERY_CUSTOM, value, &nIndex, u"X-Repeat"));
    EXPECT_EQ(u"two", value);
    EXPECT_EQ(2u, nIndex);

    std::string body;
    ASSERT_TRUE(ReadAll(h, body));
    EXPECT_EQ("repeat\n", body);
}

TEST(InternetTest, HeadGivesTheHeadAndNoBody)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("NGINX_HTTP"));
    const std::string tag = UniqueTag("head");
    const auto start = CClock::now();
    InternetHandle h = client.Get("/pattern.bin?" + tag, u"HEAD");
    ASSERT_NE(nullptr, h) << InternetLastError();
    EXPECT_EQ("200", Info(h, INET_QUERY_STATUS_CODE));
    EXPECT_EQ(zutest::ServerValue("PATTERN_SIZE"), Info(h, INET_QUERY_CONTENT_LENGTH));
    char buffer[64];
    uint32_t nRead = 99;
    EXPECT_TRUE(ReadInternetFile(h, buffer, sizeof(buffer), nRead));
    EXPECT_EQ(0u, nRead);
    EXPECT_LT(MillisecondsSince(start), 5000) << "the announced length is not waited for";
    EXPECT_EQ(0u, NginxLogLine(tag).find("http HEAD ")) << NginxLogLine(tag);
}

TEST(InternetTest, RangeRequestsAndFilePointerMovesServeTheRightBytes)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("NGINX_HTTP"));
    const std::string pattern = Pattern();
    const int64_t nSize = static_cast<int64_t>(pattern.size());
    const std::string tag = UniqueTag("range");
    InternetHandle h = client.Open("/pattern.bin?" + tag);
    ASSERT_NE(nullptr, h);
    ASSERT_TRUE(AddHttpRequestHeaders(h, u"Range: bytes=1000-\r\n", INET_ADDREQ_FLAG_ADD | INET_ADDREQ_FLAG_REPLACE));
    ASSERT_TRUE(SendHttpRequest(h, u"", nullptr, 0)) << InternetLastError();
    EXPECT_EQ("206", Info(h, INET_QUERY_STATUS_CODE));
    EXPECT_EQ("bytes 1000-" + std::to_string(nSize - 1) + "/" + std::to_string(nSize),
              Info(h, INET_QUERY_CONTENT_RANGE));
    const int64_t nBodySize = nSize - 1000;  // positions count within this answer's body

    EXPECT_TRUE(ReadSome(h, 100) == pattern.substr(1000, 100));
    EXPECT_EQ(100, SetInternetFilePointer(h, 0, INET_FILE_CURRENT));
    EXPECT_EQ(150, SetInternetFilePointer(h, 50, INET_FILE_CURRENT)) << "a short step forward";
    EXPECT_TRUE(ReadSome(h, 10) == pattern.substr(1150, 10));
    EXPECT_EQ(700000, SetInternetFilePointer(h, 700000, INET_FILE_BEGIN)) << "far ahead";
    EXPECT_TRUE(ReadSome(h, 4096) == pattern.substr(701000, 4096));
    EXPECT_EQ(5, SetInternetFilePointer(h, 5, INET_FILE_BEGIN)) << "back";
    EXPECT_TRUE(ReadSome(h, 20) == pattern.substr(1005, 20));
    EXPECT_EQ(nBodySize - 10, SetInternetFilePointer(h, -10, INET_FILE_END));
    std::string tail;
    ASSERT_TRUE(ReadAll(h, tail));
    EXPECT_TRUE(tail == pattern.substr(pattern.size() - 10));
    EXPECT_EQ(nBodySize, SetInternetFilePointer(h, 0, INET_FILE_END));
    uint32_t nRead = 9;
    char byte;
    EXPECT_TRUE(ReadInternetFile(h, &byte, 1, nRead));
    EXPECT_EQ(0u, nRead);
    EXPECT_EQ(-1, SetInternetFilePointer(h, nBodySize + 1, INET_FILE_BEGIN));
    EXPECT_EQ(-1, SetInternetFilePointer(h, -1, INET_FILE_BEGIN));
    EXPECT_EQ(3, SetInternetFilePointer(h, 3, INET_FILE_BEGIN)) << "a refused move changes nothing";
    EXPECT_TRUE(ReadSome(h, 5) == pattern.substr(1003, 5));

    // The moves that went back to the server asked for the rest of the same part. nginx logs a
    // request when it ends, so the last one is ended first.
    ASSERT_TRUE(CloseInternetHandle(h));
    std::vector<std::string> ranges;
    for (const auto start = CClock::now(); ranges.size() < 5 && MillisecondsSince(start) < 3000;
         SleepMilliseconds(50)) {
        ranges.clear();
        for (const std::string& line : zutest::ServerLogLines("NGINX_ACCESS_LOG"))
            if (line.find(tag) != std::string::npos)
                ranges.push_back(zutest::AccessLogField(line, "range"));
    }
    ASSERT_FALSE(ranges.empty());
    EXPECT_EQ("bytes=1000-", ranges.front());
    const auto asked = [&ranges](const std::string& first) {
        return std::any_of(ranges.begin(), ranges.end(), [&first](const std::string& range) {
            return range == first || range == first + std::to_string(Pattern().size() - 1);
        });
    };
    EXPECT_TRUE(asked("bytes=701000-"));
    EXPECT_TRUE(asked("bytes=1005-"));
}

TEST(InternetTest, AMoveThatAsksAgainKeepsTheFirstHeadAndTheRequestsCredentials)
{
    ZU_REQUIRE_SERVERS();
    CInternetHandle session(OpenInternetSession(u"test", INET_OPEN_TYPE_DIRECT, u"", u"", 0));
    SetTimeouts(session.Get(), 10000);
    // By name: the system remembers credentials for a server by its name for the whole process,
    // and other tests ask 127.0.0.1 without them.
    CInternetHandle connection(ConnectInternet(session.Get(), u"localhost", Port("NGINX_HTTP"),
                                               U16(zutest::ServerValue("AUTH_USER")),
                                               U16(zutest::ServerValue("AUTH_PASSWORD")), INET_SERVICE_HTTP, 0));
    const std::string tag = UniqueTag("again");
    CInternetHandle request(OpenHttpRequest(connection.Get(), u"GET", U16("/auth/secret.txt?" + tag), u"", u"",
                                            u"", INET_FLAG_NO_UI));
    ASSERT_TRUE(AddHttpRequestHeaders(request.Get(), u"X-Caller: kept\r\n", INET_ADDREQ_FLAG_ADD));
    ASSERT_TRUE(SendHttpRequest(request.Get(), u"", nullptr, 0)) << InternetLastError();
    const std::string secret = "The secret behind Basic authentication.\n";
    std::string body;
    ASSERT_TRUE(ReadAll(request.Get(), body));
    EXPECT_EQ(secret, body);

    EXPECT_EQ(7, SetInternetFilePointer(request.Get(), 7, INET_FILE_BEGIN));
    body.clear();
    ASSERT_TRUE(ReadAll(request.Get(), body)) << InternetLastError();
    EXPECT_EQ(secret.substr(7), body) << "the request made again carries the connection's credentials";
    EXPECT_EQ("200", Info(request.Get(), INET_QUERY_STATUS_CODE)) << "questions go to the first answer";
    EXPECT_EQ(std::to_string(secret.size()), Info(request.Get(), INET_QUERY_CONTENT_LENGTH));
    EXPECT_EQ("kept", Info(request.Get(), INET_QUERY_CUSTOM | INET_QUERY_FLAG_REQUEST_HEADERS, u"X-Caller"));

    // The part was asked for, and given (nginx answers 401 without the credentials).
    ASSERT_TRUE(request.Close());
    const std::string line = NginxLogLine("?" + tag + "\" 206 ");
    EXPECT_EQ("bytes=7-", zutest::AccessLogField(line, "range")) << line;
}

TEST(InternetTest, AServerThatIgnoresRangesIsWalkedToThePlaceAndAWrongPartIsRefused)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("ODD_HTTP"));
    const std::string pattern = OddPattern(300000);
    InternetHandle h = client.Get("/status?code=200&length=300000&" + UniqueTag("walk"));
    ASSERT_NE(nullptr, h) << InternetLastError();
    EXPECT_TRUE(ReadSome(h, 200000) == pattern.substr(0, 200000));
    EXPECT_EQ(1000, SetInternetFilePointer(h, 1000, INET_FILE_BEGIN));
    EXPECT_TRUE(ReadSome(h, 3000) == pattern.substr(1000, 3000));
    EXPECT_EQ(250000, SetInternetFilePointer(h, 250000, INET_FILE_BEGIN)) << "beyond a short step ahead";
    std::string tail;
    ASSERT_TRUE(ReadAll(h, tail, 65536));
    EXPECT_TRUE(tail == pattern.substr(250000)) << tail.size();

    // A partial answer without its Content-Range cannot be placed: the move fails and nothing
    // more is read rather than the wrong bytes.
    InternetHandle hPart = client.Get("/status?code=206&length=300000&" + UniqueTag("part"));
    ASSERT_NE(nullptr, hPart) << InternetLastError();
    EXPECT_TRUE(ReadSome(hPart, 100) == pattern.substr(0, 100));
    EXPECT_EQ(-1, SetInternetFilePointer(hPart, 10, INET_FILE_BEGIN));
    EXPECT_EQ(INET_ERROR_HTTP_INVALID_SERVER_RESPONSE, InternetLastError());
    uint32_t nRead = 9;
    char byte = 0;
    EXPECT_TRUE(ReadInternetFile(hPart, &byte, 1, nRead));
    EXPECT_EQ(0u, nRead);
}

TEST(InternetTest, ClosingTheSessionEndsASendWaitingForTheAnswer)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("ODD_HTTP"), INET_OPEN_TYPE_DIRECT, u"", u"", 20000);
    InternetHandle h = client.Open("/stall?ms=8000&" + UniqueTag("send"));
    ASSERT_NE(nullptr, h);
    std::atomic<bool> bSent{true};
    std::atomic<uint32_t> nError{0};
    const auto start = CClock::now();
    std::thread sender([&] {
        bSent = SendHttpRequest(h, u"", nullptr, 0);
        nError = InternetLastError();
    });
    SleepMilliseconds(300);
    EXPECT_TRUE(CloseInternetHandle(client.Session()));
    sender.join();
    EXPECT_FALSE(bSent);
    EXPECT_EQ(INET_ERROR_OPERATION_CANCELLED, nError);
    EXPECT_LT(MillisecondsSince(start), 5000);
    EXPECT_FALSE(SendHttpRequest(h, u"", nullptr, 0));
    EXPECT_EQ(INET_ERROR_INVALID_HANDLE, InternetLastError());
}

TEST(InternetTest, FilePointerOfABodyWithoutLengthStaysPut)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("ODD_HTTP"));
    // A radio stream: no length, the end is the connection's.
    InternetHandle h = client.Get("/icy?metaint=1000&blocks=4&" + UniqueTag("icy"));
    ASSERT_NE(nullptr, h) << InternetLastError();
    EXPECT_EQ("<none>", Info(h, INET_QUERY_CONTENT_LENGTH));
    EXPECT_EQ(-1, SetInternetFilePointer(h, 0, INET_FILE_END));
    EXPECT_TRUE(ReadSome(h, 500) == OddPattern(1000).substr(0, 500));
    EXPECT_EQ(-1, SetInternetFilePointer(h, 0, INET_FILE_BEGIN)) << "going back needs a known length";
    EXPECT_EQ(600, SetInternetFilePointer(h, 100, INET_FILE_CURRENT)) << "held bytes can be skipped";
    EXPECT_TRUE(ReadSome(h, 400) == OddPattern(1000).substr(600, 400));
}

TEST(InternetTest, ALargeBodyIsPulledOnlyAsItIsRead)
{
    ZU_REQUIRE_SERVERS();
    // Far more than the socket buffers of both ends can hold, so only a client that downloads
    // ahead of its reader makes the server send it all.
    const size_t nSize = 96u << 20;
    const std::u16string name = u"big-" + U16(UniqueTag("file")) + u".bin";
    const std::u16string path = zutest::ServerPath("NGINX_ROOT") + PathSeparator() + name;
    zutest::WriteFile(path, zutest::PatternBytes(nSize, 7));
    struct CRemove {
        std::u16string m_Path;
        ~CRemove() { DeleteFileByName(m_Path); }
    } remove{path};

    CHttpClient client(Port("NGINX_HTTP"));
    const std::string tag = UniqueTag("big");
    {
        InternetHandle h = client.Get("/" + Narrow(name) + "?" + tag);
        ASSERT_NE(nullptr, h) << InternetLastError();
        EXPECT_TRUE(ReadSome(h, 1 << 20) == zutest::PatternBytes(1 << 20, 7));
        // Time for a client that reads ahead to take everything the network lets through.
        SleepMilliseconds(1500);
        EXPECT_TRUE(ReadSome(h, 4096) == zutest::PatternBytes((1 << 20) + 4096, 7).substr(1 << 20));
        ASSERT_TRUE(CloseInternetHandle(h));
    }
    const std::string line = NginxLogLine(tag, 5000);
    ASSERT_FALSE(line.empty());
    const int64_t nSent = NginxBytesSent(line);
    EXPECT_GT(nSent, 1 << 20);
    if (zutest::RunningUnderWine()) {
        std::printf("[   NOTE   ] bytes sent not checked: Wine reads an unread body on while the server keeps "
                    "it coming when its handle is closed\n");
        return;
    }
    EXPECT_LT(nSent, static_cast<int64_t>(nSize / 2)) << line;
}

TEST(InternetTest, TransportFailuresHaveTheirErrorNumbers)
{
    ZU_REQUIRE_SERVERS();
    {
        // Nothing listens on port 1.
        CHttpClient client(1);
        ASSERT_TRUE(client.IsReady()) << "HTTP connections connect with their first request";
        const auto start = CClock::now();
        EXPECT_EQ(nullptr, client.Get("/"));
        EXPECT_EQ(INET_ERROR_CANNOT_CONNECT, InternetLastError());
        EXPECT_LT(MillisecondsSince(start), 9000);
    }
    {
        CInternetHandle session(OpenInternetSession(u"test", INET_OPEN_TYPE_DIRECT, u"", u"", 0));
        SetTimeouts(session.Get(), 8000);
        CInternetHandle connection(
            ConnectInternet(session.Get(), u"no-such-host.invalid", 80, u"", u"", INET_SERVICE_HTTP, 0));
        ASSERT_TRUE(connection.IsOpen());
        CInternetHandle request(OpenHttpRequest(connection.Get(), u"GET", u"/", u"", u"", u"", 0));
        ASSERT_TRUE(request.IsOpen());
        EXPECT_FALSE(SendHttpRequest(request.Get(), u"", nullptr, 0));
        EXPECT_EQ(INET_ERROR_NAME_NOT_RESOLVED, InternetLastError());
    }
    {
        // A server that promises 1000 bytes and hangs up after 500: the data just ends.
        CHttpClient client(Port("ODD_HTTP"));
        InternetHandle h = client.Get("/drop?length=1000&" + UniqueTag("drop"));
        ASSERT_NE(nullptr, h) << InternetLastError();
        std::string body;
        EXPECT_TRUE(ReadAll(h, body));
        EXPECT_TRUE(body == OddPattern(1000).substr(0, 500)) << body.size();
    }
}

TEST(InternetTest, SilenceBeyondTheReceiveTimeoutFailsInBoundedTime)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("ODD_HTTP"), INET_OPEN_TYPE_DIRECT, u"", u"", 800);
    {
        const auto start = CClock::now();
        EXPECT_EQ(nullptr, client.Get("/stall?ms=6000&" + UniqueTag("stall")));
        EXPECT_EQ(INET_ERROR_TIMEOUT, InternetLastError());
        const int64_t nElapsed = MillisecondsSince(start);
        EXPECT_GE(nElapsed, 700);
        EXPECT_LT(nElapsed, 4000);
    }
    {
        // The head comes at once, the body only after the stall.
        InternetHandle h = client.Get("/stall?ms=6000&head=1&" + UniqueTag("stall"));
        ASSERT_NE(nullptr, h) << InternetLastError();
        const auto start = CClock::now();
        char buffer[16];
        uint32_t nRead = 0;
        EXPECT_FALSE(ReadInternetFile(h, buffer, sizeof(buffer), nRead));
        EXPECT_EQ(INET_ERROR_TIMEOUT, InternetLastError());
        EXPECT_LT(MillisecondsSince(start), 4000);
    }
}

TEST(InternetTest, ClosingAHandleEndsAReadBlockedOnAnotherThread)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("ODD_HTTP"), INET_OPEN_TYPE_DIRECT, u"", u"", 20000);
    InternetHandle h = client.Get("/stall?ms=8000&head=1&" + UniqueTag("close"));
    ASSERT_NE(nullptr, h) << InternetLastError();
    std::atomic<bool> bRead{true};
    std::atomic<uint32_t> nError{0};
    const auto start = CClock::now();
    std::thread reader([&] {
        char buffer[16];
        uint32_t nRead = 0;
        bRead = ReadInternetFile(h, buffer, sizeof(buffer), nRead);
        nError = InternetLastError();
    });
    SleepMilliseconds(300);
    EXPECT_TRUE(CloseInternetHandle(h));
    reader.join();
    EXPECT_FALSE(bRead);
    EXPECT_EQ(INET_ERROR_OPERATION_CANCELLED, nError);
    EXPECT_LT(MillisecondsSince(start), 5000);
    uint32_t nRead = 0;
    char byte;
    EXPECT_FALSE(ReadInternetFile(h, &byte, 1, nRead));
    EXPECT_EQ(INET_ERROR_INVALID_HANDLE, InternetLastError());
    EXPECT_FALSE(CloseInternetHandle(h));
}

TEST(InternetTest, HttpsRefusesAnUnknownAuthorityUntilToldToIgnoreIt)
{
    ZU_REQUIRE_SERVERS();
    // By name: the certificate names the server both as 127.0.0.1 and as localhost, and Wine's
    // check matches names alone.
    CHttpClient client(Port("NGINX_HTTPS"), INET_OPEN_TYPE_DIRECT, u"", u"", 10000, u"ZUReader seam test",
                       u"localhost");
    InternetHandle h = client.Open("/hello.txt", u"GET", INET_FLAG_SECURE);
    ASSERT_NE(nullptr, h);
    EXPECT_FALSE(SendHttpRequest(h, u"", nullptr, 0));
    EXPECT_EQ(INET_ERROR_INVALID_CA, InternetLastError());

    uint32_t nFlags = 0;
    ASSERT_TRUE(QueryInternetOption(h, INET_OPTION_SECURITY_FLAGS, nFlags));
    EXPECT_EQ(0u, nFlags & INET_SECURITY_FLAG_IGNORE_UNKNOWN_CA);
    ASSERT_TRUE(SetInternetOption(h, INET_OPTION_SECURITY_FLAGS, nFlags | INET_SECURITY_FLAG_IGNORE_UNKNOWN_CA));
    ASSERT_TRUE(SendHttpRequest(h, u"", nullptr, 0)) << InternetLastError();
    EXPECT_EQ("200", Info(h, INET_QUERY_STATUS_CODE));
    std::string body;
    ASSERT_TRUE(ReadAll(h, body));
    EXPECT_EQ("Hello from the root.\n", body);
    ASSERT_TRUE(QueryInternetOption(h, INET_OPTION_SECURITY_FLAGS, nFlags));
    EXPECT_NE(0u, nFlags & INET_SECURITY_FLAG_IGNORE_UNKNOWN_CA);
}

TEST(InternetTest, RequestsGoThroughTheProxyUnlessTheHostIsBypassed)
{
    ZU_REQUIRE_SERVERS();
    const std::u16string proxy = u"http=127.0.0.1:" + U16(zutest::ServerValue("SQUID"));
    // squid leaves queries out of its log, so each request is told apart by its user agent.
    const auto squidLines = [](const std::string& userAgent, uint32_t nWaitMs) {
        std::vector<std::string> found;
        const auto start = CClock::now();
        while (found.empty() && MillisecondsSince(start) < nWaitMs) {
            for (const std::string& line : zutest::ServerLogLines("SQUID_ACCESS_LOG"))
                if (zutest::AccessLogField(line, "ua") == userAgent)
                    found.push_back(line);
            SleepMilliseconds(50);
        }
        return found;
    };
    {
        const std::string agent = UniqueTag("proxied");
        CHttpClient client(Port("NGINX_HTTP"), INET_OPEN_TYPE_PROXY, proxy, u"", 10000, U16(agent));
        InternetHandle h = client.Get("/hello.txt");
        ASSERT_NE(nullptr, h) << InternetLastError();
        std::string body;
        ASSERT_TRUE(ReadAll(h, body));
        EXPECT_EQ("Hello from the root.\n", body);
        const std::vector<std::string> lines = squidLines(agent, 3000);
        ASSERT_EQ(1u, lines.size());
        EXPECT_NE(std::string::npos,
                  lines[0].find(" GET http://127.0.0.1:" + zutest::ServerValue("NGINX_HTTP") + "/hello.txt 200 "))
            << lines[0];
    }
    {
        const std::string agent = UniqueTag("bypassed");
        // Wine matches whole names only, where Windows takes wildcards and spaces between entries.
        const std::u16string bypass = zutest::RunningUnderWine() ? u"localhost;127.0.0.1" : u"localhost; 127.0.0.*";
        CHttpClient client(Port("NGINX_HTTP"), INET_OPEN_TYPE_PROXY, proxy, bypass, 10000, U16(agent));
        const std::string tag = UniqueTag("bypassed");
        InternetHandle h = client.Get("/hello.txt?" + tag);
        ASSERT_NE(nullptr, h) << InternetLastError();
        EXPECT_EQ(agent, zutest::AccessLogField(NginxLogLine(tag), "ua"));
        EXPECT_TRUE(squidLines(agent, 300).empty());
    }
    {
        // The proxy that wants credentials: refused without them, served with them.
        const std::u16string authProxy = u"127.0.0.1:" + U16(zutest::ServerValue("SQUID_AUTH"));
        CHttpClient client(Port("NGINX_HTTP"), INET_OPEN_TYPE_PROXY, authProxy);
        InternetHandle hRefused = client.Get("/hello.txt?" + UniqueTag("noauth"));
        ASSERT_NE(nullptr, hRefused) << InternetLastError();
        EXPECT_EQ("407", Info(hRefused, INET_QUERY_STATUS_CODE));

        InternetHandle h = client.Open("/hello.txt?" + UniqueTag("auth"));
        ASSERT_TRUE(SetInternetOptionText(h, INET_OPTION_PROXY_USERNAME, U16(zutest::ServerValue("PROXY_USER"))));
        ASSERT_TRUE(SetInternetOptionText(h, INET_OPTION_PROXY_PASSWORD, U16(zutest::ServerValue("PROXY_PASSWORD"))));
        ASSERT_TRUE(SendHttpRequest(h, u"", nullptr, 0)) << InternetLastError();
        EXPECT_EQ("200", Info(h, INET_QUERY_STATUS_CODE));
    }
}

TEST(InternetTest, RequestHeadersFollowTheModifiersAndAreSentAsListed)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("ODD_HTTP"));
    const std::string tag = UniqueTag("echo");
    InternetHandle h = client.Open("/echo?" + tag, u"POST");
    ASSERT_NE(nullptr, h);
    const uint32_t nAddReplace = INET_ADDREQ_FLAG_ADD | INET_ADDREQ_FLAG_REPLACE;

    EXPECT_TRUE(AddHttpRequestHeaders(h, u"X-One: 1\r\nX-List: a\r\n", nAddReplace));
    EXPECT_FALSE(AddHttpRequestHeaders(h, u"X-One: again", INET_ADDREQ_FLAG_ADD_IF_NEW));
    EXPECT_EQ(INET_ERROR_HTTP_HEADER_ALREADY_EXISTS, InternetLastError());
    EXPECT_FALSE(AddHttpRequestHeaders(h, u"X-Missing: 1", INET_ADDREQ_FLAG_REPLACE));
    EXPECT_EQ(INET_ERROR_HTTP_HEADER_NOT_FOUND, InternetLastError());
    EXPECT_TRUE(AddHttpRequestHeaders(h, u"X-List: b", INET_ADDREQ_FLAG_COALESCE));
    EXPECT_TRUE(AddHttpRequestHeaders(h, u"X-One: 2", nAddReplace));
    EXPECT_TRUE(AddHttpRequestHeaders(h, u"X-Gone: soon", INET_ADDREQ_FLAG_ADD));
    EXPECT_TRUE(AddHttpRequestHeaders(h, u"X-Gone:", INET_ADDREQ_FLAG_REPLACE));
    EXPECT_TRUE(AddHttpRequestHeaders(h, u"X-Twice: 1", INET_ADDREQ_FLAG_ADD));
    EXPECT_TRUE(AddHttpRequestHeaders(h, u"X-Twice: 2", INET_ADDREQ_FLAG_ADD));

    std::u16string value;
    uint32_t nIndex = 0;
    ASSERT_TRUE(QueryHttpInfo(h, INET_QUERY_CUSTOM | INET_QUERY_FLAG_REQUEST_HEADERS, value, &nIndex, u"X-List"));
    EXPECT_EQ(u"a, b", value);
    EXPECT_EQ("2", Info(h, INET_QUERY_CUSTOM | INET_QUERY_FLAG_REQUEST_HEADERS, u"X-One"));
    EXPECT_EQ("<none>", Info(h, INET_QUERY_CUSTOM | INET_QUERY_FLAG_REQUEST_HEADERS, u"X-Gone"));
    EXPECT_EQ("<none>", Info(h, INET_QUERY_STATUS_CODE)) << "nothing answered yet";

    const std::string body = "posted body";
    ASSERT_TRUE(SendHttpRequest(h, u"X-Extra: e\r\n", body.data(), static_cast<uint32_t>(body.size())))
        << InternetLastError();
    std::string echo;
    ASSERT_TRUE(ReadAll(h, echo));
    EXPECT_EQ(0u, echo.find("POST /echo?" + tag + " HTTP/1.1\r\n")) << echo;
    EXPECT_EQ(body, echo.substr(echo.size() - body.size()));

    const std::vector<zutest::CRecordedRequest> recorded = zutest::RecordedRequests("/echo?" + tag);
    ASSERT_EQ(1u, recorded.size());
    const zutest::CRecordedRequest& request = recorded[0];
    EXPECT_EQ("POST", request.m_strMethod);
    EXPECT_EQ("2", request.Header("X-One"));
    EXPECT_EQ("a, b", request.Header("X-List"));
    EXPECT_EQ((std::vector<std::string>{"1", "2"}), request.HeaderValues("X-Twice"));
    EXPECT_TRUE(request.HeaderValues("X-Gone").empty());
    EXPECT_EQ("e", request.Header("X-Extra"));
    EXPECT_EQ("*/*", request.Header("Accept"));
    EXPECT_EQ("ZUReader seam test", request.Header("User-Agent"));
    EXPECT_EQ(static_cast<int64_t>(body.size()), request.m_nBodyLength);
    EXPECT_TRUE(request.HeaderValues("Expect").empty());
}

TEST(InternetTest, CredentialsOfAnHttpConnectionAnswerBasicAuthentication)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient anonymous(Port("NGINX_HTTP"));
    InternetHandle hRefused = anonymous.Get("/auth/secret.txt");
    ASSERT_NE(nullptr, hRefused) << InternetLastError();
    EXPECT_EQ("401", Info(hRefused, INET_QUERY_STATUS_CODE));
    EXPECT_EQ("Basic realm=\"ZUReader tests\"", Info(hRefused, INET_QUERY_WWW_AUTHENTICATE));

    CInternetHandle session(OpenInternetSession(u"test", INET_OPEN_TYPE_DIRECT, u"", u"", 0));
    SetTimeouts(session.Get(), 10000);
    CInternetHandle connection(ConnectInternet(session.Get(), LOOPBACK, Port("NGINX_HTTP"),
                                               U16(zutest::ServerValue("AUTH_USER")),
                                               U16(zutest::ServerValue("AUTH_PASSWORD")), INET_SERVICE_HTTP, 0));
    std::u16string user;
    ASSERT_TRUE(QueryInternetOptionText(connection.Get(), INET_OPTION_USERNAME, user));
    EXPECT_EQ(U16(zutest::ServerValue("AUTH_USER")), user);
    CInternetHandle request(OpenHttpRequest(connection.Get(), u"GET", u"/auth/secret.txt", u"", u"", u"", 0));
    ASSERT_TRUE(SendHttpRequest(request.Get(), u"", nullptr, 0)) << InternetLastError();
    EXPECT_EQ("200", Info(request.Get(), INET_QUERY_STATUS_CODE));
    std::string body;
    ASSERT_TRUE(ReadAll(request.Get(), body));
    EXPECT_EQ("The secret behind Basic authentication.\n", body);
}

TEST(InternetTest, RedirectsAreFollowedUnlessTheRequestSaysNot)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("NGINX_HTTP"));
    InternetHandle hFollowed = client.Get("/redirect/302");
    ASSERT_NE(nullptr, hFollowed) << InternetLastError();
    EXPECT_EQ("200", Info(hFollowed, INET_QUERY_STATUS_CODE));
    std::u16string url;
    ASSERT_TRUE(QueryInternetOptionText(hFollowed, INET_OPTION_URL, url));
    EXPECT_EQ(U16("http://127.0.0.1:" + zutest::ServerValue("NGINX_HTTP") + "/pattern.bin"), url);
    std::string body;
    ASSERT_TRUE(ReadAll(hFollowed, body, 65536));
    EXPECT_TRUE(body == Pattern()) << "only the final answer's body is read";

    InternetHandle hKept = client.Get("/dir/r301", u"GET", INET_FLAG_NO_AUTO_REDIRECT);
    ASSERT_NE(nullptr, hKept) << InternetLastError();
    EXPECT_EQ("301", Info(hKept, INET_QUERY_STATUS_CODE));
    EXPECT_EQ("hello.txt", Info(hKept, INET_QUERY_LOCATION));

    if (zutest::RunningUnderWine()) {
        // Wine would ask for ever, with no time-out to end it.
        std::printf("[   NOTE   ] endless redirects not tried: Wine follows redirects without a limit\n");
        return;
    }
    CHttpClient odd(Port("ODD_HTTP"));
    const auto start = CClock::now();
    EXPECT_EQ(nullptr, odd.Get("/loop?" + UniqueTag("loop")));
    EXPECT_EQ(INET_ERROR_HTTP_REDIRECT_FAILED, InternetLastError());
    EXPECT_LT(MillisecondsSince(start), 8000);
}

TEST(InternetTest, FtpSizeRetrieveAndMoves)
{
    ZU_REQUIRE_SERVERS();
    CInternetHandle session(OpenInternetSession(u"test", INET_OPEN_TYPE_DIRECT, u"", u"", 0));
    SetTimeouts(session.Get(), 10000);
    CInternetHandle connection(ConnectInternet(session.Get(), LOOPBACK, Port("FTP"),
                                               U16(zutest::ServerValue("FTP_USER")),
                                               U16(zutest::ServerValue("FTP_PASSWORD")), INET_SERVICE_FTP,
                                               INET_FLAG_PASSIVE));
    ASSERT_TRUE(connection.IsOpen()) << InternetLastError();
    uint32_t nCode = 0;
    std::u16string reply;
    ASSERT_TRUE(GetInternetLastResponse(nCode, reply));
    EXPECT_EQ(257u, nCode) << "the last reply of the login: " << Narrow(reply);

    ASSERT_TRUE(SendFtpCommand(connection.Get(), u"TYPE I")) << InternetLastError();
    ASSERT_TRUE(SendFtpCommand(connection.Get(), u"SIZE /pattern.bin")) << InternetLastError();
    ASSERT_TRUE(GetInternetLastResponse(nCode, reply));
    EXPECT_EQ(213u, nCode);
    EXPECT_EQ(U16("213 " + zutest::ServerValue("FTP_PATTERN_SIZE") + "\r\n"), reply);

    EXPECT_FALSE(SendFtpCommand(connection.Get(), u"SIZE /no-such-file"));
    EXPECT_EQ(INET_ERROR_EXTENDED_ERROR, InternetLastError());
    ASSERT_TRUE(GetInternetLastResponse(nCode, reply));
    EXPECT_EQ(550u, nCode) << Narrow(reply);

    const std::string pattern = zutest::PatternBytes(std::stoul(zutest::ServerValue("FTP_PATTERN_SIZE")),
                                                     static_cast<uint32_t>(std::stoul(zutest::ServerValue("FTP_PATTERN_SEED"))));
    {
        CInternetHandle file(OpenFtpFile(connection.Get(), u"pattern.bin", INET_GENERIC_READ,
                                         INET_FTP_TRANSFER_TYPE_BINARY));
        ASSERT_TRUE(file.IsOpen()) << InternetLastError();
        EXPECT_FALSE(SendFtpCommand(connection.Get(), u"NOOP"));
        EXPECT_EQ(INET_ERROR_FTP_TRANSFER_IN_PROGRESS, InternetLastError());
        CInternetHandle second(OpenFtpFile(connection.Get(), u"hello.txt", INET_GENERIC_READ,
                                           INET_FTP_TRANSFER_TYPE_BINARY));
        EXPECT_FALSE(second.IsOpen());
        EXPECT_EQ(INET_ERROR_FTP_TRANSFER_IN_PROGRESS, InternetLastError());

        EXPECT_TRUE(ReadSome(file.Get(), 1000) == pattern.substr(0, 1000));
        EXPECT_EQ(200000, SetInternetFilePointer(file.Get(), 200000, INET_FILE_BEGIN));
        EXPECT_TRUE(ReadSome(file.Get(), 1000) == pattern.substr(200000, 1000));
        EXPECT_EQ(10, SetInternetFilePointer(file.Get(), 10, INET_FILE_BEGIN));
        std::string rest;
        ASSERT_TRUE(ReadAll(file.Get(), rest, 3001)) << InternetLastError();
        EXPECT_TRUE(rest == pattern.substr(10)) << rest.size();
    }
    EXPECT_TRUE(SendFtpCommand(connection.Get(), u"NOOP")) << "the connection is free again: " << InternetLastError();

    CInternetHandle missing(OpenFtpFile(connection.Get(), u"no-such-file.bin", INET_GENERIC_READ,
                                        INET_FTP_TRANSFER_TYPE_BINARY));
    EXPECT_FALSE(missing.IsOpen());
    EXPECT_EQ(INET_ERROR_EXTENDED_ERROR, InternetLastError());
    ASSERT_TRUE(GetInternetLastResponse(nCode, reply));
    EXPECT_EQ(550u, nCode) << Narrow(reply);
}

TEST(InternetTest, FtpWithoutSizeStillDeliversAndAWrongPasswordIsRefused)
{
    ZU_REQUIRE_SERVERS();
    CInternetHandle session(OpenInternetSession(u"test", INET_OPEN_TYPE_DIRECT, u"", u"", 0));
    SetTimeouts(session.Get(), 10000);
    {
        CInternetHandle connection(ConnectInternet(session.Get(), LOOPBACK, Port("FTP_NOSIZE"),
                                                   U16(zutest::ServerValue("FTP_USER")),
                                                   U16(zutest::ServerValue("FTP_PASSWORD")), INET_SERVICE_FTP,
                                                   INET_FLAG_PASSIVE));
        ASSERT_TRUE(connection.IsOpen()) << InternetLastError();
        EXPECT_FALSE(SendFtpCommand(connection.Get(), u"SIZE /hello.txt"));
        EXPECT_EQ(INET_ERROR_EXTENDED_ERROR, InternetLastError());
        uint32_t nCode = 0;
        std::u16string reply;
        ASSERT_TRUE(GetInternetLastResponse(nCode, reply));
        EXPECT_EQ(500u, nCode) << Narrow(reply);

        CInternetHandle file(OpenFtpFile(connection.Get(), u"sub/deep.txt", INET_GENERIC_READ,
                                         INET_FTP_TRANSFER_TYPE_BINARY));
        ASSERT_TRUE(file.IsOpen()) << InternetLastError();
        EXPECT_EQ(-1, SetInternetFilePointer(file.Get(), 0, INET_FILE_END)) << "no length to count from";
        std::string body;
        ASSERT_TRUE(ReadAll(file.Get(), body));
        EXPECT_EQ("One folder down.\n", body);
    }
    {
        const auto start = CClock::now();
        CInternetHandle refused(ConnectInternet(session.Get(), LOOPBACK, Port("FTP"),
                                                U16(zutest::ServerValue("FTP_USER")), u"wrong password",
                                                INET_SERVICE_FTP, INET_FLAG_PASSIVE));
        EXPECT_FALSE(refused.IsOpen());
        EXPECT_EQ(INET_ERROR_LOGIN_FAILURE, InternetLastError());
        uint32_t nCode = 0;
        std::u16string reply;
        ASSERT_TRUE(GetInternetLastResponse(nCode, reply));
        EXPECT_EQ(530u, nCode) << Narrow(reply);
        EXPECT_LT(MillisecondsSince(start), 9000);
    }
}

TEST(InternetTest, HandlesRefuseTheWrongUse)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("NGINX_HTTP"));
    ASSERT_TRUE(client.IsReady());
    std::u16string value;
    EXPECT_FALSE(QueryHttpInfo(client.Connection(), INET_QUERY_STATUS_CODE, value));
    EXPECT_EQ(INET_ERROR_INCORRECT_HANDLE_TYPE, InternetLastError());
    EXPECT_FALSE(SendFtpCommand(client.Connection(), u"NOOP"));
    EXPECT_EQ(INET_ERROR_INCORRECT_HANDLE_TYPE, InternetLastError());
    uint32_t nValue = 0;
    EXPECT_FALSE(QueryInternetOption(client.Session(), 0xFFFF, nValue));
    EXPECT_EQ(INET_ERROR_INVALID_OPTION, InternetLastError());

    // Options flow from a parent to the children made after they were set.
    ASSERT_TRUE(SetInternetOption(client.Connection(), INET_OPTION_RECEIVE_TIMEOUT, 4321));
    InternetHandle h = client.Open("/hello.txt");
    ASSERT_TRUE(QueryInternetOption(h, INET_OPTION_RECEIVE_TIMEOUT, nValue));
    EXPECT_EQ(4321u, nValue);
    ASSERT_TRUE(QueryInternetOption(client.Session(), INET_OPTION_RECEIVE_TIMEOUT, nValue));
    EXPECT_EQ(10000u, nValue);

    // Closing the session closes everything below it.
    ASSERT_TRUE(CloseInternetHandle(client.Session()));
    EXPECT_FALSE(SendHttpRequest(h, u"", nullptr, 0));
    EXPECT_EQ(INET_ERROR_INVALID_HANDLE, InternetLastError());
    EXPECT_FALSE(AddHttpRequestHeaders(h, u"X-A: b", INET_ADDREQ_FLAG_ADD));
    EXPECT_EQ(INET_ERROR_INVALID_HANDLE, InternetLastError());
}

TEST(InternetTest, ErrorsHaveOneLineTextsAndTheCredentialDialogAnswersCancelledWhereNoneCanShow)
{
    ZU_REQUIRE_SERVERS();
    // Numbers that Wine's message table has as well as Windows'.
    for (uint32_t nError : {INET_ERROR_TIMEOUT, INET_ERROR_CANNOT_CONNECT, INET_ERROR_SEC_CERT_CN_INVALID,
                            INET_ERROR_OPERATION_CANCELLED}) {
        const std::u16string text = InternetErrorText(nError);
        EXPECT_FALSE(text.empty()) << nError;
        EXPECT_EQ(std::u16string::npos, text.find_first_of(u"\r\n")) << Narrow(text);
        EXPECT_NE(u' ', text.back()) << Narrow(text);
    }
    EXPECT_TRUE(InternetErrorText(INET_ERROR_SUCCESS + 7777).empty());

    EndInternetSession();  // credentials nginx took in an earlier test would go out unasked
    CHttpClient client(Port("NGINX_HTTP"));
    InternetHandle h = client.Get("/auth/secret.txt");
    ASSERT_NE(nullptr, h) << InternetLastError();
    ASSERT_EQ("401", Info(h, INET_QUERY_STATUS_CODE));
    if (PathSeparator() == u'\\' && !zutest::RunningUnderWine()) {
        std::printf("[   NOTE   ] credential dialog not shown: Windows would wait for someone to answer it\n");
        return;
    }
    const auto start = CClock::now();
    EXPECT_EQ(INET_ERROR_CANCELLED,
              ShowInternetErrorDialog(h, INET_ERROR_INCORRECT_PASSWORD,
                                      INET_ERROR_UI_FILTER_FOR_ERRORS | INET_ERROR_UI_FLAGS_CHANGE_OPTIONS |
                                          INET_ERROR_UI_FLAGS_GENERATE_DATA));
    EXPECT_LT(MillisecondsSince(start), 5000);
}
