// CHttpRequest: one HTTP or HTTPS request, a WinINet request handle with what it takes to ask
// again: the arguments it was opened with and the headers its caller added. A move of the file
// pointer that WinINet cannot make sends the same request with a "Range" header on the same
// connection; its body is then read from the new request, while the first one still answers every
// question about the head, as the caller saw it.
#pragma once

#include "platform/win32/InternetFile.h"

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zu::platform {

class CHttpRequest : public VInternetFile {
public:
    CHttpRequest(std::shared_ptr<CInternetObject> pConnection, HINTERNET hRequest, const std::u16string& verb,
                 const std::u16string& object, const std::u16string& version, const std::u16string& referrer,
                 const std::u16string& accept, uint32_t nFlags);
    ~CHttpRequest() override;

    // Opens a request on the connection with these arguments (empty texts are the system's
    // defaults); null on failure, with the reason as the last error.
    static HINTERNET Open(HINTERNET hConnect, const std::u16string& verb, const std::u16string& object,
                          const std::u16string& version, const std::u16string& referrer,
                          const std::u16string& accept, uint32_t nFlags);
    // HttpQueryInfoW as text, the buffer grown as the system asks.
    static bool QueryInfo(HINTERNET hRequest, uint32_t nLevel, const std::u16string& customName,
                          std::u16string& value, uint32_t* pIndex);

    bool AddHeaders(const std::u16string& headers, uint32_t nModifiers);
    // QueryInfo for the caller: the answer's levels fail until the request has been sent.
    bool QueryResponse(uint32_t nLevel, const std::u16string& customName, std::u16string& value,
                       uint32_t* pIndex) const;
    bool Send(const std::u16string& extraHeaders, const void* pBody, uint32_t nBodyLength);

    bool SetOption(uint32_t nOption, uint32_t nValue) override;
    bool SetOptionText(uint32_t nOption, const std::u16string& value) override;
    void Cancel() override;

protected:
    HINTERNET BodyHandle() const override;
    bool HasBody() const override { return m_bSent; }
    int64_t BodyLength() const override { return m_nLength; }
    bool RestartAt(int64_t nPosition) override;

private:
    bool AddHeaderLines(const std::u16string& headers, uint32_t nModifiers);
    bool HasRequestHeader(const std::u16string& name) const;
    bool SendOn(HINTERNET hRequest, const std::u16string& extraHeaders, std::shared_ptr<const std::string> pBody);
    void NoteBody();
    HINTERNET OpenAgain() const;
    // The body now comes from h (null: from the request itself); the one it came from is closed.
    void ReplaceBody(HINTERNET h);

    const std::shared_ptr<CInternetObject> m_pConnection;
    const std::u16string m_Verb;
    const std::u16string m_Object;
    const std::u16string m_Version;
    const std::u16string m_Referrer;
    const std::u16string m_Accept;
    const uint32_t m_nFlags;
    // Every header line the caller added that the system took, with its modifiers, in order.
    std::vector<std::pair<std::u16string, uint32_t>> m_AddedHeaders;
    std::atomic<HINTERNET> m_hBody{nullptr};

    bool m_bSent = false;
    int64_t m_nLength = -1;
    // Where the first answer's body lies within the resource (a 206 answer), -1 for "to the end".
    int64_t m_nRangeFirst = 0;
    int64_t m_nRangeLast = -1;
};

}  // namespace zu::platform
