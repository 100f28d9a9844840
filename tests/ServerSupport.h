// Where the loopback servers of the network tests are. tests/servers/start.sh writes their ports,
// credentials and file locations as NAME=VALUE lines to a ports file; the test command names that
// file in the environment variable ZU_TEST_SERVERS. Network tests begin with
// ZU_REQUIRE_SERVERS(), which skips them, saying how to start the servers, when there are none.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zutest {

bool ServersAvailable();
std::string ServersUnavailableReason();
// Empty (or 0) for a name the ports file does not hold.
std::string ServerValue(const std::string& name);
int ServerPort(const std::string& name);
// A file or folder the servers use, named the way this program can open it (Z:\... under Wine).
std::u16string ServerPath(const std::string& name);
// "http://127.0.0.1:port/path" for the server NAME; https for names containing HTTPS, ftp for
// names starting with FTP. A non-empty login ("user:password") goes before the host.
std::u16string ServerUrl(const std::string& name, const std::string& path, const std::string& login = "");
// The pattern file the servers hold under the names PREFIX"PATTERN_SIZE" and PREFIX"PATTERN_SEED".
std::string ServedPattern(const std::string& prefix = "");

// One request as the odd server received it (its /__requests record).
struct CRecordedRequest {
    std::string m_strMethod;
    std::string m_strPath;  // the request target, query included
    std::vector<std::pair<std::string, std::string>> m_Headers;
    std::string m_strRawHead;  // the request line and header lines as received, line breaks and all
    int64_t m_nBodyLength = 0;

    // Every value of the header NAME (any case), in the order received.
    std::vector<std::string> HeaderValues(const std::string& name) const;
    // The first value, or empty.
    std::string Header(const std::string& name) const;
};

// The record's JSON lines; lines that do not parse (one being written) are passed over.
std::vector<CRecordedRequest> ParseRecordedRequests(const std::string& jsonLines);

// What the odd server has received since it started (or since /__reset) whose request target
// starts with pathPrefix, read from the copy of its record it keeps in ODD_REQUESTS.
std::vector<CRecordedRequest> RecordedRequests(const std::string& pathPrefix = "/");

// The lines of a log the ports file names (NGINX_ACCESS_LOG, SQUID_ACCESS_LOG, FTP_LOG, ...).
std::vector<std::string> ServerLogLines(const std::string& name);

// The lines of that log which contain needle; waits up to nWaitMs for at least nAtLeast of them to
// appear, since the servers write their logs after answering.
std::vector<std::string> LogLinesWith(const std::string& logName, const std::string& needle, uint32_t nWaitMs = 3000,
                                      size_t nAtLeast = 1);

// The value of key="..." in an access-log line, with nginx's \xHH escapes undone; empty when the
// line has no such field.
std::string AccessLogField(const std::string& line, const std::string& key);

// A text no other request of this run carries, to find a request in a server's log.
std::string UniqueTag(const char* pszWhat);

std::u16string U16(const std::string& ascii);

using CClock = std::chrono::steady_clock;
int64_t MillisecondsSince(CClock::time_point start);

}  // namespace zutest

// Skips the current test when the servers are not running, saying how to start them.
#define ZU_REQUIRE_SERVERS()               \
    if (zutest::ServersAvailable()) {      \
    } else                                 \
        GTEST_SKIP() << zutest::ServersUnavailableReason()
