// The Internet seam against the loopback servers, for what the reader's own tests cannot reach:
// moves within an answer, blocked calls ended by a close, receive time-outs, flow control, the
// request-header modifiers, proxy lists and option inheritance. Written against the seam alone,
// so that every backend answers to the same checks.
#include "platform/File.h"
#include "platform/Internet.h"
#include "platform/System.h"

#include "net/InternetReaderSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace zu::platform;
using zutest::CClock;
using zutest::ServedPattern;
using zutest::MillisecondsSince;
using zutest::U16;
using zutest::UniqueTag;

namespace {

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
    explicit CHttpClient(uint16_t nPort, uint32_t nTimeoutMs = 10000, const std::u16string& host = u"127.0.0.1",
                         const std::u16string& proxies = u"", const std::u16string& bypass = u"",
                         const std::u16string& userAgent = u"ZUReader seam test")
    {
        const uint32_t nAccess = proxies.empty() ? INET_OPEN_TYPE_DIRECT : INET_OPEN_TYPE_PROXY;
        m_Session.Reset(OpenInternetSession(userAgent, nAccess, proxies, bypass, 0));
        if (!m_Session.IsOpen())
            return;
        SetTimeouts(m_Session.Get(), nTimeoutMs);
        m_Connection.Reset(ConnectInternet(m_Session.Get(), host, nPort, u"", u"", INET_SERVICE_HTTP, 0));
    }

    bool IsReady() const { return m_Session.IsOpen() && m_Connection.IsOpen(); }
    InternetHandle Session() const { return m_Session.Get(); }
    InternetHandle Connection() const { return m_Connection.Get(); }

    // A request for object (a path from the root, query included) that is not sent yet.
    InternetHandle Open(const std::string& object, const std::u16string& verb = u"GET")
    {
        m_Requests.emplace_back(new CInternetHandle(
            OpenHttpRequest(m_Connection.Get(), verb, U16(object), u"HTTP/1.1", u"", u"*/*", INET_FLAG_NO_UI)));
        return m_Requests.back()->Get();
    }

    // Opens and sends; null when either fails (InternetLastError tells why).
    InternetHandle Get(const std::string& object)
    {
        InternetHandle h = Open(object);
        return h && SendHttpRequest(h, u"", nullptr, 0) ? h : nullptr;
    }

private:
    CInternetHandle m_Session;
    CInternetHandle m_Connection;
    std::vector<std::unique_ptr<CInternetHandle>> m_Requests;
};

// Reads to the end in reads of nChunk bytes; false when a read fails.
bool ReadAll(InternetHandle h, std::string& body, uint32_t nChunk = 4096)
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

bool AtEnd(InternetHandle h)
{
    uint32_t nRead = 9;
    char byte = 0;
    return ReadInternetFile(h, &byte, 1, nRead) && nRead == 0;
}

std::string Info(InternetHandle h, uint32_t nLevel, const std::u16string& name = u"")
{
    std::u16string value;
    return QueryHttpInfo(h, nLevel, value, nullptr, name) ? zutest::Utf8(value) : std::string("<none>");
}

// The odd server's bodies.
std::string OddPattern(size_t nLength)
{
    return zutest::PatternBytes(nLength, 3);
}

}  // namespace

