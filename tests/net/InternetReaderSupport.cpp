#include "net/InternetReaderSupport.h"

#include "platform/Internet.h"
#include "platform/NetworkState.h"
#include "platform/System.h"

#include <algorithm>

namespace zutest {

void CInternetReaderTest::SetUp()
{
    zu::platform::EndInternetSession();
}

CReaderPtr InternetReader(const std::u16string& url, const std::u16string& options, uint32_t nTimeoutMs)
{
    CReaderPtr pReader(GetInternetReader(Z(url)));
    if (pReader) {
        pReader->SetOptions(Z(options));
        pReader->SetTimeout(nTimeoutMs);
    }
    return pReader;
}

std::string ReadToEnd(VReader& reader, uint32_t nChunk)
{
    std::string body;
    for (std::string chunk = ReadUpTo(reader, nChunk); !chunk.empty(); chunk = ReadUpTo(reader, nChunk))
        body += chunk;
    return body;
}

std::string NginxLine(const std::string& needle)
{
    const std::vector<std::string> lines = LogLinesWith("NGINX_ACCESS_LOG", needle);
    EXPECT_EQ(1u, lines.size()) << needle;
    return lines.empty() ? std::string() : lines.back();
}

std::u16string TransferFailureCode()
{
    return zu::platform::IsNetworkAlive() ? u"-1" : u"-2";
}

CCredentialHost::CCredentialHost(const std::string& user, const std::string& password, uint32_t nAnswerAfterMs)
    : m_User(U16(user)), m_Password(U16(password)), m_nAnswerAfterMs(nAnswerAfterMs)
{
    ZUHostCallbacks callbacks{};
    callbacks.cbSize = sizeof(callbacks);
    callbacks.pContext = this;
    callbacks.PromptCredentials = &CCredentialHost::Prompt;
    ZUReaderSetHostCallbacks(&callbacks);
}

CCredentialHost::~CCredentialHost()
{
    ZUReaderSetHostCallbacks(nullptr);
}

ZUBOOL CCredentialHost::Prompt(void* pContext, const ZUCHAR* pszSite, const ZUCHAR* pszUrl, ZUCHAR* pszUser,
                               uint32_t nUserCapacity, ZUCHAR* pszPassword, uint32_t nPasswordCapacity)
{
    auto* pHost = static_cast<CCredentialHost*>(pContext);
    pHost->m_LastSite = reinterpret_cast<const char16_t*>(pszSite);
    pHost->m_LastUrl = reinterpret_cast<const char16_t*>(pszUrl);
    ++pHost->m_nPrompts;
    zu::platform::SleepMilliseconds(pHost->m_nAnswerAfterMs);
    ++pHost->m_nAnswered;
    if (pHost->m_User.empty() || pHost->m_User.size() >= nUserCapacity || pHost->m_Password.size() >= nPasswordCapacity)
        return 0;
    *std::copy(pHost->m_User.begin(), pHost->m_User.end(), pszUser) = 0;
    *std::copy(pHost->m_Password.begin(), pHost->m_Password.end(), pszPassword) = 0;
    return 1;
}

}  // namespace zutest
