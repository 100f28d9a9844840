#include "net/InternetReader.h"

#include "core/FunctionLog.h"
#include "core/Url.h"
#include "host/Base64.h"
#include "host/HostCallbacks.h"
#include "core/DecimalText.h"
#include "net/RedirectTarget.h"
#include "net/RequestText.h"
#include "net/ResponseHeaders.h"
#include "net/StoredCredentials.h"
#include "platform/HttpRange.h"
#include "platform/SharedSection.h"
#include "platform/SystemString.h"
#include "platform/System.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "platform/UrlCracker.h"

#include <algorithm>
#include <exception>

using namespace zu;
using namespace zu::host;
using namespace zu::platform;

const char16_t* const CInternetReader::kFlashVideoHost = u"youtube.com";

namespace {

constexpr uint32_t kDefaultTimeoutMs = 10000;
constexpr uint32_t kMaxConnectionsPerServer = 65535;
const char16_t kDefaultUserAgent[] = u"Orvane Internet Reader/2.0 (compatible; Windows-Media-Player/10)";

// The session's time-outs, every one set to the reader's, in this order.
constexpr uint32_t kTimeoutOptions[] = {
    INET_OPTION_CONNECT_TIMEOUT,      INET_OPTION_SEND_TIMEOUT,         INET_OPTION_DATA_SEND_TIMEOUT,
    INET_OPTION_RECEIVE_TIMEOUT,      INET_OPTION_DATA_RECEIVE_TIMEOUT, INET_OPTION_LISTEN_TIMEOUT,
};

// Redirects, authentication and prompts are the reader's own business, judged pass by pass.
constexpr uint32_t kRequestFlags = INET_FLAG_NO_UI | INET_FLAG_NO_AUTO_REDIRECT | INET_FLAG_KEEP_CONNECTION;
constexpr uint32_t kAddOrReplace = INET_ADDREQ_FLAG_ADD | INET_ADDREQ_FLAG_REPLACE;
constexpr uint32_t kCredentialDialogFlags =
    INET_ERROR_UI_FILTER_FOR_ERRORS | INET_ERROR_UI_FLAGS_CHANGE_OPTIONS | INET_ERROR_UI_FLAGS_GENERATE_DATA;

// The shared cookie section: 4 bytes the reader does not use, then a zero-terminated UTF-16 text.
constexpr size_t kCookieSectionBytes = 1028;
constexpr size_t kCookieOffset = 4;

constexpr size_t kFtpReplyCharacters = 1024;
// How often a client waiting on the worker looks again while the host's prompt is up.
constexpr uint32_t kPromptPollMs = 20;
constexpr uint32_t kWaitTimedOut = 258;
constexpr size_t kBase64LineLength = 64;
const char16_t kIntegrityHeader[] = u"X-MusicNet-IntegrityCheck:";
// The value starts after the header's name and the blank that follows it.
constexpr size_t kIntegrityValueOffset = 27;

bool StartsWithNoCase(const std::u16string& text, const std::u16string& prefix)
{
    if (text.size() < prefix.size())
        return false;
    for (size_t i = 0; i < prefix.size(); ++i) {
        char16_t c = text[i];
        if (c >= u'A' && c <= u'Z')
            c = static_cast<char16_t>(c - u'A' + u'a');
        if (c != prefix[i])
            return false;
    }
    return true;
}

// Streaming and media-server addresses are served over plain HTTP.
std::u16string NormalizedURL(const ZUCHAR* pszURL)
{
    std::u16string url = pszURL ? reinterpret_cast<const char16_t*>(pszURL) : u"";
    for (const std::u16string prefix : {u"m01p://", u"mms://", u"rtsp://"}) {
        if (StartsWithNoCase(url, prefix))
            url = u"http://" + url.substr(prefix.size());
    }
    return url;
}

// Another component of the application leaves the cookie for a URL in a section named by it.
std::u16string SharedCookie(const std::u16string& url)
{
    CSharedSection section;
    // Opened, not created: a section nobody wrote holds no cookie, and where sections outlive
    // their users a created one would be left behind for every URL ever opened.
    if (!section.Open(url, kCookieSectionBytes, false))
        return std::u16string();
    const auto* pText =
        reinterpret_cast<const char16_t*>(static_cast<const unsigned char*>(section.Data()) + kCookieOffset);
    const size_t nMaxLength = (kCookieSectionBytes - kCookieOffset) / sizeof(char16_t);
    size_t nLength = 0;
    while (nLength < nMaxLength && pText[nLength] != 0)
        ++nLength;
    return std::u16string(pText, nLength);
}

std::u16string BasicCredentials(const std::u16string& user, const std::u16string& password)
{
    const std::string encoded = CBase64::Encode(AnsiFromUtf16(user + u":" + password), kBase64LineLength);
    return std::u16string(encoded.begin(), encoded.end());
}

// The length a server gives in its integrity-check header when its Content-Length says 0.
bool IntegrityCheckLength(const std::u16string& headers, int64_t& nLength)
{
    size_t start = 0;
    while (start < headers.size()) {
        size_t end = headers.find(u"\r\n", start);
        if (end == std::u16string::npos)
            end = headers.size();
        const std::u16string line = headers.substr(start, end - start);
        if (line.find(kIntegrityHeader) != std::u16string::npos) {
            nLength = CDecimalText::ToInt64(line.size() > kIntegrityValueOffset ? line.substr(kIntegrityValueOffset)
                                                                                 : std::u16string());
            return true;
        }
        start = end + 2;
    }
    return false;
}

}  // namespace

