#include "platform/posix/HttpRequest.h"

#include "platform/HttpHeaderText.h"
#include "platform/HttpRange.h"
#include "platform/Text.h"
#include "platform/posix/CertificateCheck.h"
#include "platform/posix/InternetErrors.h"

#include <algorithm>
#include <cstdlib>
#include <strings.h>

namespace zu::platform {
namespace {

constexpr long MAX_REDIRECTS = 20;

// The header a level stands for; null for levels that are not a header.
const char* HeaderOfLevel(uint32_t nLevel)
{
    switch (nLevel) {
    case INET_QUERY_CONTENT_TYPE: return "Content-Type";
    case INET_QUERY_CONTENT_LENGTH: return "Content-Length";
    case INET_QUERY_DATE: return "Date";
    case INET_QUERY_LAST_MODIFIED: return "Last-Modified";
    case INET_QUERY_CONNECTION: return "Connection";
    case INET_QUERY_ACCEPT: return "Accept";
    case INET_QUERY_AUTHORIZATION: return "Authorization";
    case INET_QUERY_CONTENT_ENCODING: return "Content-Encoding";
    case INET_QUERY_LOCATION: return "Location";
    case INET_QUERY_REFERER: return "Referer";
    case INET_QUERY_SERVER: return "Server";
    case INET_QUERY_USER_AGENT: return "User-Agent";
    case INET_QUERY_WWW_AUTHENTICATE: return "WWW-Authenticate";
    case INET_QUERY_ACCEPT_RANGES: return "Accept-Ranges";
    case INET_QUERY_SET_COOKIE: return "Set-Cookie";
    case INET_QUERY_COOKIE: return "Cookie";
    case INET_QUERY_CONTENT_RANGE: return "Content-Range";
    case INET_QUERY_ETAG: return "ETag";
    case INET_QUERY_HOST: return "Host";
    case INET_QUERY_RANGE: return "Range";
    case INET_QUERY_TRANSFER_ENCODING: return "Transfer-Encoding";
    default: return nullptr;
    }
}

// The request flags that stand for certificate errors to ignore. The other request flags share
// their bits with security flags of other meanings and must not turn into them.
uint32_t SecurityFlagsOfRequest(uint32_t nFlags)
{
    uint32_t nSecurityFlags = 0;
    if (nFlags & INET_FLAG_IGNORE_CERT_CN_INVALID)
        nSecurityFlags |= INET_SECURITY_FLAG_IGNORE_CERT_CN_INVALID;
    if (nFlags & INET_FLAG_IGNORE_CERT_DATE_INVALID)
        nSecurityFlags |= INET_SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;
    return nSecurityFlags;
}

bool IsRedirect(uint32_t nCode)
{
    return nCode == 301 || nCode == 302 || nCode == 303 || nCode == 307 || nCode == 308;
}

}  // namespace

CHttpRequest::CHttpRequest(std::shared_ptr<CInternetConnection> pConnection, const std::string& verb,
                           const std::string& object, const std::string& version, const std::string& referrer,
                           const std::string& accept, uint32_t nFlags)
    : VInternetFile(EInternetObjectType::HTTP_REQUEST, pConnection),
      m_pConnection(std::move(pConnection)),
      m_strVerb(verb.empty() ? "GET" : verb),
      m_strObject(object.empty() || object[0] != '/' ? "/" + object : object),
      m_strVersion(version.empty() ? "HTTP/1.1" : version),
      m_nFlags(nFlags),
      m_nSecurityFlags(SecurityFlagsOfRequest(nFlags)),
      m_Transfer(false)
{
    // The headers the system adds itself are listed from the start, so a caller can see and
    // replace them like its own.
    const std::string& userAgent = m_pConnection->Session()->UserAgent();
    if (!userAgent.empty())
        m_RequestHeaders.Add("User-Agent", userAgent);
    if (!accept.empty())
        m_RequestHeaders.Add("Accept", accept);
    if (!referrer.empty())
        m_RequestHeaders.Add("Referer", referrer);
    if (nFlags & INET_FLAG_PRAGMA_NOCACHE)
        m_RequestHeaders.Add("Pragma", "no-cache");
    // Old radio servers answer with their own status line.
    m_pAliases = curl_slist_append(nullptr, "ICY 200 OK");
    m_Transfer.SetFinalHeadTest([this](const std::vector<std::string>& head) { return IsFinalHead(head); });
}

CHttpRequest::~CHttpRequest()
{
    m_Transfer.ResetOptions();  // the easy handle lets go of the alias list first
    curl_slist_free_all(m_pAliases);
}

std::unique_lock<std::recursive_mutex> CHttpRequest::LockTransfer()
{
    return std::unique_lock<std::recursive_mutex>(Lock());
}

bool CHttpRequest::AddHeaders(const std::string& text, uint32_t nModifiers)
{
    uint32_t nError = 0;
    return m_RequestHeaders.Apply(text, nModifiers, nError) || FailInternet(nError);
}

bool CHttpRequest::Send(const std::string& extraHeaders, const void* pBody, uint32_t nBodyLength)
{
    if (!AddHeaders(extraHeaders, INET_ADDREQ_FLAG_ADD | INET_ADDREQ_FLAG_REPLACE))
        return false;
    m_strBody.assign(static_cast<const char*>(pBody ? pBody : ""), pBody ? nBodyLength : 0);
    m_bSent = false;
    m_nBase = 0;
    m_nLength = -1;
    m_strEffectiveUrl = Url();
    if (!Perform(m_RequestHeaders, m_strEffectiveUrl))
        return false;
    m_Response = ParseHead(m_Transfer.Heads().back());
    char* pUrl = nullptr;
    if (curl_easy_getinfo(m_Transfer.Easy(), CURLINFO_EFFECTIVE_URL, &pUrl) == CURLE_OK && pUrl)
        m_strEffectiveUrl = pUrl;
    curl_off_t nLength = -1;
    curl_easy_getinfo(m_Transfer.Easy(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &nLength);
    m_nLength = strcasecmp(m_strVerb.c_str(), "HEAD") == 0 ? 0 : nLength;
    NoteRange();
    m_bSent = true;
    return true;
}

// Where the body lies in the resource, so that a later Range asks for the same part.
void CHttpRequest::NoteRange()
{
    m_nRangeFirst = 0;
    m_nRangeLast = -1;
    const std::string* pRange = m_Response.m_Headers.Find("Content-Range");
    if (m_Response.m_nStatusCode == 206 && pRange)
        ParseContentRange(*pRange, m_nRangeFirst, m_nRangeLast);
}

std::string CHttpRequest::Url() const
{
    const bool bSecure = IsSecure();
    const std::string base = m_pConnection->UrlBase(bSecure ? "https" : "http",
                                                    bSecure ? INET_DEFAULT_HTTPS_PORT : INET_DEFAULT_HTTP_PORT);
    return base + CInternetConnection::EscapePath(m_strObject.substr(1), false);
}

bool CHttpRequest::Perform(const CHttpHeaderList& headers, const std::string& url)
{
    Configure(headers, url);
    if (!m_Transfer.Start())
        return FailInternet(INET_ERROR_INTERNAL_ERROR);
    switch (m_Transfer.Drive([this] { return m_Transfer.HasFinalHead(); }, TimeoutOption(INET_OPTION_RECEIVE_TIMEOUT))) {
    case CCurlTransfer::EWait::READY:
        return true;
    case CCurlTransfer::EWait::TIMED_OUT:
        m_Transfer.Stop();
        return FailInternet(INET_ERROR_TIMEOUT);
    case CCurlTransfer::EWait::CANCELLED:
        m_Transfer.Stop();
        return FailInternet(INET_ERROR_OPERATION_CANCELLED);
    case CCurlTransfer::EWait::FINISHED:
        break;
    }
    if (m_Transfer.HasFinalHead())
        return true;  // the whole answer is in already
    const uint32_t nError = m_Transfer.Result() == CURLE_OK ? INET_ERROR_HTTP_INVALID_SERVER_RESPONSE
                                                            : m_Transfer.ResultError();
    return FailInternet(nError);
}

void CHttpRequest::Configure(const CHttpHeaderList& headers, const std::string& url)
{
    m_Transfer.ResetOptions();
    CURL* pEasy = m_Transfer.Easy();
    curl_easy_setopt(pEasy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(pEasy, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(pEasy, CURLOPT_HTTP_VERSION,
                     m_strVersion == "HTTP/1.0" ? static_cast<long>(CURL_HTTP_VERSION_1_0)
                                                : static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(pEasy, CURLOPT_HTTP200ALIASES, m_pAliases);
    curl_easy_setopt(pEasy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);

    const bool bHead = strcasecmp(m_strVerb.c_str(), "HEAD") == 0;
    if (bHead) {
        curl_easy_setopt(pEasy, CURLOPT_NOBODY, 1L);
    } else if (!m_strBody.empty() || m_strVerb == "POST") {
        curl_easy_setopt(pEasy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(m_strBody.size()));
        curl_easy_setopt(pEasy, CURLOPT_POSTFIELDS, m_strBody.data());
    }
    if (!bHead && m_strVerb != "GET" && m_strVerb != "POST")
        curl_easy_setopt(pEasy, CURLOPT_CUSTOMREQUEST, m_strVerb.c_str());

    const bool bFollow = !(m_nFlags & INET_FLAG_NO_AUTO_REDIRECT);
    curl_easy_setopt(pEasy, CURLOPT_FOLLOWLOCATION, bFollow ? 1L : 0L);
    curl_easy_setopt(pEasy, CURLOPT_MAXREDIRS, MAX_REDIRECTS);
    curl_easy_setopt(pEasy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https,ftp");

    const std::string user = Utf8FromUtf16(TextOption(INET_OPTION_USERNAME));
    if (!user.empty() && !(m_nFlags & INET_FLAG_NO_AUTH)) {
        curl_easy_setopt(pEasy, CURLOPT_USERNAME, user.c_str());
        curl_easy_setopt(pEasy, CURLOPT_PASSWORD, Utf8FromUtf16(TextOption(INET_OPTION_PASSWORD)).c_str());
        curl_easy_setopt(pEasy, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
    }
    m_pConnection->Session()->ApplyProxy(pEasy, IsSecure() ? "https" : "http", m_pConnection->Host());
    const std::string proxyUser = Utf8FromUtf16(TextOption(INET_OPTION_PROXY_USERNAME));
    if (!proxyUser.empty()) {
        curl_easy_setopt(pEasy, CURLOPT_PROXYUSERNAME, proxyUser.c_str());
        curl_easy_setopt(pEasy, CURLOPT_PROXYPASSWORD, Utf8FromUtf16(TextOption(INET_OPTION_PROXY_PASSWORD)).c_str());
    }

    CCertificateCheck::Apply(pEasy, m_nSecurityFlags);

    // A share that holds cookies turns curl's cookie engine on; a reset does not let go of it.
    CURLSH* pShare = m_pConnection->Session()->CookieShare();
    curl_easy_setopt(pEasy, CURLOPT_SHARE, (m_nFlags & INET_FLAG_NO_COOKIES) ? nullptr : pShare);
    m_Transfer.SetConnectTimeout(TimeoutOption(INET_OPTION_CONNECT_TIMEOUT));
    m_Transfer.SetHeaderList(HeaderList(headers));
}

curl_slist* CHttpRequest::HeaderList(const CHttpHeaderList& headers) const
{
    curl_slist* pList = nullptr;
    for (const auto& header : headers.Items()) {
        // "Name:" would tell curl to leave the header out; "Name;" sends it empty.
        const std::string line = header.second.empty() ? header.first + ";" : header.first + ": " + header.second;
        pList = curl_slist_append(pList, line.c_str());
    }
    // Headers curl would add on its own, which the request did not ask for.
    if (!headers.Contains("Accept"))
        pList = curl_slist_append(pList, "Accept:");
    if (!headers.Contains("Expect"))
        pList = curl_slist_append(pList, "Expect:");
    if (!m_strBody.empty() && !headers.Contains("Content-Type"))
        pList = curl_slist_append(pList, "Content-Type:");
    return pList;
}

bool CHttpRequest::IsFinalHead(const std::vector<std::string>& head) const
{
    const CResponse response = ParseHead(head);
    if (response.m_nStatusCode < 200)
        return false;  // an interim answer such as 100 Continue
    const bool bFollowed = !(m_nFlags & INET_FLAG_NO_AUTO_REDIRECT) && IsRedirect(response.m_nStatusCode) &&
                           response.m_Headers.Contains("Location");
    return !bFollowed;
}

CHttpRequest::CResponse CHttpRequest::ParseHead(const std::vector<std::string>& head)
{
    CResponse response;
    if (head.empty())
        return response;
    response.m_strStatusLine = head[0];
    const size_t firstSpace = head[0].find(' ');
    response.m_strVersion = head[0].substr(0, firstSpace);
    if (firstSpace != std::string::npos) {
        const std::string rest = head[0].substr(firstSpace + 1);
        response.m_nStatusCode = static_cast<uint32_t>(std::strtoul(rest.c_str(), nullptr, 10));
        const size_t secondSpace = rest.find(' ');
        if (secondSpace != std::string::npos)
            response.m_strStatusText = TrimmedHeaderText(rest.substr(secondSpace + 1));
    }
    for (size_t i = 1; i < head.size(); ++i) {
        const size_t colon = head[i].find(':');
        if (colon != std::string::npos)
            response.m_Headers.Add(TrimmedHeaderText(head[i].substr(0, colon)),
                                   TrimmedHeaderText(head[i].substr(colon + 1)));
    }
    return response;
}

bool CHttpRequest::QueryInfo(uint32_t nLevel, const std::string& customName, std::string& value, uint32_t* pIndex)
{
    const bool bRequest = (nLevel & INET_QUERY_FLAG_REQUEST_HEADERS) != 0;
    const uint32_t nBase = nLevel & 0xFFFF;
    if (!bRequest && !m_bSent)
        return FailInternet(INET_ERROR_INCORRECT_HANDLE_STATE);
    const CHttpHeaderList& headers = bRequest ? m_RequestHeaders : m_Response.m_Headers;
    switch (nBase) {
    case INET_QUERY_STATUS_CODE:
        if (bRequest)
            return FailInternet(INET_ERROR_HTTP_HEADER_NOT_FOUND);
        value = std::to_string(m_Response.m_nStatusCode);
        return true;
    case INET_QUERY_STATUS_TEXT:
        if (bRequest)
            return FailInternet(INET_ERROR_HTTP_HEADER_NOT_FOUND);
        value = m_Response.m_strStatusText;
        return true;
    case INET_QUERY_VERSION:
        value = bRequest ? m_strVersion : m_Response.m_strVersion;
        return true;
    case INET_QUERY_RAW_HEADERS_CRLF:
    case INET_QUERY_RAW_HEADERS: {
        const std::string first = bRequest ? m_strVerb + " " + m_strObject + " " + m_strVersion
                                           : m_Response.m_strStatusLine;
        value = first + "\r\n" + headers.Text() + "\r\n";
        if (nBase == INET_QUERY_RAW_HEADERS) {
            std::string lines;
            for (size_t i = 0; i + 1 < value.size(); ++i) {
                const bool bBreak = value[i] == '\r' && value[i + 1] == '\n';
                lines += bBreak ? '\0' : value[i];
                i += bBreak ? 1 : 0;
            }
            value = lines;
        }
        return true;
    }
    default:
        break;
    }
    const char* pName = nBase == INET_QUERY_CUSTOM ? customName.c_str() : HeaderOfLevel(nBase);
    if (!pName || *pName == '\0')
        return FailInternet(INET_ERROR_HTTP_INVALID_QUERY_REQUEST);
    const std::string* pValue = headers.Find(pName, pIndex ? *pIndex : 0);
    if (!pValue)
        return FailInternet(INET_ERROR_HTTP_HEADER_NOT_FOUND);
    value = *pValue;
    if (pIndex)
        ++*pIndex;
    return true;
}

bool CHttpRequest::RestartAt(int64_t nPosition)
{
    if (m_strVerb != "GET")
        return FailInternet(INET_ERROR_INVALID_OPERATION);
    CHttpHeaderList headers = m_RequestHeaders;
    headers.Remove("Range");
    const int64_t nFirst = m_nRangeFirst + nPosition;
    headers.Add("Range", RangeRequestValue(nFirst, m_nRangeLast));
    if (!Perform(headers, m_strEffectiveUrl)) {
        m_Transfer.Abandon();  // a failed move leaves nothing to read rather than the wrong bytes
        return false;
    }
    const CResponse answer = ParseHead(m_Transfer.Heads().back());
    if (answer.m_nStatusCode == 200) {
        // The server ignored the range: walk the whole body up to the place.
        if (!SkipTo(m_nRangeFirst + nPosition))
            return false;
        m_nBase = -m_nRangeFirst;
        return true;
    }
    int64_t nGotFirst = -1, nGotLast = -1;
    const std::string* pRange = answer.m_Headers.Find("Content-Range");
    if (answer.m_nStatusCode != 206 || !pRange || !ParseContentRange(*pRange, nGotFirst, nGotLast) ||
        nGotFirst != nFirst) {
        m_Transfer.Abandon();
        return FailInternet(INET_ERROR_HTTP_INVALID_SERVER_RESPONSE);
    }
    m_nBase = nPosition;
    return true;
}

bool CHttpRequest::SkipTo(int64_t nPosition)
{
    const uint32_t nLimit = BodyIdleLimit();
    while (m_Transfer.TakenBytes() < nPosition) {
        if (m_Transfer.BufferedBytes() != 0) {
            m_Transfer.SkipBody(static_cast<size_t>(std::min<int64_t>(
                nPosition - m_Transfer.TakenBytes(), static_cast<int64_t>(m_Transfer.BufferedBytes()))));
            continue;
        }
        if (m_Transfer.IsFinished())
            break;
        const auto wait = m_Transfer.Drive([this] { return m_Transfer.BufferedBytes() != 0; }, nLimit);
        if (wait == CCurlTransfer::EWait::TIMED_OUT || wait == CCurlTransfer::EWait::CANCELLED) {
            m_Transfer.Abandon();
            return FailInternet(wait == CCurlTransfer::EWait::TIMED_OUT ? INET_ERROR_TIMEOUT
                                                                        : INET_ERROR_OPERATION_CANCELLED);
        }
    }
    if (m_Transfer.TakenBytes() == nPosition)
        return true;
    m_Transfer.Abandon();
    return FailInternet(INET_ERROR_HTTP_INVALID_SERVER_RESPONSE);
}

bool CHttpRequest::SetOption(uint32_t nOption, uint32_t nValue)
{
    if (nOption != INET_OPTION_SECURITY_FLAGS)
        return VInternetFile::SetOption(nOption, nValue);
    m_nSecurityFlags = nValue & INET_SECURITY_IGNORE_BITS;
    return true;
}

bool CHttpRequest::QueryOption(uint32_t nOption, uint32_t& nValue)
{
    if (nOption != INET_OPTION_SECURITY_FLAGS)
        return VInternetFile::QueryOption(nOption, nValue);
    nValue = m_nSecurityFlags | (IsSecure() ? static_cast<uint32_t>(INET_SECURITY_FLAG_SECURE) : 0u);
    return true;
}

bool CHttpRequest::SetOptionText(uint32_t nOption, const std::u16string& value)
{
    if (nOption == INET_OPTION_URL)
        return FailInternet(INET_ERROR_OPTION_NOT_SETTABLE);
    return VInternetFile::SetOptionText(nOption, value);
}

bool CHttpRequest::QueryOptionText(uint32_t nOption, std::u16string& value)
{
    if (nOption != INET_OPTION_URL)
        return VInternetFile::QueryOptionText(nOption, value);
    value = Utf16FromUtf8(m_strEffectiveUrl.empty() ? Url() : m_strEffectiveUrl);
    return true;
}

void CHttpRequest::Cancel()
{
    m_Transfer.Cancel();
}

}  // namespace zu::platform