TEST(InternetTest, MovesWithinAPartialAnswerCountFromItsStartAndAskForTheRest)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("NGINX_HTTP"));
    const std::string pattern = ServedPattern();
    const int64_t nSize = static_cast<int64_t>(pattern.size());
    const std::string tag = UniqueTag("range");
    InternetHandle h = client.Open("/pattern.bin?" + tag);
    ASSERT_NE(nullptr, h);
    ASSERT_TRUE(AddHttpRequestHeaders(h, u"Range: bytes=1000-\r\n", INET_ADDREQ_FLAG_ADD | INET_ADDREQ_FLAG_REPLACE));
    ASSERT_TRUE(SendHttpRequest(h, u"", nullptr, 0)) << InternetLastError();
    EXPECT_EQ("206", Info(h, INET_QUERY_STATUS_CODE));
    const std::string raw = Info(h, INET_QUERY_RAW_HEADERS_CRLF);
    EXPECT_EQ(raw.size() - 4, raw.find("\r\n\r\n")) << "the head ends with one empty line";
    const int64_t nBodySize = nSize - 1000;

    EXPECT_TRUE(ReadSome(h, 100) == pattern.substr(1000, 100));
    EXPECT_EQ(150, SetInternetFilePointer(h, 50, INET_FILE_CURRENT)) << "a short step forward";
    EXPECT_TRUE(ReadSome(h, 10) == pattern.substr(1150, 10));
    EXPECT_EQ(700000, SetInternetFilePointer(h, 700000, INET_FILE_BEGIN)) << "far ahead";
    EXPECT_TRUE(ReadSome(h, 4096) == pattern.substr(701000, 4096));
    EXPECT_EQ(5, SetInternetFilePointer(h, 5, INET_FILE_BEGIN)) << "back";
    // An odd read size, so reads straddle whatever the transfer delivers in one piece.
    std::string rest;
    ASSERT_TRUE(ReadAll(h, rest, 1777)) << InternetLastError();
    EXPECT_TRUE(rest == pattern.substr(1005)) << rest.size();
    EXPECT_TRUE(AtEnd(h)) << "the end stays the end";
    EXPECT_EQ(nBodySize - 10, SetInternetFilePointer(h, -10, INET_FILE_END));
    EXPECT_TRUE(ReadSome(h, 10) == pattern.substr(pattern.size() - 10));
    EXPECT_EQ(-1, SetInternetFilePointer(h, nBodySize + 1, INET_FILE_BEGIN));
    EXPECT_EQ(-1, SetInternetFilePointer(h, -1, INET_FILE_BEGIN));
    EXPECT_EQ(3, SetInternetFilePointer(h, 3, INET_FILE_BEGIN)) << "a refused move changes nothing";
    EXPECT_TRUE(ReadSome(h, 5) == pattern.substr(1003, 5));

    // nginx logs a request when it ends, so the last one is ended first.
    ASSERT_TRUE(CloseInternetHandle(h));
    std::vector<std::string> ranges;
    for (const auto start = CClock::now(); ranges.size() < 5 && MillisecondsSince(start) < 3000;
         SleepMilliseconds(50)) {
        ranges.clear();
        for (const std::string& line : zutest::LogLinesWith("NGINX_ACCESS_LOG", tag, 0))
            ranges.push_back(zutest::AccessLogField(line, "range"));
    }
    ASSERT_FALSE(ranges.empty());
    EXPECT_EQ("bytes=1000-", ranges.front());
    for (const std::string first : {"bytes=701000-", "bytes=1005-"})
        EXPECT_TRUE(std::any_of(ranges.begin(), ranges.end(), [&](const std::string& range) {
            return range == first || range == first + std::to_string(nSize - 1);
        })) << first;
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
    const std::string line = zutest::NginxLine("?" + tag + "\" 206 ");
    EXPECT_EQ("bytes=7-", zutest::AccessLogField(line, "range")) << line;
}

TEST(InternetTest, WithoutUsableRangesMovesWalkForwardOrFail)
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
    EXPECT_TRUE(AtEnd(hPart));

    // A radio stream: no length, the end is the connection's. Only held bytes can be skipped.
    InternetHandle hStream = client.Get("/icy?metaint=1000&blocks=4&" + UniqueTag("icy"));
    ASSERT_NE(nullptr, hStream) << InternetLastError();
    EXPECT_EQ(-1, SetInternetFilePointer(hStream, 0, INET_FILE_END));
    EXPECT_TRUE(ReadSome(hStream, 500) == OddPattern(1000).substr(0, 500));
    EXPECT_EQ(-1, SetInternetFilePointer(hStream, 0, INET_FILE_BEGIN));
    EXPECT_EQ(600, SetInternetFilePointer(hStream, 100, INET_FILE_CURRENT));
    EXPECT_TRUE(ReadSome(hStream, 400) == OddPattern(1000).substr(600, 400));
}