CInternetReader::CInternetReader(const ZUCHAR* pszURL)
    : m_Worker([this] { return Thread(); }), m_strURL(NormalizedURL(pszURL))
{
    m_nType = ZU_READER_INTERNET;
    m_nTimeout = kDefaultTimeoutMs;
    m_Worker.SetStopTimeout(kWorkerStopTimeoutMs);
}

CInternetReader::~CInternetReader()
{
    Close();
    m_Worker.Stop(kWorkerStopTimeoutMs);
}

ZUBOOL CInternetReader::Open()
try {
    CFunctionLog log(LOG_READER, u"CInternetReader::Open");
    if (m_bOpen)
        return 1;
    log.Log(u"Opening %s", ShownURL());
    const std::u16string proxy = GetOption(u"CONNECT_PROXY");
    const std::u16string bypass = GetOption(u"CONNECT_PROXYBYPASS");
    std::u16string userAgent = GetOption(u"USER_AGENT");
    if (userAgent.empty())
        userAgent = kDefaultUserAgent;
    m_bSucceedOnError = m_Options.count(u"SUCCEED_ON_ERROR") != 0 ? 1 : 0;
    m_bTimedOut = 0;
    // A cancel ends one transfer, not the reader: opened again, it may reconnect again.
    m_bCancelled.store(false, std::memory_order_release);
    m_bConnectError = 0;
    m_nFailureError = 0;
    m_bRangeRequest = 0;
    m_bLengthKnown = 0;
    m_bLengthEstimated = false;
    m_nLength = 0;
    m_bReconnect = GetOption(u"RECONNECT") == u"1";
    m_nBodyBase = 0;
    m_nResumeAt = -1;
    m_pIcyPhase.reset();
    m_nIcyDrop = 0;
    m_nIcyPad = 0;
    const std::u16string unsafe = UnsafeRequestText();
    if (!unsafe.empty()) {
        log.Log(u"Refused: %s would put lines of its own into the request", unsafe);
        Refuse(Format(u"The request was not sent: %s holds a line break, a NUL or other text a request cannot carry.",
                      unsafe));
        return 0;
    }
    m_strStartURL = URL();
    m_bForeignSite = false;
    m_bDowngraded = false;
    m_nPromptMs = 0;

    SetInternetOption(nullptr, INET_OPTION_MAX_CONNS_PER_SERVER, kMaxConnectionsPerServer);
    // The preconfigured access type applies the system's proxy settings and ignores the lists
    // given here, so a proxy the caller names takes effect only with the proxy access type.
    const uint32_t nAccessType = proxy.empty() ? INET_OPEN_TYPE_PRECONFIG : INET_OPEN_TYPE_PROXY;
    m_hInternet.Reset(OpenInternetSession(userAgent, nAccessType, proxy, bypass, 0));
    if (!m_hInternet.IsOpen()) {
        const uint32_t nError = InternetLastError();
        log.Log(u"InternetOpen() failed. URL=%s", ShownURL());
        Fail(nError);
        return 0;
    }
    m_bOpen = 1;
    for (uint32_t nOption : kTimeoutOptions)
        SetInternetOption(m_hInternet.Get(), nOption, m_nTimeout);

    if (m_Worker.Start(PRIORITY_NORMAL, 0))
        WaitForWorker();
    else
        m_bConnectError = 1;

    // The session's time-outs are the reader's own, so a silent server may be noticed by the
    // worker a moment before the wait ends: both are the same time-out.
    if (m_Worker.IsRunning() || (m_bConnectError && m_nFailureError == INET_ERROR_TIMEOUT)) {
        m_bTimedOut = 1;
        log.Log(u"ConnectToURL failed, timed out (%d ms), URL=%s", static_cast<int>(m_nTimeout), ShownURL());
        Close();
        StoreStatus(CInternetStatus::TimedOut());
    } else if (m_bConnectError) {
        log.Log(u"ConnectToURL failed, m_bConnectError=TRUE, URL=%s", ShownURL());
        Close();
    } else {
        m_Worker.Stop(kWorkerStopTimeoutMs);  // it has ended; this only lets go of it
        FollowIcyPhase();
    }
    return m_bOpen;
} catch (const std::exception&) {
    return 0;
}

// Everything the caller hands over that goes on the wire as text; the first that could add lines
// of its own to the request, empty when there is none.
std::u16string CInternetReader::UnsafeRequestText() const
{
    if (!CRequestText::IsOneLine(URL()))
        return u"the URL";
    for (const char16_t* pszKey : {u"USER_AGENT", u"AUTH_USERNAME", u"AUTH_PASSWORD", u"RANGE_START"}) {
        if (!CRequestText::IsOneLine(GetOption(pszKey)))
            return pszKey;
    }
    const std::u16string verb = GetOption(u"HTTPREQUEST_TYPE");
    if (!verb.empty() && !CRequestText::IsToken(verb))
        return u"HTTPREQUEST_TYPE";
    // The finish goes into the range header as it stands.
    if (!CRequestText::IsDigits(GetOption(u"RANGE_FINISH"), true))
        return u"RANGE_FINISH";
    const std::u16string headers = GetOption(u"INFO_HEADERS");
    if (!headers.empty() && !CRequestText::IsHeaderLines(headers))
        return u"INFO_HEADERS";
    return std::u16string();
}

