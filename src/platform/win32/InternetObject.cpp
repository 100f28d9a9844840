#include "platform/win32/InternetObject.h"

#include "platform/Internet.h"
#include "platform/win32/InternetErrors.h"
#include "platform/win32/Wide.h"

#include <algorithm>
#include <vector>

namespace zu::platform {
namespace {

// The reply number is where the reply's last line begins ("550 No such file").
uint32_t ReplyCode(const std::u16string& text, uint32_t nFallback)
{
    size_t nLine = text.find_last_not_of(u"\r\n");
    nLine = nLine == std::u16string::npos ? 0 : text.find_last_of(u'\n', nLine);
    nLine = nLine == std::u16string::npos ? 0 : nLine + 1;
    uint32_t nCode = 0;
    size_t nDigits = 0;
    for (; nLine + nDigits < text.size() && nDigits < 3; ++nDigits) {
        const char16_t c = text[nLine + nDigits];
        if (c < u'0' || c > u'9')
            break;
        nCode = nCode * 10 + static_cast<uint32_t>(c - u'0');
    }
    return nDigits == 3 ? nCode : nFallback;
}

// Every line ending "\r\n", as the server sent them (Wine drops the last line's end).
std::u16string WithLineEnds(const std::u16string& text)
{
    std::u16string result;
    size_t nStart = 0;
    while (nStart < text.size()) {
        size_t nEnd = text.find_first_of(u"\r\n", nStart);
        if (nEnd == std::u16string::npos)
            nEnd = text.size();
        if (nEnd > nStart)
            result += text.substr(nStart, nEnd - nStart) + u"\r\n";
        nStart = nEnd + 1;
    }
    return result;
}

// The options the seam defines; the system is not asked about any other.
bool IsSeamOption(uint32_t nOption)
{
    switch (nOption) {
    case INET_OPTION_CONNECT_TIMEOUT:
    case INET_OPTION_SEND_TIMEOUT:
    case INET_OPTION_RECEIVE_TIMEOUT:
    case INET_OPTION_DATA_SEND_TIMEOUT:
    case INET_OPTION_DATA_RECEIVE_TIMEOUT:
    case INET_OPTION_LISTEN_TIMEOUT:
    case INET_OPTION_USERNAME:
    case INET_OPTION_PASSWORD:
    case INET_OPTION_SECURITY_FLAGS:
    case INET_OPTION_URL:
    case INET_OPTION_PROXY_USERNAME:
    case INET_OPTION_PROXY_PASSWORD:
    case INET_OPTION_MAX_CONNS_PER_SERVER:
        return true;
    default:
        return false;
    }
}

// The server's last reply to this thread, as WinINet keeps it.
void TakeThreadReply(CCallOutcome& outcome)
{
    std::vector<wchar_t> buffer(1024);
    DWORD nError = 0;
    DWORD nLength = static_cast<DWORD>(buffer.size());
    while (!InternetGetLastResponseInfoW(&nError, buffer.data(), &nLength)) {
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER)
            return;
        buffer.assign(nLength + 1, L'\0');
        nLength = static_cast<DWORD>(buffer.size());
    }
    const auto* pText = reinterpret_cast<const char16_t*>(buffer.data());
    const char16_t* pEnd = std::find(pText, pText + std::min<size_t>(nLength, buffer.size()), u'\0');
    outcome.reply = WithLineEnds(std::u16string(pText, pEnd));
    outcome.nReplyCode = outcome.reply.empty() ? 0 : ReplyCode(outcome.reply, nError);
    outcome.bReply = true;
}

}  // namespace

CCallOutcome::~CCallOutcome()
{
    if (hMade)
        InternetCloseHandle(hMade);
}

HINTERNET CCallOutcome::TakeHandle()
{
    HINTERNET h = hMade;
    hMade = nullptr;
    return h;
}

CInternetObject::CInternetObject(EInternetObjectType type, HINTERNET hInternet, bool bFtp,
                                 const CInternetObject* pParent)
    : m_Type(type), m_bFtp(bFtp), m_hInternet(hInternet)
{
    if (pParent) {
        std::lock_guard<std::mutex> lock(pParent->m_OptionLock);
        m_Numbers = pParent->m_Numbers;
        m_Texts = pParent->m_Texts;
    }
    if (hInternet)
        ApplyRecordedOptions(hInternet);
}

CInternetObject::~CInternetObject()
{
    CloseHandleNow();
}

void CInternetObject::Adopt(HINTERNET h)
{
    if (h)
        ApplyRecordedOptions(h);
    HINTERNET hPrevious = m_hInternet.exchange(h);
    if (hPrevious)
        InternetCloseHandle(hPrevious);
    // A close that came meanwhile found the old handle or none; this one is closed here.
    if (IsCancelled())
        CloseHandleNow();
}

bool CInternetObject::CloseHandleNow()
{
    HINTERNET h = Release();
    return !h || InternetCloseHandle(h) || FailWithSystemError();
}

void CInternetObject::Cancel()
{
    m_Calls.Cancel();
    CloseHandleNow();
}

