// CCurlTransfer: one libcurl easy handle driven by a multi handle of its own, so that the caller
// decides when bytes are pulled. The body lands in a bounded buffer; when it is full the transfer
// pauses and the socket is left alone until the caller has taken enough. The header lines
// (HTTP response heads, FTP replies) are kept for the owner to judge.
//
// One thread drives a transfer at a time; Interrupt and Cancel may come from any thread.
#pragma once

#include <curl/curl.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace zu::platform {

class CCurlTransfer {
public:
    enum class EWait { READY, FINISHED, TIMED_OUT, CANCELLED };

    static constexpr size_t BODY_CAPACITY = 256 * 1024;

    // bFtp: header lines are FTP replies rather than HTTP heads.
    explicit CCurlTransfer(bool bFtp);
    ~CCurlTransfer();
    CCurlTransfer(const CCurlTransfer&) = delete;
    CCurlTransfer& operator=(const CCurlTransfer&) = delete;

    bool IsValid() const { return m_pEasy && m_pMulti; }
    CURL* Easy() const { return m_pEasy; }

    // Forgets every option of the previous transfer and installs this class's callbacks; the
    // connections the multi handle keeps stay for reuse.
    void ResetOptions();
    // Lists handed to the easy handle must outlive the transfer; the transfer keeps them.
    void SetHeaderList(curl_slist* pList);
    void SetQuoteList(curl_slist* pList);

    // The connection time-out (0: none), which also bounds the wait before a request is under way.
    void SetConnectTimeout(uint32_t nMilliseconds);

    // Begins a transfer with the options set (ending the previous one, if any).
    bool Start();
    // Ends the running transfer, if any; its connection is dropped when unfinished.
    void Stop();
    // Ends it and holds nothing more: the body reads as ended from here on.
    void Abandon();
    bool IsStarted() const { return m_bStarted; }
    bool IsFinished() const { return m_bFinished; }
    CURLcode Result() const { return m_nResult; }
    // The result as an Internet error number (certificate failures told apart).
    uint32_t ResultError() const;

    // Runs the transfer until isReady() holds, it ends, nothing arrives for nIdleLimitMs (0: no
    // limit) or the handle is interrupted or cancelled. The idle clock starts once the request is
    // under way; before that the connection's own time-out (plus the idle limit) bounds the wait.
    EWait Drive(const std::function<bool()>& isReady, uint32_t nIdleLimitMs);
    // Makes a Drive on another thread return CANCELLED: Interrupt only the one under way,
    // Cancel every later one as well.
    void Interrupt();
    void Cancel();
    bool IsCancelled() const { return m_bCancelled; }

    // Body bytes held and not yet taken; bytes taken since Start.
    size_t BufferedBytes() const { return m_Body.size() - m_nBodyHead; }
    int64_t TakenBytes() const { return m_nTaken; }
    size_t TakeBody(void* pBuffer, size_t nCount);
    size_t SkipBody(size_t nCount);
    // Waits for body bytes: true with nRead 0 at the end of the data, a body cut short included.
    bool ReadBody(void* pBuffer, uint32_t nCount, uint32_t& nRead, uint32_t nIdleLimitMs, uint32_t& nError);

    // HTTP: the completed heads of this transfer, each its status line and header lines. Body
    // bytes are kept only after a head that isFinalHead accepts (a followed redirect's are not).
    const std::vector<std::vector<std::string>>& Heads() const { return m_Heads; }
    void SetFinalHeadTest(std::function<bool(const std::vector<std::string>&)> isFinalHead);
    bool HasFinalHead() const { return m_bFinalHead; }

    // FTP: the last complete reply (every line, each ending "\r\n") and its number, and the
    // number of replies seen since Start.
    const std::string& LastReply() const { return m_strLastReply; }
    uint32_t LastReplyCode() const { return m_nLastReplyCode; }
    const std::vector<uint32_t>& ReplyCodes() const { return m_ReplyCodes; }

private:
    static size_t OnBody(char* pData, size_t nSize, size_t nCount, void* pThis);
    static size_t OnHeader(char* pData, size_t nSize, size_t nCount, void* pThis);
    static int OnProgress(void* pThis, curl_off_t, curl_off_t, curl_off_t, curl_off_t);
    static int OnRequestStart(void* pThis, char*, char*, int, int);

    size_t AcceptBody(const char* pData, size_t nBytes);
    void AcceptHeaderLine(std::string line);
    void AcceptReplyLine(const std::string& line);
    void CollectResult();
    void ResumeIfRoom();
    uint32_t IdleMilliseconds(uint32_t nWaitStart) const;
    void Touch();

    CURL* m_pEasy = nullptr;
    CURLM* m_pMulti = nullptr;
    const bool m_bFtp;
    curl_slist* m_pHeaderList = nullptr;
    curl_slist* m_pQuoteList = nullptr;

    bool m_bStarted = false;
    bool m_bFinished = false;
    bool m_bRequestStarted = false;
    CURLcode m_nResult = CURLE_OK;
    uint32_t m_nLastActivity = 0;
    uint32_t m_nConnectLimitMs = 0;
    curl_off_t m_nProgress = 0;
    std::atomic<bool> m_bCancelled{false};
    std::atomic<uint32_t> m_nInterrupts{0};

    std::vector<char> m_Body;
    size_t m_nBodyHead = 0;
    int64_t m_nTaken = 0;
    bool m_bPaused = false;

    std::function<bool(const std::vector<std::string>&)> m_IsFinalHead;
    std::vector<std::string> m_CurrentHead;
    std::vector<std::vector<std::string>> m_Heads;
    bool m_bFinalHead = false;

    std::string m_strReplyLines;
    std::string m_strLastReply;
    uint32_t m_nLastReplyCode = 0;
    std::vector<uint32_t> m_ReplyCodes;
};

// curl_global_init, once per process.
void InitializeCurl();

}  // namespace zu::platform
