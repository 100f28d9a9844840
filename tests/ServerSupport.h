// Where the loopback servers of the network tests are. tests/servers/start.sh writes their ports,
// credentials and file locations as NAME=VALUE lines to a ports file; the test command names that
// file in the environment variable ZU_TEST_SERVERS. Network tests begin with
// ZU_REQUIRE_SERVERS(), which skips them, saying how to start the servers, when there are none.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace zutest {

// NAME=VALUE lines; blank lines, "#" comments and lines without "=" are ignored.
std::map<std::string, std::string> ParseServerTable(const std::string& text);

// A path on the machine the servers run on, as this program has to name it. Under Wine a Windows
// program sees the Unix root as drive Z:, so "/a/b" becomes "Z:\a\b" where the separator is "\".
std::u16string LocalPathOfServerPath(const std::string& path, char16_t separator);

class CServerTable {
public:
    // On failure the table stays empty and Problem() says why.
    bool Load(const std::u16string& path);
    bool IsLoaded() const { return m_bLoaded; }
    const std::string& Problem() const { return m_strProblem; }

    // Empty (or 0) for a name the table does not hold.
    std::string Value(const std::string& name) const;
    int Port(const std::string& name) const;
    // A file or folder the servers use, named the way this program can open it.
    std::u16string Path(const std::string& name) const;
    // "http://127.0.0.1:port/path" for the server NAME; https for names containing HTTPS, ftp
    // for names starting with FTP. A non-empty login ("user:password") goes before the host.
    std::u16string Url(const std::string& name, const std::string& path, const std::string& login = "") const;

private:
    std::map<std::string, std::string> m_Values;
    bool m_bLoaded = false;
    std::string m_strProblem;
};

// The table named by ZU_TEST_SERVERS, read once.
const CServerTable& Servers();

inline bool ServersAvailable() { return Servers().IsLoaded(); }
inline std::string ServersUnavailableReason() { return Servers().Problem(); }
inline std::string ServerValue(const std::string& name) { return Servers().Value(name); }
inline int ServerPort(const std::string& name) { return Servers().Port(name); }
inline std::u16string ServerPath(const std::string& name) { return Servers().Path(name); }
inline std::u16string ServerUrl(const std::string& name, const std::string& path, const std::string& login = "")
{
    return Servers().Url(name, path, login);
}

// One request as the odd server received it (its /__requests record).
struct CRecordedRequest {
    std::string m_strMethod;
    std::string m_strPath;  // the request target, query included
    std::vector<std::pair<std::string, std::string>> m_Headers;
    int64_t m_nBodyLength = 0;

    // Every value of the header NAME (any case), in the order received.
    std::vector<std::string> HeaderValues(const std::string& name) const;
    // The first value, or empty.
    std::string Header(const std::string& name) const;
};

// The record's JSON lines; lines that do not parse are passed over.
std::vector<CRecordedRequest> ParseRecordedRequests(const std::string& jsonLines);

// What the odd server has received since it started (or since /__reset) whose request target
// starts with pathPrefix. The server keeps its /__requests record in ODD_REQUESTS as well, and
// this reads it from there, so the tests need no HTTP client of their own to check what a reader
// sent.
std::vector<CRecordedRequest> RecordedRequests(const std::string& pathPrefix = "/");

// The lines of a log the table names (NGINX_ACCESS_LOG, SQUID_ACCESS_LOG, FTP_LOG, ...).
std::vector<std::string> ServerLogLines(const std::string& name);

// The value of key="..." in an access-log line, with nginx's \xHH escapes undone; empty when the
// line has no such field.
std::string AccessLogField(const std::string& line, const std::string& key);

}  // namespace zutest

// Skips the current test when the servers are not running, saying how to start them.
#define ZU_REQUIRE_SERVERS()               \
    if (zutest::ServersAvailable()) {      \
    } else                                 \
        GTEST_SKIP() << zutest::ServersUnavailableReason()
