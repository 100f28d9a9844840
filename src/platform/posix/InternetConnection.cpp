#include "platform/posix/InternetConnection.h"

#include "platform/Text.h"
#include "platform/posix/InternetErrors.h"

#include <cctype>
#include <cstdio>
#include <cstring>

namespace zu::platform {

CInternetConnection::CInternetConnection(std::shared_ptr<CInternetSession> pSession, const std::string& host,
                                         uint16_t nPort, const std::u16string& user, const std::u16string& password,
                                         uint32_t nService, uint32_t nFlags)
    : VInternetObject(EInternetObjectType::CONNECTION, pSession),
      m_pSession(std::move(pSession)),
      m_strHost(host),
      m_nPort(nPort),
      m_nService(nService),
      m_nFlags(nFlags)
{
    if (IsFtp())
        m_pTransfer = std::make_unique<CCurlTransfer>(true);
    if (!user.empty())
        VInternetObject::SetOptionText(INET_OPTION_USERNAME, user);
    if (!password.empty())
        VInternetObject::SetOptionText(INET_OPTION_PASSWORD, password);
}

std::string CInternetConnection::UrlBase(const std::string& scheme, uint16_t nDefaultPort) const
{
    const bool bIpv6 = m_strHost.find(':') != std::string::npos && m_strHost[0] != '[';
    const std::string host = bIpv6 ? "[" + m_strHost + "]" : m_strHost;
    char port[16];
    std::snprintf(port, sizeof(port), "%u", static_cast<unsigned>(m_nPort ? m_nPort : nDefaultPort));
    return scheme + "://" + host + ":" + port + "/";
}

std::string CInternetConnection::User() const
{
    return Utf8FromUtf16(TextOption(INET_OPTION_USERNAME));
}

std::string CInternetConnection::Password() const
{
    return Utf8FromUtf16(TextOption(INET_OPTION_PASSWORD));
}

std::string CInternetConnection::EscapePath(const std::string& path, bool bFtpName)
{
    static const char* const s_pKeep = "/:@!$&'()*+,;=-._~";
    std::string escaped;
    for (unsigned char c : path) {
        const bool bPlain = std::isalnum(c) && c < 0x80;
        const bool bKeep = bPlain || (c < 0x80 && std::strchr(s_pKeep, c)) ||
                           (!bFtpName && (c == '%' || c == '?' || c == '#'));
        if (bKeep && c != 0) {
            escaped += static_cast<char>(c);
        } else {
            char hex[4];
            std::snprintf(hex, sizeof(hex), "%%%02X", c);
            escaped += hex;
        }
    }
    return escaped;
}

void CInternetConnection::PrepareTransfer(const std::string& path, bool bNoBody)
{
    m_pTransfer->ResetOptions();
    CURL* pEasy = m_pTransfer->Easy();
    // A leading "/" names the root, which an FTP URL spells as an escaped slash.
    const std::string target = !path.empty() && path[0] == '/' ? "%2F" + EscapePath(path.substr(1), true)
                                                               : EscapePath(path, true);
    curl_easy_setopt(pEasy, CURLOPT_URL, (UrlBase("ftp", INET_DEFAULT_FTP_PORT) + target).c_str());
    const std::string user = User();
    if (!user.empty()) {
        curl_easy_setopt(pEasy, CURLOPT_USERNAME, user.c_str());
        curl_easy_setopt(pEasy, CURLOPT_PASSWORD, Password().c_str());
    }
    // The whole path goes with RETR, as the server was given it, instead of a walk of CWDs.
    curl_easy_setopt(pEasy, CURLOPT_FTP_FILEMETHOD, static_cast<long>(CURLFTPMETHOD_NOCWD));
    if (!(m_nFlags & INET_FLAG_PASSIVE))
        curl_easy_setopt(pEasy, CURLOPT_FTPPORT, "-");
    curl_easy_setopt(pEasy, CURLOPT_PROXY, "");  // FTP connections are always direct
    curl_easy_setopt(pEasy, CURLOPT_NOBODY, bNoBody ? 1L : 0L);
    m_pTransfer->SetConnectTimeout(TimeoutOption(INET_OPTION_CONNECT_TIMEOUT));
}

bool CInternetConnection::LogIn()
{
    PrepareTransfer("", true);
    return RunCommandTransfer();
}

bool CInternetConnection::SendCommand(const std::string& command)
{
    if (m_bFileOpen)
        return FailInternet(INET_ERROR_FTP_TRANSFER_IN_PROGRESS);
    PrepareTransfer("", true);
    m_pTransfer->SetQuoteList(curl_slist_append(nullptr, command.c_str()));
    return RunCommandTransfer();
}

bool CInternetConnection::RunCommandTransfer()
{
    if (!m_pTransfer->Start())
        return FailInternet(INET_ERROR_INTERNAL_ERROR);
    const bool bDone = Conclude(m_pTransfer->Drive([] { return false; }, ControlLimit()));
    m_pTransfer->Stop();  // the connection stays in the transfer's cache for the next command
    return bDone;
}

bool CInternetConnection::Conclude(CCurlTransfer::EWait wait)
{
    if (m_pTransfer->LastReplyCode() != 0)
        SetLastFtpReply(m_pTransfer->LastReplyCode(), Utf16FromUtf8(m_pTransfer->LastReply()));
    switch (wait) {
    case CCurlTransfer::EWait::TIMED_OUT:
        m_pTransfer->Stop();
        return FailInternet(INET_ERROR_TIMEOUT);
    case CCurlTransfer::EWait::CANCELLED:
        m_pTransfer->Stop();
        return FailInternet(INET_ERROR_OPERATION_CANCELLED);
    case CCurlTransfer::EWait::READY:
        return true;
    case CCurlTransfer::EWait::FINISHED:
        break;
    }
    if (m_pTransfer->Result() == CURLE_OK)
        return true;
    return FailInternet(m_pTransfer->ResultError());
}

void CInternetConnection::Cancel()
{
    if (m_pTransfer)
        m_pTransfer->Cancel();
}

}  // namespace zu::platform
