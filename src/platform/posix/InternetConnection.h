// CInternetConnection: a server, its port and the credentials for it. An HTTP connection only
// remembers them for its requests; an FTP connection logs in at once and keeps its control
// connection in a transfer of its own, which carries the commands and, while one is open, the file.
#pragma once

#include "platform/posix/CurlTransfer.h"
#include "platform/posix/InternetObject.h"
#include "platform/posix/InternetSession.h"

#include <atomic>
#include <memory>
#include <string>

namespace zu::platform {

class CInternetConnection : public VInternetObject {
public:
    CInternetConnection(std::shared_ptr<CInternetSession> pSession, const std::string& host, uint16_t nPort,
                        const std::u16string& user, const std::u16string& password, uint32_t nService,
                        uint32_t nFlags);

    bool IsFtp() const { return m_nService == INET_SERVICE_FTP; }
    const std::shared_ptr<CInternetSession>& Session() const { return m_pSession; }
    const std::string& Host() const { return m_strHost; }
    uint16_t Port() const { return m_nPort; }
    // "scheme://host:port/", the host bracketed when it is an IPv6 address.
    std::string UrlBase(const std::string& scheme, uint16_t nDefaultPort) const;
    // The user name and password of the connection, or those set on it as options since.
    std::string User() const;
    std::string Password() const;

    // FTP: logs in (on the calling thread); the reply is the thread's last response.
    bool LogIn();
    bool SendCommand(const std::string& command);
    // FTP: the control connection's transfer, set up for a path from the login folder (a path
    // beginning with "/" is from the root); a file claims it until released.
    CCurlTransfer& Transfer() { return *m_pTransfer; }
    void PrepareTransfer(const std::string& path, bool bNoBody);
    bool ClaimForFile() { return !m_bFileOpen.exchange(true); }
    bool IsFileOpen() const { return m_bFileOpen; }
    void ReleaseFromFile() { m_bFileOpen = false; }
    uint32_t ControlLimit() const { return TimeoutOption(INET_OPTION_RECEIVE_TIMEOUT); }
    uint32_t DataLimit() const { return TimeoutOption(INET_OPTION_DATA_RECEIVE_TIMEOUT); }
    // FTP: the transfer's outcome as the call's result; the last reply becomes the thread's.
    bool Conclude(CCurlTransfer::EWait wait);

    void Cancel() override;

    // Bytes outside the printable ASCII range and those a URL cannot carry as they are become
    // %XX escapes; bFtpName escapes "%", "?" and "#" too, which are ordinary in FTP file names.
    static std::string EscapePath(const std::string& path, bool bFtpName);

private:
    bool RunCommandTransfer();

    const std::shared_ptr<CInternetSession> m_pSession;
    const std::string m_strHost;
    const uint16_t m_nPort;
    const uint32_t m_nService;
    const uint32_t m_nFlags;
    std::unique_ptr<CCurlTransfer> m_pTransfer;  // FTP only
    std::atomic<bool> m_bFileOpen{false};
};

}  // namespace zu::platform
