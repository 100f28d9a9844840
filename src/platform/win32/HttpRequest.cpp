#include "platform/win32/HttpRequest.h"

#include "platform/HttpHeaderText.h"
#include "platform/HttpRange.h"
#include "platform/Internet.h"
#include "platform/Text.h"
#include "platform/win32/InternetErrors.h"
#include "platform/win32/Wide.h"

#include <algorithm>

namespace zu::platform {
namespace {

bool IsVerb(const std::u16string& verb, const char16_t* pszName)
{
    const std::u16string name(pszName);
    return verb.size() == name.size() &&
           std::equal(verb.begin(), verb.end(), name.begin(), [](char16_t a, char16_t b) {
               return (a >= u'a' && a <= u'z' ? a - 32 : a) == b;
           });
}

// What the system holds for the request beyond the options recorded on it: the certificate
// errors to ignore and credentials a dialog may have filled in.
void CopyRequestOptions(HINTERNET hFrom, HINTERNET hTo)
{
    uint32_t nFlags = 0;
    if (CInternetObject::QueryNumberOption(hFrom, INET_OPTION_SECURITY_FLAGS, nFlags))
        CInternetObject::SetNumberOption(hTo, INET_OPTION_SECURITY_FLAGS, nFlags & INET_SECURITY_IGNORE_BITS);
    for (uint32_t nOption : INET_CREDENTIAL_OPTIONS) {
        std::u16string value;
        if (CInternetObject::QueryTextOption(hFrom, nOption, value) && !value.empty())
            CInternetObject::SetTextOption(hTo, nOption, value);
    }
}

}  // namespace

CHttpRequest::CHttpRequest(std::shared_ptr<CInternetObject> pConnection, HINTERNET hRequest,
                           const std::u16string& verb, const std::u16string& object, const std::u16string& version,
                           const std::u16string& referrer, const std::u16string& accept, uint32_t nFlags)
    : VInternetFile(EInternetObjectType::HTTP_REQUEST, hRequest, false, pConnection.get()),
      m_pConnection(std::move(pConnection)),
      m_Verb(verb),
      m_Object(object),
      m_Version(version),
      m_Referrer(referrer),
      m_Accept(accept),
      m_nFlags(nFlags)
{
}

CHttpRequest::~CHttpRequest()
{
    ReplaceBody(nullptr);
}

HINTERNET CHttpRequest::Open(HINTERNET hConnect, const std::u16string& verb, const std::u16string& object,
                             const std::u16string& version, const std::u16string& referrer,
                             const std::u16string& accept, uint32_t nFlags)
{
    const wchar_t* acceptTypes[] = {Wide(accept), nullptr};
    HINTERNET h = HttpOpenRequestW(hConnect, WideOrNull(verb), Wide(object), WideOrNull(version),
                                   WideOrNull(referrer), accept.empty() ? nullptr : acceptTypes, nFlags, 0);
    if (!h)
        FailWithSystemError();
    return h;
}

bool CHttpRequest::QueryInfo(HINTERNET hRequest, uint32_t nLevel, const std::u16string& customName,
                             std::u16string& value, uint32_t* pIndex)
{
    std::vector<wchar_t> buffer(std::max<size_t>(256, customName.size() + 1));
    for (;;) {
        // A custom level names its header in the buffer it answers in.
        std::fill(buffer.begin(), buffer.end(), L'\0');
        std::copy(customName.begin(), customName.end(), buffer.begin());
        DWORD nBytes = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
        DWORD nIndex = pIndex ? *pIndex : 0;
        if (HttpQueryInfoW(hRequest, nLevel, buffer.data(), &nBytes, pIndex ? &nIndex : nullptr)) {
            const size_t nLength = std::min<size_t>(nBytes / sizeof(wchar_t), buffer.size());
            value.assign(reinterpret_cast<const char16_t*>(buffer.data()), nLength);
            if (pIndex)
                *pIndex = nIndex;
            return true;
        }
        const DWORD nError = GetLastError();
        if (nError != ERROR_INSUFFICIENT_BUFFER)
            return FailInternet(InternetErrorFromSystem(nError));
        buffer.assign(std::max<size_t>(nBytes / sizeof(wchar_t) + 1, buffer.size() * 2), L'\0');
    }
}

bool CHttpRequest::AddHeaders(const std::u16string& headers, uint32_t nModifiers)
{
    // Windows refuses an existing header to ADD_IF_NEW and a missing one to REPLACE without ADD;
    // Wine takes both, so those modifiers go line by line past a look at what is there.
    const bool bAddIfNew = (nModifiers & INET_ADDREQ_FLAG_ADD_IF_NEW) != 0;
    const bool bReplaceOnly = (nModifiers & INET_ADDREQ_FLAG_REPLACE) && !(nModifiers & INET_ADDREQ_FLAG_ADD);
    if (!bAddIfNew && !bReplaceOnly)
        return AddHeaderLines(headers, nModifiers);
    for (const std::u16string& line : HeaderTextLines(headers)) {
        const bool bExists = HasRequestHeader(line.substr(0, line.find(u':')));
        if (bAddIfNew && bExists)
            return FailInternet(INET_ERROR_HTTP_HEADER_ALREADY_EXISTS);
        if (bReplaceOnly && !bExists && line.find(u':') != std::u16string::npos)
            return FailInternet(INET_ERROR_HTTP_HEADER_NOT_FOUND);
        if (!AddHeaderLines(line, nModifiers))
            return false;
    }
    return true;
}

bool CHttpRequest::AddHeaderLines(const std::u16string& headers, uint32_t nModifiers)
{
    if (!HttpAddRequestHeadersW(Handle(), Wide(headers), static_cast<DWORD>(headers.size()), nModifiers))
        return FailWithSystemError();
    m_AddedHeaders.emplace_back(headers, nModifiers);
    return true;
}

bool CHttpRequest::HasRequestHeader(const std::u16string& name) const
{
    std::u16string value;
    const std::u16string trimmed = TrimmedHeaderText(name);
    return !trimmed.empty() &&
           QueryInfo(Handle(), INET_QUERY_CUSTOM | INET_QUERY_FLAG_REQUEST_HEADERS, trimmed, value, nullptr);
}

bool CHttpRequest::QueryResponse(uint32_t nLevel, const std::u16string& customName, std::u16string& value,
                                 uint32_t* pIndex) const
{
    // Before the request is sent there is no answer to ask about (Wine makes up a status of 0).
    if (!(nLevel & INET_QUERY_FLAG_REQUEST_HEADERS) && !m_bSent)
        return FailInternet(INET_ERROR_INCORRECT_HANDLE_STATE);
    return QueryInfo(Handle(), nLevel, customName, value, pIndex);
}

bool CHttpRequest::Send(const std::u16string& extraHeaders, const void* pBody, uint32_t nBodyLength)
{
    ReplaceBody(nullptr);
    m_bSent = false;
    StartBody();
    auto pBodyCopy = std::make_shared<const std::string>(static_cast<const char*>(pBody ? pBody : ""),
                                                         pBody ? nBodyLength : 0);
    if (!SendOn(Handle(), extraHeaders, pBodyCopy))
        return false;
    // The system added them as by ADD|REPLACE; a request made again gets them the same way.
    if (!extraHeaders.empty())
        m_AddedHeaders.emplace_back(extraHeaders, INET_ADDREQ_FLAG_ADD | INET_ADDREQ_FLAG_REPLACE);
    m_bSent = true;
    NoteBody();
    return true;
}

bool CHttpRequest::SendOn(HINTERNET hRequest, const std::u16string& extraHeaders,
                          std::shared_ptr<const std::string> pBody)
{
    const ULONGLONG nStart = GetTickCount64();
    if (Succeeded(Call(
        [hRequest, extraHeaders, pBody](CCallOutcome&) {
            void* pData = pBody->empty() ? nullptr : const_cast<char*>(pBody->data());
            return HttpSendRequestW(hRequest, WideOrNull(extraHeaders), static_cast<DWORD>(extraHeaders.size()),
                                    pData, static_cast<DWORD>(pBody->size())) != FALSE;
        },
        false)))
        return true;
    // Wine reports a head that never came as an aborted connection; it is a time-out when the
    // server was silent for the whole receive time-out.
    uint32_t nLimit = 0;
    if (InternetLastError() == INET_ERROR_CONNECTION_ABORTED &&
        QueryOption(INET_OPTION_RECEIVE_TIMEOUT, nLimit) && nLimit != 0 && nLimit != 0xFFFFFFFF &&
        GetTickCount64() - nStart >= nLimit)
        return FailInternet(INET_ERROR_TIMEOUT);
    return false;
}

// The body's length, and where it lies in the resource so that a later Range asks for the same part.
void CHttpRequest::NoteBody()
{
    std::u16string value;
    m_nLength = -1;
    if (IsVerb(m_Verb, u"HEAD"))
        m_nLength = 0;
    else if (QueryInfo(Handle(), INET_QUERY_CONTENT_LENGTH, std::u16string(), value, nullptr))
        m_nLength = LeadingDecimal(value);
    m_nRangeFirst = 0;
    m_nRangeLast = -1;
    if (QueryInfo(Handle(), INET_QUERY_STATUS_CODE, std::u16string(), value, nullptr) && value == u"206" &&
        QueryInfo(Handle(), INET_QUERY_CONTENT_RANGE, std::u16string(), value, nullptr))
        ParseContentRange(Utf8FromUtf16(value), m_nRangeFirst, m_nRangeLast);
    SetInternetLastError(INET_ERROR_SUCCESS);
}

HINTERNET CHttpRequest::OpenAgain() const
{
    HINTERNET h = Open(m_pConnection->Handle(), m_Verb, m_Object, m_Version, m_Referrer, m_Accept, m_nFlags);
    if (!h)
        return nullptr;
    ApplyRecordedOptions(h);
    CopyRequestOptions(Handle(), h);
    for (const auto& added : m_AddedHeaders)
        HttpAddRequestHeadersW(h, Wide(added.first), static_cast<DWORD>(added.first.size()), added.second);
    return h;
}

bool CHttpRequest::RestartAt(int64_t nPosition)
{
    if (m_Verb != u"GET" && !m_Verb.empty())
        return FailInternet(INET_ERROR_INVALID_OPERATION);
    HINTERNET hAgain = OpenAgain();
    if (!hAgain)
        return false;
    ReplaceBody(hAgain);
    const int64_t nFirst = m_nRangeFirst + nPosition;
    const std::u16string range = u"Range: " + Utf16FromUtf8(RangeRequestValue(nFirst, m_nRangeLast)) + u"\r\n";
    if (!HttpAddRequestHeadersW(hAgain, Wide(range), static_cast<DWORD>(range.size()),
                                INET_ADDREQ_FLAG_ADD | INET_ADDREQ_FLAG_REPLACE))
        return FailWithSystemError();
    if (!SendOn(hAgain, std::u16string(), std::make_shared<const std::string>()))
        return false;
    std::u16string status, contentRange;
    QueryInfo(hAgain, INET_QUERY_STATUS_CODE, std::u16string(), status, nullptr);
    if (status == u"200") {
        // The server ignored the range: walk the whole body up to the place.
        const int64_t nDropped = Discard(nFirst);
        return nDropped == nFirst || (nDropped >= 0 && FailInternet(INET_ERROR_HTTP_INVALID_SERVER_RESPONSE));
    }
    int64_t nGotFirst = -1, nGotLast = -1;
    if (status != u"206" || !QueryInfo(hAgain, INET_QUERY_CONTENT_RANGE, std::u16string(), contentRange, nullptr) ||
        !ParseContentRange(Utf8FromUtf16(contentRange), nGotFirst, nGotLast) || nGotFirst != nFirst)
        return FailInternet(INET_ERROR_HTTP_INVALID_SERVER_RESPONSE);
    return true;
}

HINTERNET CHttpRequest::BodyHandle() const
{
    HINTERNET hBody = m_hBody.load();
    return hBody ? hBody : Handle();
}

void CHttpRequest::ReplaceBody(HINTERNET h)
{
    HINTERNET hPrevious = m_hBody.exchange(h);
    if (hPrevious)
        InternetCloseHandle(hPrevious);
    if (h && IsCancelled()) {
        if (HINTERNET hLate = m_hBody.exchange(nullptr))
            InternetCloseHandle(hLate);
    }
}

bool CHttpRequest::SetOption(uint32_t nOption, uint32_t nValue)
{
    if (HINTERNET hBody = m_hBody.load())
        SetNumberOption(hBody, nOption, nValue);
    return VInternetFile::SetOption(nOption, nValue);
}

bool CHttpRequest::SetOptionText(uint32_t nOption, const std::u16string& value)
{
    if (HINTERNET hBody = m_hBody.load())
        SetTextOption(hBody, nOption, value);
    return VInternetFile::SetOptionText(nOption, value);
}

void CHttpRequest::Cancel()
{
    VInternetFile::Cancel();
    ReplaceBody(nullptr);
}

}  // namespace zu::platform
