#include "platform/posix/FtpFile.h"

#include "platform/Text.h"
#include "platform/posix/InternetErrors.h"

namespace zu::platform {

CFtpFile::CFtpFile(std::shared_ptr<CInternetConnection> pConnection, const std::string& path, uint32_t nFlags)
    : VInternetFile(EInternetObjectType::FTP_FILE, pConnection),
      m_pConnection(std::move(pConnection)),
      m_strPath(path),
      m_nFlags(nFlags)
{
}

CFtpFile::~CFtpFile()
{
    if (!m_bClaimed)
        return;
    auto lock = LockTransfer();
    m_pConnection->Transfer().Stop();
    m_pConnection->ReleaseFromFile();
}

bool CFtpFile::Open()
{
    auto lock = LockTransfer();
    if (!m_pConnection->ClaimForFile())
        return FailInternet(INET_ERROR_FTP_TRANSFER_IN_PROGRESS);
    m_bClaimed = true;
    if (!RestartAt(0))
        return false;
    curl_off_t nLength = -1;
    curl_easy_getinfo(m_pConnection->Transfer().Easy(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &nLength);
    m_nLength = nLength;
    return true;
}

// Starts the transfer at nPosition: the first time from Open, again for a move of the file pointer.
bool CFtpFile::RestartAt(int64_t nPosition)
{
    CCurlTransfer& transfer = m_pConnection->Transfer();
    m_pConnection->PrepareTransfer(m_strPath, false);
    CURL* pEasy = transfer.Easy();
    curl_easy_setopt(pEasy, CURLOPT_TRANSFERTEXT, (m_nFlags & 3) == INET_FTP_TRANSFER_TYPE_ASCII ? 1L : 0L);
    curl_easy_setopt(pEasy, CURLOPT_RESUME_FROM_LARGE, static_cast<curl_off_t>(nPosition));
    m_nBase = nPosition;
    if (!transfer.Start())
        return FailInternet(INET_ERROR_INTERNAL_ERROR);
    // The server has agreed once it announces the data connection (125 or 150).
    auto isAgreed = [&transfer] {
        for (uint32_t nCode : transfer.ReplyCodes()) {
            if (nCode == 125 || nCode == 150)
                return true;
        }
        return transfer.BufferedBytes() != 0;
    };
    return m_pConnection->Conclude(transfer.Drive(isAgreed, m_pConnection->ControlLimit()));
}

void CFtpFile::AfterRead()
{
    CCurlTransfer& transfer = m_pConnection->Transfer();
    if (transfer.LastReplyCode() != 0)
        SetLastFtpReply(transfer.LastReplyCode(), Utf16FromUtf8(transfer.LastReply()));
}

CCurlTransfer* CFtpFile::BodyTransfer()
{
    return m_bClaimed ? &m_pConnection->Transfer() : nullptr;
}

std::unique_lock<std::recursive_mutex> CFtpFile::LockTransfer()
{
    return std::unique_lock<std::recursive_mutex>(m_pConnection->Lock());
}

void CFtpFile::Cancel()
{
    m_pConnection->Transfer().Interrupt();
}

}  // namespace zu::platform
