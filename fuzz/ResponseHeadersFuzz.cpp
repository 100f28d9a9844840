// CResponseHeaders::Lookup over a real response: a server on 127.0.0.1, inside this program,
// answers each request with the input's bytes as they stand (status line, headers, whatever
// follows) and closes; the request goes through the Internet seam as the reader sends it, without
// following redirects. Checked, whenever the raw headers are plain ASCII: every header the raw
// text lists is found by its own name in any letter case, with the values of its instances joined
// by ", " in the order the raw text gives them, empty instances included.
#include "net/ResponseHeaders.h"
#include "platform/Internet.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>
#include <vector>

using namespace zu::platform;

namespace {

constexpr int kWaitMs = 2000;

void Require(bool bHolds, const char* pszPromise, const std::string& detail)
{
    if (bHolds)
        return;
    std::fprintf(stderr, "broken: %s\n%s\n", pszPromise, detail.c_str());
    std::abort();
}

bool WaitReadable(int nFd)
{
    pollfd readable{nFd, POLLIN, 0};
    return poll(&readable, 1, kWaitMs) == 1;
}

// One listening socket for the whole run; the port is the system's pick.
class CLoopbackServer {
public:
    CLoopbackServer()
    {
        m_nListen = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t nLength = sizeof(address);
        Require(m_nListen >= 0 && bind(m_nListen, reinterpret_cast<sockaddr*>(&address), nLength) == 0 &&
                    listen(m_nListen, 8) == 0 &&
                    getsockname(m_nListen, reinterpret_cast<sockaddr*>(&address), &nLength) == 0,
                "a listening socket on 127.0.0.1", "");
        m_nPort = ntohs(address.sin_port);
    }

    uint16_t Port() const { return m_nPort; }

    // Takes one connection, reads the request's head, answers with the bytes and closes once the
    // client has gone (or given up).
    void Answer(const std::string& bytes) const
    {
        if (!WaitReadable(m_nListen))
            return;
        const int nClient = accept4(m_nListen, nullptr, nullptr, SOCK_CLOEXEC);
        if (nClient < 0)
            return;
        std::string request;
        char buffer[4096];
        while (request.find("\r\n\r\n") == std::string::npos && WaitReadable(nClient)) {
            const ssize_t nRead = recv(nClient, buffer, sizeof(buffer), 0);
            if (nRead <= 0)
                break;
            request.append(buffer, static_cast<size_t>(nRead));
        }
        send(nClient, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        shutdown(nClient, SHUT_WR);
        while (WaitReadable(nClient) && recv(nClient, buffer, sizeof(buffer), 0) > 0) {
        }
        close(nClient);
    }

private:
    int m_nListen = -1;
    uint16_t m_nPort = 0;
};

std::string Narrow(const std::u16string& text)
{
    return std::string(text.begin(), text.end());
}

std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

// The headers as the raw text lists them: one "Name: value" line each after the status line, up
// to the empty line. Names keyed in lower case, with the spelling first seen.
struct CListedHeader {
    std::string name;
    std::string joined;
    bool bAny = false;
};

std::map<std::string, CListedHeader> ListedHeaders(const std::string& raw)
{
    std::map<std::string, CListedHeader> headers;
    size_t nStart = raw.find("\r\n");
    while (nStart != std::string::npos) {
        nStart += 2;
        const size_t nEnd = raw.find("\r\n", nStart);
        if (nEnd == std::string::npos || nEnd == nStart)
            break;
        const std::string line = raw.substr(nStart, nEnd - nStart);
        const size_t nColon = line.find(": ");
        Require(nColon != std::string::npos, "each raw header line is \"Name: value\"", raw);
        CListedHeader& header = headers[Lower(line.substr(0, nColon))];
        if (!header.bAny)
            header.name = line.substr(0, nColon);
        const std::string value = line.substr(nColon + 2);
        header.joined += (header.bAny ? ", " : "") + value;
        header.bAny = true;
        nStart = nEnd;
    }
    return headers;
}

// A header whose name is one of the lookup's own property names is found under that property.
bool IsPropertyName(const std::string& name)
{
    return name.empty() || CResponseHeaders::LevelOf(std::u16string(name.begin(), name.end())) != INET_QUERY_CUSTOM;
}

void CheckLookups(InternetHandle hRequest)
{
    const std::u16string raw = CResponseHeaders::Lookup(hRequest, u"AllHeaders");
    for (const char16_t* pszName : {u"StatusCode", u"StatusText", u"ContentType", u"ContentLength", u"Location",
                                    u"ContentEncoding", u"icy-metaint", u"Set-Cookie", u""})
        CResponseHeaders::Lookup(hRequest, pszName);
    if (!std::all_of(raw.begin(), raw.end(), [](char16_t c) { return c < 0x80; }))
        return;
    const std::string rawText = Narrow(raw);
    for (const auto& [key, header] : ListedHeaders(rawText)) {
        if (IsPropertyName(header.name))
            continue;
        for (const std::string& asked : {header.name, key}) {
            const std::u16string name(asked.begin(), asked.end());
            const std::string found = Narrow(CResponseHeaders::Lookup(hRequest, name));
            Require(found == header.joined, "a listed header's instances, joined",
                    rawText + "\nasked: " + asked + "\nfound: " + found);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    static const CLoopbackServer server;
    const std::string answer(reinterpret_cast<const char*>(pData), nSize);
    std::thread serving([&] { server.Answer(answer); });

    const CInternetHandle session(OpenInternetSession(u"fuzz", INET_OPEN_TYPE_DIRECT, u"", u"", 0));
    for (uint32_t nOption : {INET_OPTION_CONNECT_TIMEOUT, INET_OPTION_RECEIVE_TIMEOUT})
        SetInternetOption(session.Get(), nOption, kWaitMs);
    const CInternetHandle connection(
        ConnectInternet(session.Get(), u"127.0.0.1", server.Port(), u"", u"", INET_SERVICE_HTTP, 0));
    CInternetHandle request(OpenHttpRequest(connection.Get(), u"GET", u"/fuzz", u"HTTP/1.1", u"", u"*/*",
                                                  INET_FLAG_NO_AUTO_REDIRECT | INET_FLAG_NO_UI));
    if (request.IsOpen() && SendHttpRequest(request.Get(), u"", nullptr, 0))
        CheckLookups(request.Get());
    // Closing the request lets the server see the client go.
    request.Close();
    serving.join();
    return 0;
}