std::shared_ptr<CCallOutcome> CInternetObject::Call(CBlockingCall call, bool bFtpReply)
{
    auto pOutcome = std::make_shared<CCallOutcome>();
    const bool bReturned = m_Calls.Run([pOutcome, call = std::move(call), bFtpReply] {
        pOutcome->bOk = call(*pOutcome);
        pOutcome->nError = pOutcome->bOk ? 0 : GetLastError();
        if (bFtpReply)
            TakeThreadReply(*pOutcome);
    });
    if (!bReturned) {
        FailInternet(INET_ERROR_OPERATION_CANCELLED);
        return nullptr;
    }
    if (pOutcome->bReply)
        SetLastFtpReply(pOutcome->nReplyCode, pOutcome->reply);
    return pOutcome;
}

bool CInternetObject::Succeeded(const std::shared_ptr<CCallOutcome>& pOutcome) const
{
    if (!pOutcome)
        return false;
    if (pOutcome->bOk)
        return true;
    // Whatever a call that a close cut short reports, the caller hears why it ended.
    return FailInternet(IsCancelled() ? static_cast<uint32_t>(INET_ERROR_OPERATION_CANCELLED)
                                      : InternetErrorFromSystem(pOutcome->nError));
}

bool CInternetObject::SetOption(uint32_t nOption, uint32_t nValue)
{
    if (!IsInternetTimeoutOption(nOption))
        return SetNumberOption(Handle(), nOption, nValue);
    {
        std::lock_guard<std::mutex> lock(m_OptionLock);
        m_Numbers[nOption] = nValue;
    }
    if (HINTERNET h = Handle())
        SetNumberOption(h, nOption, nValue);
    return true;
}

bool CInternetObject::QueryOption(uint32_t nOption, uint32_t& nValue) const
{
    {
        std::lock_guard<std::mutex> lock(m_OptionLock);
        const auto found = m_Numbers.find(nOption);
        if (found != m_Numbers.end()) {
            nValue = found->second;
            return true;
        }
    }
    return QueryNumberOption(Handle(), nOption, nValue);
}

bool CInternetObject::SetOptionText(uint32_t nOption, const std::u16string& value)
{
    if (!IsInternetCredentialOption(nOption))
        return SetTextOption(Handle(), nOption, value);
    {
        std::lock_guard<std::mutex> lock(m_OptionLock);
        m_Texts[nOption] = value;
    }
    if (HINTERNET h = Handle())
        SetTextOption(h, nOption, value);
    return true;
}

bool CInternetObject::QueryOptionText(uint32_t nOption, std::u16string& value) const
{
    // The system's answer first: a credential dialog may have changed what it holds.
    if (QueryTextOption(Handle(), nOption, value))
        return true;
    std::lock_guard<std::mutex> lock(m_OptionLock);
    const auto found = m_Texts.find(nOption);
    if (found == m_Texts.end())
        return false;
    value = found->second;
    return true;
}

void CInternetObject::ApplyRecordedOptions(HINTERNET h) const
{
    std::lock_guard<std::mutex> lock(m_OptionLock);
    for (const auto& number : m_Numbers)
        SetNumberOption(h, number.first, number.second);
    for (const auto& text : m_Texts)
        SetTextOption(h, text.first, text.second);
}

bool CInternetObject::SetNumberOption(HINTERNET h, uint32_t nOption, uint32_t nValue)
{
    if (!IsSeamOption(nOption))
        return FailInternet(INET_ERROR_INVALID_OPTION);
    DWORD nSystemValue = nValue;
    return InternetSetOptionW(h, nOption, &nSystemValue, sizeof(nSystemValue)) || FailWithSystemError();
}

bool CInternetObject::QueryNumberOption(HINTERNET h, uint32_t nOption, uint32_t& nValue)
{
    if (!IsSeamOption(nOption))
        return FailInternet(INET_ERROR_INVALID_OPTION);
    DWORD nSystemValue = 0;
    DWORD nLength = sizeof(nSystemValue);
    if (!InternetQueryOptionW(h, nOption, &nSystemValue, &nLength))
        return FailWithSystemError();
    nValue = nSystemValue;
    return true;
}

bool CInternetObject::SetTextOption(HINTERNET h, uint32_t nOption, const std::u16string& value)
{
    if (!IsSeamOption(nOption))
        return FailInternet(INET_ERROR_INVALID_OPTION);
    std::u16string text = value;  // the system takes a writable buffer
    return InternetSetOptionW(h, nOption, &text[0], static_cast<DWORD>(text.size())) || FailWithSystemError();
}

bool CInternetObject::QueryTextOption(HINTERNET h, uint32_t nOption, std::u16string& value)
{
    if (!IsSeamOption(nOption))
        return FailInternet(INET_ERROR_INVALID_OPTION);
    std::vector<wchar_t> buffer(256);
    for (;;) {
        DWORD nLength = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
        if (InternetQueryOptionW(h, nOption, buffer.data(), &nLength)) {
            buffer.push_back(L'\0');
            value = FromWide(buffer.data());
            return true;
        }
        const DWORD nError = GetLastError();
        if (nError != ERROR_INSUFFICIENT_BUFFER)
            return FailInternet(InternetErrorFromSystem(nError));
        // The size asked for is in bytes; a larger buffer than needed does no harm.
        buffer.assign(std::max<size_t>(nLength / sizeof(wchar_t) + 1, buffer.size() * 2), L'\0');
    }
}

bool CInternetObject::FailWithSystemError()
{
    return FailInternet(InternetErrorFromSystem(GetLastError()));
}

}  // namespace zu::platform