TEST(InternetTest, ClosingAHandleEndsASendOrAReadBlockedOnAnotherThread)
{
    ZU_REQUIRE_SERVERS();
    for (const bool bRead : {false, true}) {
        CHttpClient client(Port("ODD_HTTP"), 20000);
        // The send waits for a head that does not come; the read for a body after a head that did.
        InternetHandle h = bRead ? client.Get("/stall?ms=8000&head=1&" + UniqueTag("read"))
                                 : client.Open("/stall?ms=8000&" + UniqueTag("send"));
        ASSERT_NE(nullptr, h) << InternetLastError();
        std::atomic<bool> bDone{true};
        std::atomic<uint32_t> nError{0};
        const auto start = CClock::now();
        std::thread caller([&] {
            char buffer[16];
            uint32_t nRead = 0;
            bDone = bRead ? ReadInternetFile(h, buffer, sizeof(buffer), nRead) : SendHttpRequest(h, u"", nullptr, 0);
            nError = InternetLastError();
        });
        SleepMilliseconds(300);
        // The request's own handle, or the session above it.
        EXPECT_TRUE(CloseInternetHandle(bRead ? h : client.Session()));
        caller.join();
        EXPECT_FALSE(bDone) << bRead;
        EXPECT_EQ(INET_ERROR_OPERATION_CANCELLED, nError) << bRead;
        EXPECT_LT(MillisecondsSince(start), 5000);
        EXPECT_FALSE(SendHttpRequest(h, u"", nullptr, 0));
        EXPECT_EQ(INET_ERROR_INVALID_HANDLE, InternetLastError());
    }
}

TEST(InternetTest, ALargeBodyIsPulledOnlyAsItIsRead)
{
    ZU_REQUIRE_SERVERS();
    // Far more than the socket buffers of both ends can hold, so only a client that downloads
    // ahead of its reader makes the server send it all.
    const size_t nSize = 96u << 20;
    const std::string name = "big-" + UniqueTag("file") + ".bin";
    const std::u16string path = zutest::ServerPath("NGINX_ROOT") + PathSeparator() + U16(name);
    const std::string bytes = zutest::PatternBytes(nSize, 7);
    zutest::WriteFile(path, bytes);
    struct CRemove {
        std::u16string m_Path;
        ~CRemove() { DeleteFileByName(m_Path); }
    } remove{path};

    CHttpClient client(Port("NGINX_HTTP"));
    const std::string tag = UniqueTag("big");
    InternetHandle h = client.Get("/" + name + "?" + tag);
    ASSERT_NE(nullptr, h) << InternetLastError();
    EXPECT_TRUE(ReadSome(h, 1 << 20) == bytes.substr(0, 1 << 20));
    // Time for a client that reads ahead to take everything the network lets through.
    SleepMilliseconds(1500);
    EXPECT_TRUE(ReadSome(h, 4096) == bytes.substr(1 << 20, 4096));
    ASSERT_TRUE(CloseInternetHandle(h));

    const std::vector<std::string> lines = zutest::LogLinesWith("NGINX_ACCESS_LOG", tag, 5000);
    ASSERT_EQ(1u, lines.size());
    // scheme METHOD "uri" status bytes ...
    const size_t statusEnd = lines[0].find(' ', lines[0].find("\" ") + 2);
    ASSERT_NE(std::string::npos, statusEnd) << lines[0];
    const int64_t nSent = std::atoll(lines[0].c_str() + statusEnd + 1);
    EXPECT_GT(nSent, 1 << 20);
    if (zutest::RunningUnderWine()) {
        std::printf("[   NOTE   ] bytes sent not checked: Wine reads an unread body on while the server keeps "
                    "it coming when its handle is closed\n");
        return;
    }
    EXPECT_LT(nSent, static_cast<int64_t>(nSize / 2)) << lines[0];
}

TEST(InternetTest, SilenceBeyondTheReceiveTimeoutFailsInBoundedTime)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("ODD_HTTP"), 800);
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

