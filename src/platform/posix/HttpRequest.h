// CHttpRequest: one HTTP or HTTPS request on a connection. Its headers are gathered before it is
// sent; sending returns with the answer's head, and the body is then pulled as it is read. A move
// of the file pointer outside what is held asks again with a "Range" header.
#pragma once

#include "platform/posix/CurlTransfer.h"
#include "platform/posix/HttpHeaderList.h"
#include "platform/posix/InternetConnection.h"
#include "platform/posix/InternetFile.h"

#include <memory>
#include <string>
#include <vector>

namespace zu::platform {

class CHttpRequest : public VInternetFile {
public:
    CHttpRequest(std::shared_ptr<CInternetConnection> pConnection, const std::string& verb, const std::string& object,
                 const std::string& version, const std::string& referrer, const std::string& accept, uint32_t nFlags);
    ~CHttpRequest() override;

    bool AddHeaders(const std::string& text, uint32_t nModifiers);
    bool Send(const std::string& extraHeaders, const void* pBody, uint32_t nBodyLength);
    // An information level (INET_QUERY_*, with its modifier) as text.
    bool QueryInfo(uint32_t nLevel, const std::string& customName, std::string& value, uint32_t* pIndex);

    bool SetOption(uint32_t nOption, uint32_t nValue) override;
    bool QueryOption(uint32_t nOption, uint32_t& nValue) override;
    bool SetOptionText(uint32_t nOption, const std::u16string& value) override;
    bool QueryOptionText(uint32_t nOption, std::u16string& value) override;
    void Cancel() override;

protected:
    CCurlTransfer* BodyTransfer() override { return m_bSent ? &m_Transfer : nullptr; }
    std::unique_lock<std::recursive_mutex> LockTransfer() override;
    uint32_t BodyIdleLimit() const override { return TimeoutOption(INET_OPTION_RECEIVE_TIMEOUT); }
    int64_t BodyLength() const override { return m_nLength; }
    bool RestartAt(int64_t nPosition) override;

private:
    struct CResponse {
        std::string m_strStatusLine;
        std::string m_strVersion;
        uint32_t m_nStatusCode = 0;
        std::string m_strStatusText;
        CHttpHeaderList m_Headers;
    };

    bool IsSecure() const { return (m_nFlags & INET_FLAG_SECURE) != 0; }
    std::string Url() const;
    // Sends the request with these headers to url and waits for the final answer's head.
    bool Perform(const CHttpHeaderList& headers, const std::string& url);
    void Configure(const CHttpHeaderList& headers, const std::string& url);
    curl_slist* HeaderList(const CHttpHeaderList& headers) const;
    bool IsFinalHead(const std::vector<std::string>& head) const;
    static CResponse ParseHead(const std::vector<std::string>& head);
    void NoteRange();
    bool SkipTo(int64_t nPosition);

    const std::shared_ptr<CInternetConnection> m_pConnection;
    const std::string m_strVerb;
    const std::string m_strObject;
    const std::string m_strVersion;
    const uint32_t m_nFlags;
    uint32_t m_nSecurityFlags;
    CHttpHeaderList m_RequestHeaders;
    std::string m_strBody;
    curl_slist* m_pAliases = nullptr;
    CCurlTransfer m_Transfer;

    bool m_bSent = false;
    CResponse m_Response;
    std::string m_strEffectiveUrl;
    int64_t m_nLength = -1;
    // Where the first answer's body lies within the resource (a 206 answer), -1 for "to the end".
    int64_t m_nRangeFirst = 0;
    int64_t m_nRangeLast = -1;
};

}  // namespace zu::platform