// Waits for the worker up to the time-out. The host's credential prompt stops the clock: a user
// may take longer to answer than a server may.
void CInternetReader::WaitForWorker()
{
    const uint32_t nStart = TickCount();
    for (;;) {
        if (m_bPrompting) {
            if (m_Worker.WaitForStopOrExit(kPromptPollMs) != kWaitTimedOut)
                return;
            continue;
        }
        const uint32_t nElapsed = TickCount() - nStart;
        const uint32_t nPrompted = m_nPromptMs;
        const uint32_t nSpent = nElapsed > nPrompted ? nElapsed - nPrompted : 0;
        if (nSpent >= m_nTimeout || m_Worker.WaitForStopOrExit(m_nTimeout - nSpent) != kWaitTimedOut)
            return;
        if (!m_bPrompting && m_nPromptMs == nPrompted)
            return;
    }
}

// A prompt is answered by the user, never cut off by killing the worker that asked.
void CInternetReader::WaitForPrompt() const
{
    while (m_bPrompting)
        SleepMilliseconds(kPromptPollMs);
}

void CInternetReader::Close()
{
    CFunctionLog log(LOG_READER, u"CInternetReader::Close");
    if (!m_bOpen)
        return;
    m_bOpen = 0;
    m_bConnectError = 0;
    // Asked first, so that a worker whose call the closing handles cut short sees it at once.
    m_Worker.SetStopRequest(1);
    CloseConnectionHandles();
    WaitForPrompt();
    m_Worker.Stop(kWorkerStopTimeoutMs);
    // A worker that was between two passes may have opened new ones meanwhile.
    CloseConnectionHandles();
    if (!m_hInternet.Close())
        log.Log(u"InternetCloseHandle on m_hInternet returns error %u", InternetLastError());
}

void CInternetReader::CancelTransfer()
{
    m_bCancelled.store(true, std::memory_order_release);
    m_hRequest.Close();
}

bool CInternetReader::CloseConnectionHandles()
{
    CFunctionLog log(LOG_READER, u"CInternetReader::CloseConnectionHandles");
    if (!m_hRequest.Close())
        log.Log(u"InternetCloseHandle on m_hRequest returns error %u", InternetLastError());
    if (!m_hConnect.Close())
        log.Log(u"InternetCloseHandle on m_hConnect returns error %u", InternetLastError());
    return true;
}

int32_t CInternetReader::Thread()
{
    CFunctionLog log(LOG_READER, u"CInternetReader::Thread");
    if (!Connect()) {
        m_bConnectError = 1;
        return 0;
    }
    bool bDone = false;
    if (m_nScheme == URL_SCHEME_HTTP || m_nScheme == URL_SCHEME_HTTPS) {
        bDone = DownloadFromHTTPURL();
    } else if (m_nScheme == URL_SCHEME_FTP) {
        bDone = DownloadFromFTPURL();
    } else {
        log.Log(u"failed, unknown protocol.");
        Fail(INET_ERROR_UNRECOGNIZED_SCHEME);
    }
    if (!bDone)
        m_bConnectError = 1;
    return m_bConnectError ? 0 : 1;
}

bool CInternetReader::Connect()
{
    CFunctionLog log(LOG_READER, u"CInternetReader::Connect");
    m_hConnect.Close();
    const CUrl url(URL());
    if (!AnalyzeURL(url)) {
        log.Log(u"Failed, can't parse URL");
        m_bConnectError = 1;
        return Fail(INET_ERROR_INVALID_URL);
    }
    LoadCredentials(url);
    // HTTP credentials travel in the reader's own Authorization header.
    const bool bFtp = m_nScheme == URL_SCHEME_FTP;
    const bool bLogIn = bFtp && !m_strUser.empty() && !m_strPassword.empty();
    m_hConnect.Reset(ConnectInternet(m_hInternet.Get(), url.GetHost(), url.GetPort(), bLogIn ? m_strUser : u"",
                                     bLogIn ? m_strPassword : u"", bFtp ? INET_SERVICE_FTP : INET_SERVICE_HTTP,
                                     bFtp ? static_cast<uint32_t>(INET_FLAG_PASSIVE) : 0u));
    if (!m_hConnect.IsOpen()) {
        const uint32_t nError = InternetLastError();
        log.Log(u"Failed to connect, InternetConnect(...) returns error %u", nError);
        m_bConnectError = 1;
        Fail(nError);
    }
    return m_hConnect.IsOpen();
}

bool CInternetReader::AnalyzeURL(const CUrl& url)
{
    CFunctionLog log(LOG_READER, u"CInternetReader::AnalyzeURL");
    if (!url.IsValid())
        return false;
    m_strSite = Format(u"%s:%d", url.GetHost(), static_cast<unsigned>(url.GetPort()));
    const std::u16string path = url.GetPath();
    m_strObject = (path.empty() ? path : path.substr(1)) + url.GetExtra();
    m_nScheme = static_cast<uint32_t>(url.GetSchemeNumber());
    return true;
}