TEST(InternetTest, ProxiesAreNamedPerSchemeAndBypassListsTakePatterns)
{
    ZU_REQUIRE_SERVERS();
    const std::u16string proxy = u"http=127.0.0.1:" + U16(zutest::ServerValue("SQUID"));
    // Wine matches whole names only, where Windows takes wildcards and spaces between entries.
    const std::u16string bypass = zutest::RunningUnderWine() ? u"localhost;127.0.0.1" : u"localhost; 127.0.0.*";
    for (const bool bBypassed : {false, true}) {
        // squid leaves queries out of its log, so each request is told apart by its user agent.
        const std::string agent = UniqueTag(bBypassed ? "bypassed" : "proxied");
        CHttpClient client(Port("NGINX_HTTP"), 10000, u"127.0.0.1", proxy, bBypassed ? bypass : u"", U16(agent));
        InternetHandle h = client.Get("/hello.txt");
        ASSERT_NE(nullptr, h) << InternetLastError();
        std::string body;
        ASSERT_TRUE(ReadAll(h, body));
        EXPECT_EQ("Hello from the root.\n", body);
        const std::vector<std::string> lines =
            zutest::LogLinesWith("SQUID_ACCESS_LOG", "ua=\"" + agent + "\"", bBypassed ? 300 : 3000);
        if (bBypassed) {
            EXPECT_TRUE(lines.empty());
            EXPECT_EQ(agent, zutest::AccessLogField(zutest::NginxLine(agent), "ua"));
        } else {
            ASSERT_EQ(1u, lines.size());
            EXPECT_NE(std::string::npos,
                      lines[0].find(" GET http://127.0.0.1:" + zutest::ServerValue("NGINX_HTTP") + "/hello.txt 200 "))
                << lines[0];
        }
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
    EXPECT_EQ("a, b", Info(h, INET_QUERY_CUSTOM | INET_QUERY_FLAG_REQUEST_HEADERS, u"X-List"));
    EXPECT_EQ("<none>", Info(h, INET_QUERY_CUSTOM | INET_QUERY_FLAG_REQUEST_HEADERS, u"X-Gone"));
    EXPECT_EQ("<none>", Info(h, INET_QUERY_STATUS_CODE)) << "nothing answered yet";

    const std::string body = "posted body";
    ASSERT_TRUE(SendHttpRequest(h, u"X-Extra: e\r\n", body.data(), static_cast<uint32_t>(body.size())))
        << InternetLastError();
    const std::vector<zutest::CRecordedRequest> recorded = zutest::RecordedRequests("/echo?" + tag);
    ASSERT_EQ(1u, recorded.size());
    const zutest::CRecordedRequest& request = recorded[0];
    EXPECT_EQ("POST", request.m_strMethod);
    EXPECT_EQ("2", request.Header("X-One"));
    EXPECT_EQ("a, b", request.Header("X-List"));
    EXPECT_EQ((std::vector<std::string>{"1", "2"}), request.HeaderValues("X-Twice"));
    EXPECT_TRUE(request.HeaderValues("X-Gone").empty());
    EXPECT_EQ("e", request.Header("X-Extra"));
    EXPECT_EQ(static_cast<int64_t>(body.size()), request.m_nBodyLength);
    EXPECT_TRUE(request.HeaderValues("Expect").empty());
}

// Options flow from a parent to the children made after they were set; closing the session
// closes everything below it.
TEST(InternetTest, OptionsFlowToChildrenAndClosingTheSessionClosesThem)
{
    ZU_REQUIRE_SERVERS();
    CHttpClient client(Port("NGINX_HTTP"));
    ASSERT_TRUE(client.IsReady());
    uint32_t nValue = 0;
    ASSERT_TRUE(SetInternetOption(client.Connection(), INET_OPTION_RECEIVE_TIMEOUT, 4321));
    InternetHandle h = client.Open("/hello.txt");
    ASSERT_TRUE(QueryInternetOption(h, INET_OPTION_RECEIVE_TIMEOUT, nValue));
    EXPECT_EQ(4321u, nValue);
    ASSERT_TRUE(QueryInternetOption(client.Session(), INET_OPTION_RECEIVE_TIMEOUT, nValue));
    EXPECT_EQ(10000u, nValue);
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
        EXPECT_EQ(std::u16string::npos, text.find_first_of(u"\r\n")) << zutest::Utf8(text);
        EXPECT_NE(u' ', text.back()) << zutest::Utf8(text);
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
