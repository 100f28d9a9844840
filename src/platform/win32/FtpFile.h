// CFtpFile: a file being retrieved over an FTP connection. Its length comes from a SIZE command
// sent before the file is opened; a move the reading cannot make closes the file and retrieves it
// again after a REST command, on the same connection.
#pragma once

#include "platform/win32/InternetFile.h"

#include <memory>
#include <string>

namespace zu::platform {

class CFtpFile : public VInternetFile {
public:
    CFtpFile(std::shared_ptr<CInternetObject> pConnection, const std::u16string& name, uint32_t nFlags);

    // Asks for the size, then starts the retrieval.
    bool Open();

protected:
    bool HasBody() const override { return true; }
    int64_t BodyLength() const override { return m_nLength; }
    bool RestartAt(int64_t nPosition) override;

private:
    bool OpenAt(int64_t nPosition, bool bAskSize);

    const std::shared_ptr<CInternetObject> m_pConnection;
    const std::u16string m_Name;
    const uint32_t m_nFlags;
    int64_t m_nLength = -1;
};

}  // namespace zu::platform
