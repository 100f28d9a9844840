// Shorthands for the Internet reader's tests: readers made through the export with a short
// time-out, whole bodies, nginx's line for a request and a host credential prompt that answers as
// a test tells it to.
#pragma once

#include "ServerSupport.h"
#include "TestSupport.h"

#include <atomic>
#include <string>

namespace zutest {

// Each test starts a new Internet session, since credentials a server accepted in an earlier test
// would otherwise go out unasked, and has a home of its own, with no stored credentials but its own.
class CInternetReaderTest : public testing::Test {
protected:
    void SetUp() override;

    CScopedHome m_Home;
};

// An Internet reader for url with the options ("KEY|VALUE|...") and time-out given; not opened.
CReaderPtr InternetReader(const std::u16string& url, const std::u16string& options = u"", uint32_t nTimeoutMs = 2000);

// Reads in nChunk-byte requests until a read delivers nothing.
std::string ReadToEnd(VReader& reader, uint32_t nChunk = 65536);

// The one nginx access-log line that contains needle.
std::string NginxLine(const std::string& needle);

// What "StatusCode" says of a transfer that failed before any answer.
std::u16string TransferFailureCode();

// While it lives, the host answers a server's request for credentials: with the pair it holds,
// or "cancelled" when the user name is empty. Counts the prompts and keeps what they named.
class CCredentialHost {
public:
    // nAnswerAfterMs: how long the user takes to answer.
    CCredentialHost(const std::string& user, const std::string& password, uint32_t nAnswerAfterMs = 0);
    ~CCredentialHost();

    std::atomic<int> m_nPrompts{0};
    std::atomic<int> m_nAnswered{0};
    std::u16string m_LastSite;
    std::u16string m_LastUrl;

private:
    static ZUBOOL Prompt(void* pContext, const ZUCHAR* pszSite, const ZUCHAR* pszUrl, ZUCHAR* pszUser,
                         uint32_t nUserCapacity, ZUCHAR* pszPassword, uint32_t nPasswordCapacity);

    std::u16string m_User;
    std::u16string m_Password;
    uint32_t m_nAnswerAfterMs;
};

}  // namespace zutest