// Options first, then the URL, then what the user entered for this site before. The caller's pair
// is meant for the site it named, so a redirect to another site sends only what that site's own
// address or entry holds; once a secure chain has led to plain text, no site credentials go at all.
void CInternetReader::LoadCredentials(const CUrl& url)
{
    m_strUser.clear();
    m_strPassword.clear();
    m_strProxyUser.clear();
    m_strProxyPassword.clear();
    if (!m_bDowngraded) {
        if (!m_bForeignSite && m_Options.count(u"AUTH_USERNAME"))
            m_strUser = GetOption(u"AUTH_USERNAME");
        if (!m_bForeignSite && m_Options.count(u"AUTH_PASSWORD"))
            m_strPassword = GetOption(u"AUTH_PASSWORD");
        if ((m_strUser.empty() || m_strPassword.empty()) && !url.GetUser().empty() && !url.GetPassword().empty()) {
            m_strUser = url.GetUser();
            m_strPassword = url.GetPassword();
        }
        if (!m_strUser.empty() && !m_strPassword.empty())
            return;
        CStoredCredentials::LoadSite(m_strSite, m_strUser, m_strPassword);
    }
    CStoredCredentials::LoadProxy(m_strSite, m_strProxyUser, m_strProxyPassword);
}

// Only the schemes the reader speaks are followed; what the caller meant for its own site stays
// there (see LoadCredentials and CookieForThisSite).
bool CInternetReader::FollowRedirect(const std::u16string& target)
{
    CFunctionLog log(LOG_READER, u"CInternetReader::FollowRedirect");
    const CUrl to(target);
    if (!CRedirectTarget::IsFollowable(to) || !CRequestText::IsOneLine(target)) {
        log.Log(u"Refused to follow the redirect to %s", CUrl::WithoutPassword(target));
        return Refuse(u"The server redirected to an address that is not followed: only http, https and ftp are.");
    }
    m_bDowngraded = m_bDowngraded || CRedirectTarget::IsDowngrade(CUrl(URL()), to);
    m_bForeignSite = !CRedirectTarget::IsSameSite(CUrl(m_strStartURL), to);
    SetURL(target);
    if (Connect())
        return true;
    log.Log(u"Failed to connect to redirect URL");
    return false;
}

std::u16string CInternetReader::CookieForThisSite(const CRequestPlan& plan) const
{
    return m_bForeignSite ? std::u16string() : plan.cookie;
}

bool CInternetReader::DownloadFromHTTPURL()
{
    CFunctionLog log(LOG_READER, u"CInternetReader::DownloadFromHTTPURL");
    CRequestPlan plan = PlanRequest();
    if (!CRequestText::IsOneLine(plan.cookie)) {
        log.Log(u"Refused: the shared cookie would put lines of its own into the request");
        return Refuse(u"The request was not sent: the shared cookie holds a line break or a NUL.");
    }
    for (;;) {
        // Servers may redirect for ever; Close must still be able to end the worker.
        if (m_Worker.IsStopRequested())
            return Fail(INET_ERROR_OPERATION_CANCELLED);
        if (!OpenRequest(plan, log) || !AddRequestHeaders(plan, log))
            return false;
        bool bRepeat = false;
        uint32_t nSendError = 0;
        const bool bSent = SendRequest(plan, bRepeat, nSendError, log);
        if (bSent)
            StoreStatus(CInternetStatus::Describe(m_hRequest.Get(), true, nSendError));
        else
            Fail(nSendError);
        CVerdict verdict = bSent ? JudgeStatus(plan) : CVerdict();
        if (bRepeat || verdict.bRepeat) {
            log.Log(u"Retry needed, trying again...");
            m_hRequest.Close();
            if (!verdict.redirectTarget.empty() && !FollowRedirect(verdict.redirectTarget))
                return false;
            continue;
        }
        if (!verdict.bOk) {
            log.Log(u"Failed (header status code: %d)", Status().Code());
            if (!m_bSucceedOnError)
                return false;
        }
        TakeResponseLength();
        log.Log(u"Success");
        return true;
    }
}

CInternetReader::CRequestPlan CInternetReader::PlanRequest() const
{
    CRequestPlan plan;
    plan.verb = GetOption(u"HTTPREQUEST_TYPE");
    if (plan.verb.empty())
        plan.verb = u"GET";
    if (!GetOptionFlag(u"NO_COOKIE"))
        plan.cookie = SharedCookie(URL());
    plan.nReloadFlag = GetOptionFlag(u"USE_CACHE") ? 0u : static_cast<uint32_t>(INET_FLAG_RELOAD);
    plan.nNeedFileFlag = m_nScheme == URL_SCHEME_HTTPS ? 0u : static_cast<uint32_t>(INET_FLAG_NEED_FILE);
    plan.extraHeaders = GetOption(u"INFO_HEADERS");
    plan.nRangeStart = RangeStartOption() + std::max<int64_t>(m_nResumeAt, 0);
    plan.rangeFinish = GetOption(u"RANGE_FINISH");
    return plan;
}

