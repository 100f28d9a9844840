// Shorthands for the Internet reader's tests: readers made through the export with a short
// time-out, whole bodies, the lines the servers logged, the reader's own log lines and a host
// credential prompt that answers as a test tells it to.
#pragma once

#include "ServerSupport.h"
#include "TestSupport.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace zutest {

using CClock = std::chrono::steady_clock;

int64_t MillisecondsSince(CClock::time_point start);

std::u16string U16(const std::string& text);

// A text no other request of this run carries, to find a request in a server's log.
std::string UniqueTag(const char* pszWhat);

// An Internet reader for url with the options ("KEY|VALUE|...") and time-out given; not opened.
CReaderPtr InternetReader(const std::u16string& url, const std::u16string& options = u"", uint32_t nTimeoutMs = 2000);

// Reads in nChunk-byte requests until a read delivers nothing.
std::string ReadToEnd(VReader& reader, uint32_t nChunk = 65536);

// The nginx access-log lines (or squid's) whose text contains needle; waits up to nWaitMs for at
// least one to appear, since the servers write their logs after answering.
std::vector<std::string> LogLinesWith(const std::string& logName, const std::string& needle, uint32_t nWaitMs = 3000);
std::string NginxLine(const std::string& needle);

// The HTTP pattern file nginx serves as /pattern.bin and the FTP server's pattern.bin.
std::string HttpPattern();
std::string FtpPattern();

// The reader's log lines ("Reader" category) for as long as it lives.
class CReaderLog {
public:
    CReaderLog();
    ~CReaderLog();
    CReaderLog(const CReaderLog&) = delete;
    CReaderLog& operator=(const CReaderLog&) = delete;

    // Every line received so far that contains text (in the form "Class::Method: message").
    std::vector<std::string> Lines(const std::string& text);
    bool Contains(const std::string& text) { return !Lines(text).empty(); }

private:
    int m_nListener;
    std::vector<std::string> m_Lines;
};

// While it lives, the host answers a server's request for credentials: with the pair it holds,
// or "cancelled" when the user name is empty. Counts the prompts and keeps what they named.
class CCredentialHost {
public:
    CCredentialHost(const std::string& user, const std::string& password);
    ~CCredentialHost();
    CCredentialHost(const CCredentialHost&) = delete;
    CCredentialHost& operator=(const CCredentialHost&) = delete;

    int Prompts() const { return m_nPrompts.load(); }
    std::u16string LastSite() const { return m_LastSite; }
    std::u16string LastUrl() const { return m_LastUrl; }

private:
    static ZUBOOL Prompt(void* pContext, const ZUCHAR* pszSite, const ZUCHAR* pszUrl, ZUCHAR* pszUser,
                         uint32_t nUserCapacity, ZUCHAR* pszPassword, uint32_t nPasswordCapacity);

    std::u16string m_User;
    std::u16string m_Password;
    std::atomic<int> m_nPrompts{0};
    std::u16string m_LastSite;
    std::u16string m_LastUrl;
};

}  // namespace zutest
