#include "net/InternetReaderSupport.h"

#include "core/Log.h"
#include "platform/System.h"

#include <algorithm>

namespace zutest {

int64_t MillisecondsSince(CClock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(CClock::now() - start).count();
}

std::u16string U16(const std::string& text)
{
    return std::u16string(text.begin(), text.end());
}

std::string UniqueTag(const char* pszWhat)
{
    static std::atomic<int> s_nCounter{0};
    return std::string(pszWhat) + "-" + std::to_string(zu::platform::TickCount()) + "-" +
           std::to_string(++s_nCounter);
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
    std::string buffer(nChunk, '\0');
    for (;;) {
        const uint32_t nRead = reader.Read(&buffer[0], nChunk);
        if (nRead == 0)
            return body;
        EXPECT_LE(nRead, nChunk);
        body.append(buffer, 0, nRead);
    }
}

std::vector<std::string> LogLinesWith(const std::string& logName, const std::string& needle, uint32_t nWaitMs)
{
    const auto start = CClock::now();
    for (;;) {
        std::vector<std::string> found;
        for (const std::string& line : ServerLogLines(logName))
            if (line.find(needle) != std::string::npos)
                found.push_back(line);
        if (!found.empty() || MillisecondsSince(start) > nWaitMs)
            return found;
        zu::platform::SleepMilliseconds(50);
    }
}

std::string NginxLine(const std::string& needle)
{
    const std::vector<std::string> lines = LogLinesWith("NGINX_ACCESS_LOG", needle);
    EXPECT_EQ(1u, lines.size()) << needle;
    return lines.empty() ? std::string() : lines.back();
}

std::string HttpPattern()
{
    return PatternBytes(std::stoul(ServerValue("PATTERN_SIZE")), static_cast<uint32_t>(std::stoul(ServerValue("PATTERN_SEED"))));
}

std::string FtpPattern()
{
    return PatternBytes(std::stoul(ServerValue("FTP_PATTERN_SIZE")),
                        static_cast<uint32_t>(std::stoul(ServerValue("FTP_PATTERN_SEED"))));
}

CReaderLog::CReaderLog() : m_nListener(zu::CLog::Get()->AddListener(zu::LOG_READER)) {}

CReaderLog::~CReaderLog()
{
    zu::CLog::Get()->RemoveListener(m_nListener);
}

std::vector<std::string> CReaderLog::Lines(const std::string& text)
{
    for (const std::u16string& line : zu::CLog::Get()->DrainListener(m_nListener))
        m_Lines.push_back(Utf8(line));
    std::vector<std::string> found;
    std::copy_if(m_Lines.begin(), m_Lines.end(), std::back_inserter(found),
                 [&](const std::string& line) { return line.find(text) != std::string::npos; });
    return found;
}

CCredentialHost::CCredentialHost(const std::string& user, const std::string& password)
    : m_User(U16(user)), m_Password(U16(password))
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
    if (pHost->m_User.empty() || pHost->m_User.size() >= nUserCapacity || pHost->m_Password.size() >= nPasswordCapacity)
        return 0;
    std::copy(pHost->m_User.begin(), pHost->m_User.end(), pszUser);
    pszUser[pHost->m_User.size()] = 0;
    std::copy(pHost->m_Password.begin(), pHost->m_Password.end(), pszPassword);
    pszPassword[pHost->m_Password.size()] = 0;
    return 1;
}

}  // namespace zutest