bool CInternetReader::OpenRequest(const CRequestPlan& plan, CFunctionLog& log)
{
    uint32_t nFlags = kRequestFlags | plan.nNeedFileFlag | plan.nReloadFlag;
    // The cookie the application handed over replaces whatever the session would send.
    if (!CookieForThisSite(plan).empty())
        nFlags |= INET_FLAG_NO_COOKIES;
    if (m_nScheme == URL_SCHEME_HTTPS)
        nFlags |= INET_FLAG_SECURE;
    m_hRequest.Reset(OpenHttpRequest(m_hConnect.Get(), plan.verb, m_strObject, u"HTTP/1.1", u"", u"*/*", nFlags));
    if (m_hRequest.IsOpen())
        return true;
    const uint32_t nError = InternetLastError();
    log.Log(u"Failed, HttpOpenRequest returns error %u", nError);
    return Fail(nError);
}

bool CInternetReader::AddHeader(const std::u16string& header, const char16_t* pszFailure, CFunctionLog& log)
{
    if (AddHttpRequestHeaders(m_hRequest.Get(), header, kAddOrReplace))
        return true;
    const uint32_t nError = InternetLastError();
    log.Log(pszFailure, nError);
    return Fail(nError);
}

bool CInternetReader::AddRequestHeaders(const CRequestPlan& plan, CFunctionLog& log)
{
    if (!plan.extraHeaders.empty() &&
        !AddHeader(plan.extraHeaders, u"Failed, HttpAddRequestHeaders returns error %u", log))
        return false;
    if (URL().find(kFlashVideoHost) != std::u16string::npos)
        AddHttpRequestHeaders(m_hRequest.Get(), u"x-flash-version: 10,0,22,87\r\n", kAddOrReplace);
    const std::u16string cookie = CookieForThisSite(plan);
    if (!cookie.empty() &&
        !AddHeader(u"Cookie: " + cookie + u"\r\n", u"Failed adding cookies, HttpAddRequestHeaders returns error %u", log))
        return false;
    if (!m_strUser.empty() && !m_strPassword.empty() &&
        !AddHeader(u"Authorization: Basic " + BasicCredentials(m_strUser, m_strPassword) + u"\r\n",
                   u"Failed adding username/password, HttpAddRequestHeaders returns error %u", log))
        return false;
    if (!m_strProxyUser.empty() && !m_strProxyPassword.empty() &&
        !AddHeader(u"Proxy-Authorization: Basic " + BasicCredentials(m_strProxyUser, m_strProxyPassword) +
                       u"\r\nProxy-Connection: Keep-Alive\r\n",
                   u"Failed adding username/password proxy, HttpAddRequestHeaders returns error %u", log))
        return false;
    if (plan.nRangeStart != 0) {
        m_bRangeRequest = 1;
        if (!AddHeader(Format(u"Range: bytes=%d-%s\r\n", plan.nRangeStart, plan.rangeFinish),
                       u"Failed adding range request headers, HttpAddRequestHeaders returns error %u", log))
            return false;
    }
    return true;
}

bool CInternetReader::SendRequest(CRequestPlan& plan, bool& bRepeat, uint32_t& nError, CFunctionLog& log)
{
    const InternetHandle hRequest = m_hRequest.Get();
    bool bSent = false;
    if (plan.verb == u"GET") {
        if (!AddHttpRequestHeaders(hRequest, u"Icy-MetaData: 1\r\n", kAddOrReplace))
            log.Log(u"Failed adding Icy-Metadata headers, HttpAddRequestHeaders returns error %u",
                    InternetLastError());
        bSent = SendHttpRequest(hRequest, u"", nullptr, 0);
    } else {
        bSent = SendHttpRequest(hRequest, u"", m_pPostData, m_nPostDataLength);
        // Only requests other than GET go on past a certificate from an unknown authority.
        if (!bSent && InternetLastError() == INET_ERROR_INVALID_CA) {
            uint32_t nSecurityFlags = 0;
            QueryInternetOption(hRequest, INET_OPTION_SECURITY_FLAGS, nSecurityFlags);
            SetInternetOption(hRequest, INET_OPTION_SECURITY_FLAGS,
                              nSecurityFlags | INET_SECURITY_FLAG_IGNORE_UNKNOWN_CA);
            bSent = SendHttpRequest(hRequest, u"", m_pPostData, m_nPostDataLength);
        }
    }
    nError = InternetLastError();
    if (!bSent) {
        log.Log(u"HttpSendRequest error: %d", static_cast<int>(nError));
        if (nError == INET_ERROR_UNABLE_TO_CACHE_FILE && plan.nNeedFileFlag != 0) {
            plan.nNeedFileFlag = 0;
            bRepeat = true;
        }
    }
    return bSent;
}

CInternetReader::CVerdict CInternetReader::JudgeStatus(CRequestPlan& plan)
{
    CVerdict verdict;
    const int32_t nCode = Status().Code();
    if (IsSuccessStatus(nCode)) {
        verdict.bOk = true;
        return verdict;
    }
    switch (nCode) {
    case 301:
    case 302:
    case 303: {
        const std::u16string location = CResponseHeaders::Lookup(m_hRequest.Get(), u"Location");
        if (!location.empty() && !GetOptionFlag(u"NO_REDIRECT")) {
            verdict.bRepeat = true;
            verdict.redirectTarget = CRedirectTarget::Resolve(URL(), location);
        }
        break;
    }
    case 401:
        verdict.bRepeat = AnswerAuthenticationChallenge();
        break;
    case 501:
        if (plan.verb == u"HEAD") {
            plan.verb = u"GET";
            verdict.bOk = true;
            verdict.bRepeat = true;
        }
        break;
    default:
        break;
    }
    return verdict;
}

