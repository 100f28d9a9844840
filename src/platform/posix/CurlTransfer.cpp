#include "platform/posix/CurlTransfer.h"

#include "platform/Internet.h"
#include "platform/System.h"
#include "platform/posix/InternetErrors.h"

#include <algorithm>
#include <cstring>
#include <mutex>

namespace zu::platform {
namespace {

// Short enough that a Drive notices an interrupt even if a wake-up were lost.
constexpr uint32_t POLL_SLICE_MS = 500;
// Taken bytes are moved out of the buffer once this many have piled up in front.
constexpr size_t COMPACT_THRESHOLD = 64 * 1024;
constexpr size_t RECEIVE_CHUNK = 64 * 1024;

bool IsStatusLine(const std::string& line)
{
    return line.compare(0, 5, "HTTP/") == 0 || line.compare(0, 4, "ICY ") == 0;
}

bool IsReplyEnd(const std::string& line)
{
    return line.size() >= 4 && std::isdigit(static_cast<unsigned char>(line[0])) &&
           std::isdigit(static_cast<unsigned char>(line[1])) && std::isdigit(static_cast<unsigned char>(line[2])) &&
           line[3] == ' ';
}

}  // namespace

void InitializeCurl()
{
    static std::once_flag s_Once;
    std::call_once(s_Once, [] { curl_global_init(CURL_GLOBAL_ALL); });
}

CCurlTransfer::CCurlTransfer(bool bFtp) : m_bFtp(bFtp)
{
    InitializeCurl();
    m_pEasy = curl_easy_init();
    m_pMulti = curl_multi_init();
    if (IsValid())
        ResetOptions();
}

CCurlTransfer::~CCurlTransfer()
{
    Stop();
    if (m_pEasy)
        curl_easy_cleanup(m_pEasy);
    if (m_pMulti)
        curl_multi_cleanup(m_pMulti);
    curl_slist_free_all(m_pHeaderList);
    curl_slist_free_all(m_pQuoteList);
}

void CCurlTransfer::ResetOptions()
{
    Stop();
    curl_easy_reset(m_pEasy);
    SetHeaderList(nullptr);
    SetQuoteList(nullptr);
    m_nConnectLimitMs = 0;
    curl_easy_setopt(m_pEasy, CURLOPT_NOSIGNAL, 1L);
    // Fewer, larger hand-overs; the body buffer holds several of them.
    curl_easy_setopt(m_pEasy, CURLOPT_BUFFERSIZE, static_cast<long>(RECEIVE_CHUNK));
    curl_easy_setopt(m_pEasy, CURLOPT_WRITEFUNCTION, &CCurlTransfer::OnBody);
    curl_easy_setopt(m_pEasy, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(m_pEasy, CURLOPT_HEADERFUNCTION, &CCurlTransfer::OnHeader);
    curl_easy_setopt(m_pEasy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(m_pEasy, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(m_pEasy, CURLOPT_XFERINFOFUNCTION, &CCurlTransfer::OnProgress);
    curl_easy_setopt(m_pEasy, CURLOPT_XFERINFODATA, this);
    curl_easy_setopt(m_pEasy, CURLOPT_PREREQFUNCTION, &CCurlTransfer::OnRequestStart);
    curl_easy_setopt(m_pEasy, CURLOPT_PREREQDATA, this);
}

void CCurlTransfer::SetHeaderList(curl_slist* pList)
{
    curl_easy_setopt(m_pEasy, CURLOPT_HTTPHEADER, pList);
    curl_slist_free_all(m_pHeaderList);
    m_pHeaderList = pList;
}

void CCurlTransfer::SetQuoteList(curl_slist* pList)
{
    curl_easy_setopt(m_pEasy, CURLOPT_QUOTE, pList);
    curl_slist_free_all(m_pQuoteList);
    m_pQuoteList = pList;
}

void CCurlTransfer::SetConnectTimeout(uint32_t nMilliseconds)
{
    m_nConnectLimitMs = nMilliseconds;
    curl_easy_setopt(m_pEasy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(nMilliseconds));
}

void CCurlTransfer::SetFinalHeadTest(std::function<bool(const std::vector<std::string>&)> isFinalHead)
{
    m_IsFinalHead = std::move(isFinalHead);
}

bool CCurlTransfer::Start()
{
    Stop();
    m_bFinished = false;
    m_bRequestStarted = false;
    m_nResult = CURLE_OK;
    m_nProgress = 0;
    m_Body.clear();
    m_nBodyHead = 0;
    m_nTaken = 0;
    m_bPaused = false;
    m_CurrentHead.clear();
    m_Heads.clear();
    m_bFinalHead = false;
    m_strReplyLines.clear();
    m_strLastReply.clear();
    m_nLastReplyCode = 0;
    m_ReplyCodes.clear();
    Touch();
    if (curl_multi_add_handle(m_pMulti, m_pEasy) != CURLM_OK)
        return false;
    m_bStarted = true;
    return true;
}

void CCurlTransfer::Stop()
{
    if (!m_bStarted)
        return;
    curl_multi_remove_handle(m_pMulti, m_pEasy);
    m_bStarted = false;
    m_bPaused = false;
}

void CCurlTransfer::Abandon()
{
    Stop();
    m_Body.clear();
    m_nBodyHead = 0;
    m_nTaken = 0;
    m_bFinished = true;
    m_nResult = CURLE_OK;
}

uint32_t CCurlTransfer::ResultError() const
{
    long nVerifyResult = 0;
    curl_easy_getinfo(m_pEasy, CURLINFO_SSL_VERIFYRESULT, &nVerifyResult);
    return InternetErrorFromCurl(m_nResult, m_bFtp, nVerifyResult);
}

CCurlTransfer::EWait CCurlTransfer::Drive(const std::function<bool()>& isReady, uint32_t nIdleLimitMs)
{
    const uint32_t nInterrupts = m_nInterrupts.load();
    const uint32_t nWaitStart = TickCount();
    auto interrupted = [&] { return m_bCancelled.load() || m_nInterrupts.load() != nInterrupts; };
    for (;;) {
        if (interrupted())
            return EWait::CANCELLED;
        if (isReady())
            return EWait::READY;
        if (m_bFinished || !m_bStarted)
            return EWait::FINISHED;
        int nRunning = 0;
        if (curl_multi_perform(m_pMulti, &nRunning) != CURLM_OK) {
            m_bFinished = true;
            m_nResult = CURLE_OUT_OF_MEMORY;
        }
        CollectResult();
        if (interrupted())
            return EWait::CANCELLED;
        if (isReady() || m_bPaused)  // a full buffer is the caller's to empty
            return EWait::READY;
        if (m_bFinished)
            return EWait::FINISHED;

        uint32_t nLimit = nIdleLimitMs;
        if (nLimit != 0 && !m_bRequestStarted && m_nConnectLimitMs != 0)
            nLimit += m_nConnectLimitMs;
        const uint32_t nIdle = IdleMilliseconds(nWaitStart);
        if (nLimit != 0 && nIdle >= nLimit)
            return EWait::TIMED_OUT;
        const uint32_t nSlice = nLimit != 0 ? std::min(POLL_SLICE_MS, nLimit - nIdle) : POLL_SLICE_MS;
        curl_multi_poll(m_pMulti, nullptr, 0, static_cast<int>(std::max<uint32_t>(nSlice, 1)), nullptr);
    }
}

void CCurlTransfer::Interrupt()
{
    ++m_nInterrupts;
    curl_multi_wakeup(m_pMulti);
}

void CCurlTransfer::Cancel()
{
    m_bCancelled = true;
    curl_multi_wakeup(m_pMulti);
}

size_t CCurlTransfer::TakeBody(void* pBuffer, size_t nCount)
{
    const size_t nTaken = std::min(nCount, BufferedBytes());
    if (nTaken != 0)
        std::memcpy(pBuffer, m_Body.data() + m_nBodyHead, nTaken);
    return SkipBody(nTaken);
}

size_t CCurlTransfer::SkipBody(size_t nCount)
{
    const size_t nSkipped = std::min(nCount, BufferedBytes());
    m_nBodyHead += nSkipped;
    m_nTaken += static_cast<int64_t>(nSkipped);
    if (m_nBodyHead == m_Body.size()) {
        m_Body.clear();
        m_nBodyHead = 0;
    }
    ResumeIfRoom();
    return nSkipped;
}

bool CCurlTransfer::ReadBody(void* pBuffer, uint32_t nCount, uint32_t& nRead, uint32_t nIdleLimitMs,
                             uint32_t& nError)
{
    nRead = 0;
    if (nCount == 0)
        return true;
    for (;;) {
        if (BufferedBytes() != 0) {
            nRead = static_cast<uint32_t>(TakeBody(pBuffer, nCount));
            return true;
        }
        if (m_bFinished || !m_bStarted) {
            // A body shorter than announced ends like any other.
            if (!m_bStarted || m_nResult == CURLE_OK || m_nResult == CURLE_PARTIAL_FILE)
                return true;
            nError = ResultError();
            return false;
        }
        const EWait wait = Drive([this] { return BufferedBytes() != 0; }, nIdleLimitMs);
        if (wait == EWait::TIMED_OUT) {
            nError = INET_ERROR_TIMEOUT;
            return false;
        }
        if (wait == EWait::CANCELLED) {
            nError = INET_ERROR_OPERATION_CANCELLED;
            return false;
        }
    }
}

size_t CCurlTransfer::OnBody(char* pData, size_t nSize, size_t nCount, void* pThis)
{
    return static_cast<CCurlTransfer*>(pThis)->AcceptBody(pData, nSize * nCount);
}

size_t CCurlTransfer::AcceptBody(const char* pData, size_t nBytes)
{
    Touch();
    if (!m_bFtp && !m_bFinalHead)
        return nBytes;  // the body of a redirect being followed, or of an interim answer
    // An empty buffer takes any chunk, so a chunk larger than the buffer cannot stall the transfer.
    if (BufferedBytes() != 0 && BufferedBytes() + nBytes > BODY_CAPACITY) {
        m_bPaused = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    if (m_nBodyHead >= COMPACT_THRESHOLD) {
        m_Body.erase(m_Body.begin(), m_Body.begin() + static_cast<std::ptrdiff_t>(m_nBodyHead));
        m_nBodyHead = 0;
    }
    m_Body.insert(m_Body.end(), pData, pData + nBytes);
    return nBytes;
}

void CCurlTransfer::ResumeIfRoom()
{
    if (!m_bPaused || !m_bStarted || BufferedBytes() > BODY_CAPACITY / 2)
        return;
    m_bPaused = false;
    curl_easy_pause(m_pEasy, CURLPAUSE_CONT);  // may hand over held bytes at once, or pause anew
}

size_t CCurlTransfer::OnHeader(char* pData, size_t nSize, size_t nCount, void* pThis)
{
    auto* pTransfer = static_cast<CCurlTransfer*>(pThis);
    pTransfer->Touch();
    std::string line(pData, nSize * nCount);
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
        line.pop_back();
    if (pTransfer->m_bFtp)
        pTransfer->AcceptReplyLine(line);
    else
        pTransfer->AcceptHeaderLine(std::move(line));
    return nSize * nCount;
}

void CCurlTransfer::AcceptHeaderLine(std::string line)
{
    if (m_bFinalHead)
        return;  // trailers after a chunked body
    if (line.empty()) {
        if (m_CurrentHead.empty())
            return;
        m_Heads.push_back(std::move(m_CurrentHead));
        m_CurrentHead.clear();
        m_bFinalHead = !m_IsFinalHead || m_IsFinalHead(m_Heads.back());
        return;
    }
    const bool bFolded = (line[0] == ' ' || line[0] == '\t') && m_CurrentHead.size() > 1;
    if (bFolded) {
        const size_t start = line.find_first_not_of(" \t");
        m_CurrentHead.back() += " " + line.substr(start == std::string::npos ? line.size() : start);
        return;
    }
    if (IsStatusLine(line))
        m_CurrentHead.clear();
    m_CurrentHead.push_back(std::move(line));
}

void CCurlTransfer::AcceptReplyLine(const std::string& line)
{
    m_strReplyLines += line + "\r\n";
    if (!IsReplyEnd(line))
        return;
    m_strLastReply = m_strReplyLines;
    m_nLastReplyCode = static_cast<uint32_t>(std::stoul(line.substr(0, 3)));
    m_ReplyCodes.push_back(m_nLastReplyCode);
    m_strReplyLines.clear();
}

int CCurlTransfer::OnProgress(void* pThis, curl_off_t nDownTotal, curl_off_t nDown, curl_off_t nUpTotal,
                              curl_off_t nUp)
{
    auto* pTransfer = static_cast<CCurlTransfer*>(pThis);
    if (nDown + nUp != pTransfer->m_nProgress) {
        pTransfer->m_nProgress = nDown + nUp;
        pTransfer->Touch();
    }
    return 0;
}

int CCurlTransfer::OnRequestStart(void* pThis, char*, char*, int, int)
{
    auto* pTransfer = static_cast<CCurlTransfer*>(pThis);
    pTransfer->m_bRequestStarted = true;
    pTransfer->Touch();
    return CURL_PREREQFUNC_OK;
}

void CCurlTransfer::CollectResult()
{
    int nQueued = 0;
    while (CURLMsg* pMessage = curl_multi_info_read(m_pMulti, &nQueued)) {
        if (pMessage->msg == CURLMSG_DONE && pMessage->easy_handle == m_pEasy) {
            m_bFinished = true;
            m_nResult = pMessage->data.result;
        }
    }
}

uint32_t CCurlTransfer::IdleMilliseconds(uint32_t nWaitStart) const
{
    const uint32_t nNow = TickCount();
    return std::min(nNow - nWaitStart, nNow - m_nLastActivity);
}

void CCurlTransfer::Touch()
{
    m_nLastActivity = TickCount();
}

}  // namespace zu::platform
