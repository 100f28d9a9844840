// CFtpFile: a file being retrieved over an FTP connection. It runs on the connection's own
// transfer, so the connection takes no command until the file is closed.
#pragma once

#include "platform/posix/InternetConnection.h"
#include "platform/posix/InternetFile.h"

#include <memory>
#include <string>

namespace zu::platform {

class CFtpFile : public VInternetFile {
public:
    CFtpFile(std::shared_ptr<CInternetConnection> pConnection, const std::string& path, uint32_t nFlags);
    ~CFtpFile() override;

    // Sends RETR and returns once the server has agreed to send the file.
    bool Open();
    void Cancel() override;

protected:
    CCurlTransfer* BodyTransfer() override;
    std::unique_lock<std::recursive_mutex> LockTransfer() override;
    uint32_t BodyIdleLimit() const override { return m_pConnection->DataLimit(); }
    int64_t BodyLength() const override { return m_nLength; }
    bool RestartAt(int64_t nPosition) override;
    void AfterRead() override;

private:
    const std::shared_ptr<CInternetConnection> m_pConnection;
    const std::string m_strPath;
    const uint32_t m_nFlags;
    bool m_bClaimed = false;
    int64_t m_nLength = -1;
};

}  // namespace zu::platform