// Whatever the user entered answers the next pass through the connection and is kept for the
// site's next time. The prompt's time is kept apart from the server's (see WaitForWorker).
bool CInternetReader::AnswerAuthenticationChallenge()
{
    m_bPrompting = true;
    const uint32_t nStart = TickCount();
    // Asked after the flag is up, so a Close either stops the prompt before it starts or waits for it.
    const bool bAnswered = !m_Worker.IsStopRequested() && AskForCredentials();
    m_nPromptMs += TickCount() - nStart;
    m_bPrompting = false;
    if (!bAnswered)
        return false;
    std::u16string enteredUser, enteredPassword;
    QueryInternetOptionText(m_hConnect.Get(), INET_OPTION_USERNAME, enteredUser);
    QueryInternetOptionText(m_hConnect.Get(), INET_OPTION_PASSWORD, enteredPassword);
    if (!enteredUser.empty() && !enteredPassword.empty()) {
        CStoredCredentials::SaveSite(m_strSite, enteredUser, enteredPassword);
        // The pair that was refused would otherwise go out again in the reader's own header.
        m_strUser = enteredUser;
        m_strPassword = enteredPassword;
    }
    m_hRequest.Close();
    return true;
}

// The host's prompt first; without a host, the system's own dialog.
bool CInternetReader::AskForCredentials()
{
    std::u16string user, password;
    switch (CHostCallbacks::PromptCredentials(m_strSite, ShownURL(), user, password)) {
    case EPromptAnswer::Cancelled:
        return false;
    case EPromptAnswer::Retry:
        SetInternetOptionText(m_hConnect.Get(), INET_OPTION_USERNAME, user);
        SetInternetOptionText(m_hConnect.Get(), INET_OPTION_PASSWORD, password);
        return true;
    case EPromptAnswer::NoHost:
        break;
    }
    return ShowInternetErrorDialog(m_hRequest.Get(), INET_ERROR_INCORRECT_PASSWORD, kCredentialDialogFlags) ==
           INET_ERROR_FORCE_RETRY;
}

void CInternetReader::TakeResponseLength()
{
    const std::u16string contentLength = CResponseHeaders::Lookup(m_hRequest.Get(), u"ContentLength");
    if (contentLength.empty()) {
        m_nLength = -1;
    } else {
        m_nLength = CDecimalText::ToInt64(contentLength);
        m_bLengthKnown = 1;
    }
    if (m_nLength == 0)
        m_bLengthEstimated = IntegrityCheckLength(CResponseHeaders::Lookup(m_hRequest.Get(), u"AllHeaders"), m_nLength);
}

bool CInternetReader::DownloadFromFTPURL()
{
    CFunctionLog log(LOG_READER, u"CInternetReader::DownloadFromFTPURL");
    SendFtpCommand(m_hConnect.Get(), u"TYPE I");
    // SIZE names the file from the server's root, the retrieval from the login folder.
    if (SendFtpCommand(m_hConnect.Get(), u"SIZE /" + m_strObject)) {
        uint32_t nReplyCode = 0;
        std::u16string reply;
        GetInternetLastResponse(nReplyCode, reply);
        reply.resize(std::min(reply.size(), kFtpReplyCharacters - 1));
        const size_t sizeReply = reply.find(u"213 ");
        if (sizeReply != std::u16string::npos)
            m_nLength = CDecimalText::ToInt64(reply.substr(sizeReply + 4));
    }
    m_hRequest.Reset(OpenFtpFile(m_hConnect.Get(), m_strObject, INET_GENERIC_READ, INET_FTP_TRANSFER_TYPE_BINARY));
    if (m_hRequest.IsOpen())
        return true;
    const uint32_t nError = InternetLastError();
    log.Log(u"failed, FtpOpenFile returns error %u", nError);
    return Fail(nError);
}

uint32_t CInternetReader::Read(void* pBuffer, uint32_t nCount)
try {
    CFunctionLog log(LOG_READER, u"CInternetReader::Read");
    if (!m_hRequest.IsOpen())
        return 0;
    if (m_bLengthKnown && m_nLength >= 0) {
        const int64_t nLeft = std::max<int64_t>(0, m_nLength - GetPosition());
        if (nLeft < nCount) {
            log.Log(u"nBytes was %u, capped at %d, m_nLength=%d", nCount, nLeft, m_nLength);
            nCount = static_cast<uint32_t>(nLeft);
        }
    }
    auto* pBytes = static_cast<unsigned char*>(pBuffer);
    uint32_t nTotal = 0;
    while (nTotal < nCount) {
        if (SpliceStep(pBytes + nTotal, nCount - nTotal, nTotal))
            continue;
        uint32_t nRead = 0;
        if (!ReadInternetFile(m_hRequest.Get(), pBytes + nTotal, nCount - nTotal, nRead)) {
            const uint32_t nError = InternetLastError();
            log.Log(u"InternetReadFile returned false, GetLastError=%d", static_cast<int>(nError));
            if (Reconnect())
                continue;
            Fail(nError);
            m_hRequest.Close();
            break;
        }
        if (nRead == 0) {
            log.Log(u"InternetReadFile returned true with zero bytes read: EOF");
            const bool bShort = m_bLengthKnown && !m_bLengthEstimated && m_nLength > 0 && GetPosition() < m_nLength;
            if ((bShort || !m_bLengthKnown) && Reconnect())
                continue;
            NoteEndOfData();
            break;
        }
        if (m_pIcyPhase)
            m_pIcyPhase->Pass(pBytes + nTotal, nRead);
        nTotal += nRead;
        if (nTotal < nCount)
            YieldThread();
    }
    return nTotal;
} catch (const std::exception&) {
    return 0;
}

// Asks again for what a broken transfer still owed, backing off between tries, for as long as
// the time-out allows. A resource of known length resumes at the first missing byte, and only an
// answer that starts there is taken; a live stream simply goes on from what the server sends now.
bool CInternetReader::Reconnect()
{
    CFunctionLog log(LOG_READER, u"CInternetReader::Reconnect");
    const bool bResume = m_bLengthKnown && !m_bLengthEstimated && m_nLength > 0;
    if (!m_bReconnect || !m_bOpen || m_nScheme == URL_SCHEME_FTP || (!bResume && !m_bLiveReconnect))
        return false;
    const int64_t nPosition = bResume ? GetPosition() : -1;
    const int64_t nLength = m_nLength;
    const uint32_t nStart = TickCount();
    uint32_t nWait = kFirstReconnectWaitMs;
    for (int nTry = 1; nTry <= kReconnectTries && !IsTransferCancelled(); ++nTry) {
        if (TickCount() - nStart + nWait > m_nTimeout)
            break;
        SleepMilliseconds(nWait);
        nWait = std::min(nWait * 2, kLastReconnectWaitMs);
        m_hRequest.Close();
        if (IsTransferCancelled())
            break;
        if (!RequestAgain(nPosition)) {
            // A server that answered, other than with a passing trouble of its own, will answer
            // the same again (a whole body for a range, say).
            const int32_t nCode = Status().Code();
            if (nCode >= 200 && nCode < 500)
                break;
            continue;
        }
        // A cancel that came while the new request was made must not leave it running.
        if (IsTransferCancelled())
            break;
        if (!bResume) {
            log.Log(u"Reconnected after %u ms (try %d); what the server sent meanwhile is lost", TickCount() - nStart,
                    nTry);
            if (m_pIcyPhase)
                m_pIcyPhase->Splice(m_nIcyDrop, m_nIcyPad);
            return true;
        }
        if (!AnswerStartsAt(RangeStartOption() + nPosition)) {
            log.Log(u"The server did not answer with the bytes from %I64d; not taken", nPosition);
            break;
        }
        m_nLength = nLength;
        m_nBodyBase = nPosition;
        log.Log(u"Resumed at %I64d of %I64d after %u ms (try %d)", nPosition, nLength, TickCount() - nStart, nTry);
        return true;
    }
    m_hRequest.Close();
    m_nLength = nLength;
    log.Log(u"Gave up after %u ms", TickCount() - nStart);
    return false;
}

// Only a stream that may be taken up again on a new connection needs its phase followed.
void CInternetReader::FollowIcyPhase()
{
    if (!m_bReconnect || !m_bLiveReconnect || m_bLengthKnown)
        return;
    const int32_t nInterval = CDecimalText::ToInt32(CResponseHeaders::Lookup(m_hRequest.Get(), u"icy-metaint"));
    if (nInterval > 0)
        m_pIcyPhase = std::make_unique<CIcyPhase>(static_cast<uint32_t>(nInterval));
}

bool CInternetReader::SpliceStep(unsigned char* pBytes, uint32_t nCount, uint32_t& nDone)
{
    if (m_nIcyPad > 0) {
        const uint32_t nPad = std::min(m_nIcyPad, nCount);
        std::fill(pBytes, pBytes + nPad, static_cast<unsigned char>(0));
        m_pIcyPhase->Pass(pBytes, nPad);
        m_nIcyPad -= nPad;
        nDone += nPad;
        return true;
    }
    if (m_nIcyDrop == 0)
        return false;
    // The dropped audio goes through the caller's own buffer, which is overwritten after.
    uint32_t nRead = 0;
    if (!ReadInternetFile(m_hRequest.Get(), pBytes, std::min(m_nIcyDrop, nCount), nRead) || nRead == 0) {
        m_nIcyDrop = 0;
        return false;
    }
    m_nIcyDrop -= nRead;
    return true;
}

// Runs the worker's request once more, from nResumeAt in the body (-1: as at Open).
bool CInternetReader::RequestAgain(int64_t nResumeAt)
{
    m_nResumeAt = nResumeAt;
    m_bConnectError = 0;
    m_nFailureError = 0;
    if (!m_Worker.Start(PRIORITY_NORMAL, 1))
        return false;
    WaitForWorker();
    if (m_Worker.IsRunning()) {
        m_Worker.SetStopRequest(1);
        CloseConnectionHandles();
        WaitForPrompt();
    }
    m_Worker.Stop(kWorkerStopTimeoutMs);
    return !m_bConnectError && m_hRequest.IsOpen();
}

bool CInternetReader::AnswerStartsAt(int64_t nFirst) const
{
    int64_t nGotFirst = -1;
    int64_t nGotLast = -1;
    const std::string range = Utf8FromUtf16(CResponseHeaders::Lookup(m_hRequest.Get(), u"Content-Range"));
    return ParseContentRange(range, nGotFirst, nGotLast) && nGotFirst == nFirst;
}

int64_t CInternetReader::RangeStartOption() const
{
    return CDecimalText::ToInt64(GetOption(u"RANGE_START"));
}

uint32_t CInternetReader::Write(const void*, uint32_t)
{
    return 0;
}

int64_t CInternetReader::GetLength()
{
    return m_nLength;
}

int64_t CInternetReader::GetPosition()
{
    CFunctionLog log(LOG_READER, u"CInternetReader::GetPosition");
    if (!m_bLengthKnown)
        return -1;
    const int64_t nPosition = SetInternetFilePointer(m_hRequest.Get(), 0, INET_FILE_CURRENT);
    return nPosition < 0 ? -1 : m_nBodyBase + nPosition;
}

int64_t CInternetReader::SetPosition(int64_t nOffset, uint32_t nOrigin)
{
    CFunctionLog log(LOG_READER, u"CInternetReader::SetPosition");
    if (!m_bLengthKnown)
        return -1;
    // After a resumed transfer the request's own positions start where it took up the body.
    const int64_t nDistance = nOrigin == ZU_SEEK_BEGIN ? nOffset - m_nBodyBase : nOffset;
    const int64_t nPosition = SetInternetFilePointer(m_hRequest.Get(), nDistance, nOrigin);
    return nPosition < 0 ? -1 : m_nBodyBase + nPosition;
}

ZUBOOL CInternetReader::SetEndOfFile()
{
    return 0;
}

ZUBOOL CInternetReader::IsLengthUnknown()
{
    return GetLength() < 1 ? 1 : 0;
}

ZUBOOL CInternetReader::IsRemote()
{
    return 1;
}

ZUBOOL CInternetReader::IsOpen()
{
    return m_bOpen;
}

ZUBOOL CInternetReader::IsReadOnly()
{
    return 1;
}

ZUBSTR CInternetReader::GetInfo(const ZUCHAR* pszName)
try {
    CFunctionLog log(LOG_READER, u"CInternetReader::GetInfo");
    const std::u16string name = pszName ? reinterpret_cast<const char16_t*>(pszName) : u"";
    std::u16string value;
    if (name == u"Location") {
        value = URL();
    } else if (name == u"Error") {
        const int32_t nCode = Status().Code();
        value = IsSuccessStatus(nCode) ? u"0" : nCode == CInternetStatus::kNoNetwork ? u"1" : nCode == 404 ? u"2" : u"3";
    } else if (name == u"StatusCode") {
        value = Format(u"%d", Status().Code());
    } else if (name == u"StatusText") {
        value = Status().Text();
    } else if (m_hRequest.IsOpen()) {
        value = CResponseHeaders::Lookup(m_hRequest.Get(), name);
    }
    return AllocSystemString(value);
} catch (const std::exception&) {
    return nullptr;
}

bool CInternetReader::IsSuccessStatus(int32_t nCode) const
{
    return nCode == (m_bRangeRequest ? 206 : 200);
}

// Records why the request failed, for GetInfo.
bool CInternetReader::Fail(uint32_t nError)
{
    m_nFailureError = nError;
    StoreStatus(CInternetStatus::Describe(nullptr, false, nError));
    return false;
}

// Records a request the reader itself would not send or follow.
bool CInternetReader::Refuse(const std::u16string& text)
{
    m_nFailureError = INET_ERROR_INVALID_PARAMETER;
    StoreStatus(CInternetStatus(CInternetStatus::kTransferFailed, text));
    return false;
}

// A body that ends before the length its server announced is a failed transfer, not an end.
void CInternetReader::NoteEndOfData()
{
    if (m_bLengthEstimated || m_nLength <= 0)
        return;
    const int64_t nPosition = GetPosition();
    if (nPosition < 0 || nPosition >= m_nLength)
        return;
    StoreStatus(CInternetStatus(CInternetStatus::kTransferFailed,
                                Format(u"The transfer ended after %d of the %d bytes announced.", nPosition, m_nLength)));
}

// Once Open has given up waiting, the time-out is the reason, whatever the worker meets after.
void CInternetReader::StoreStatus(const CInternetStatus& status)
{
    const CInternetStatus stored = m_bTimedOut ? CInternetStatus::TimedOut() : status;
    std::lock_guard<std::mutex> lock(m_Lock);
    m_nStatusCode = stored.Code();
    m_strStatusText = stored.Text();
}

CInternetStatus CInternetReader::Status() const
{
    std::lock_guard<std::mutex> lock(m_Lock);
    return CInternetStatus(m_nStatusCode, m_strStatusText);
}

std::u16string CInternetReader::URL() const
{
    std::lock_guard<std::mutex> lock(m_Lock);
    return m_strURL;
}

std::u16string CInternetReader::ShownURL() const
{
    return CUrl::WithoutPassword(URL());
}

void CInternetReader::SetURL(const std::u16string& url)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    m_strURL = url;
}
