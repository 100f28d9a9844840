// CInternetReader: a VReader over an HTTP, HTTPS or FTP resource. Open starts a worker that
// connects and sends the request (following redirects, answering authentication challenges,
// retrying what can be retried) and waits for it up to the time-out; Read then pulls the body
// straight from the open request on the caller's thread. After a failed Open, GetInfo's "Error",
// "StatusCode" and "StatusText" tell why.
#pragma once

#include <zureader/Reader.h>

#include "net/FunctionThread.h"
#include "net/IcyPhase.h"
#include "net/InternetStatus.h"
#include "platform/Internet.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

class CUrl;
namespace zu {
class CFunctionLog;
}

class CInternetReader : public VReader {
public:
    explicit CInternetReader(const ZUCHAR* pszURL);
    ~CInternetReader() override;

    ZUBOOL Open() override;
    void Close() override;
    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    uint32_t Write(const void* pBuffer, uint32_t nCount) override;
    int64_t GetLength() override;
    int64_t GetPosition() override;
    int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) override;
    ZUBOOL SetEndOfFile() override;
    ZUBOOL IsLengthUnknown() override;
    ZUBOOL IsRemote() override;
    ZUBOOL IsOpen() override;
    ZUBOOL IsReadOnly() override;
    ZUBSTR GetInfo(const ZUCHAR* pszName) override;

    // With the option "RECONNECT" set to "1", a transfer that breaks off is taken up again: one of
    // known length by asking for the rest with a Range, one of unknown length (a live stream) by
    // asking again and going on from what the server sends then. Without live streams, only the
    // first: a caller that places the bytes by their offset must never get a stream begun anew.
    void SetLiveReconnect(bool bLive) { m_bLiveReconnect = bLive; }
    // From another thread while a read may run: ends the transfer under way at once (the read
    // returns what it has, or fails) and takes nothing up again until the next Open. Close still
    // follows as usual.
    void CancelTransfer();
    bool IsTransferCancelled() const { return m_bCancelled.load(std::memory_order_acquire); }

    static constexpr int kReconnectTries = 5;
    static constexpr uint32_t kFirstReconnectWaitMs = 100;
    static constexpr uint32_t kLastReconnectWaitMs = 2000;

    // How long Close waits for a worker to end before it kills it.
    static constexpr int32_t kWorkerStopTimeoutMs = 5000;
    // The host whose URLs get an "x-flash-version" header: its player refuses requests without.
    static const char16_t* const kFlashVideoHost;

private:
    // What the HTTP request loop keeps from pass to pass.
    struct CRequestPlan {
        std::u16string verb;
        std::u16string cookie;
        uint32_t nReloadFlag = 0;
        uint32_t nNeedFileFlag = 0;
        std::u16string extraHeaders;
        int64_t nRangeStart = 0;
        std::u16string rangeFinish;
    };

    // How the server's answer to one pass was judged.
    struct CVerdict {
        bool bOk = false;
        bool bRepeat = false;
        std::u16string redirectTarget;
    };

    // Client side.
    std::u16string UnsafeRequestText() const;
    void WaitForWorker();
    void WaitForPrompt() const;

    // Worker side.
    int32_t Thread();
    bool Connect();
    bool AnalyzeURL(const CUrl& url);
    void LoadCredentials(const CUrl& url);
    bool FollowRedirect(const std::u16string& target);
    std::u16string CookieForThisSite(const CRequestPlan& plan) const;
    bool DownloadFromHTTPURL();
    bool DownloadFromFTPURL();

    // The HTTP request loop's steps.
    CRequestPlan PlanRequest() const;
    bool OpenRequest(const CRequestPlan& plan, zu::CFunctionLog& log);
    bool AddRequestHeaders(const CRequestPlan& plan, zu::CFunctionLog& log);
    bool AddHeader(const std::u16string& header, const char16_t* pszFailure, zu::CFunctionLog& log);
    bool SendRequest(CRequestPlan& plan, bool& bRepeat, uint32_t& nError, zu::CFunctionLog& log);
    CVerdict JudgeStatus(CRequestPlan& plan);
    bool AnswerAuthenticationChallenge();
    bool AskForCredentials();
    void TakeResponseLength();

    // Taking up a broken transfer again.
    bool Reconnect();
    bool RequestAgain(int64_t nResumeAt);
    bool AnswerStartsAt(int64_t nFirst) const;
    void FollowIcyPhase();
    // Hands on the padding, or drops the bytes, a spliced stream needs; false when nothing was
    // due. nDone grows by the bytes put into pBytes.
    bool SpliceStep(unsigned char* pBytes, uint32_t nCount, uint32_t& nDone);
    int64_t RangeStartOption() const;

    // Both sides.
    bool CloseConnectionHandles();
    bool Fail(uint32_t nError);
    bool Refuse(const std::u16string& text);
    void NoteEndOfData();
    void StoreStatus(const CInternetStatus& status);
    CInternetStatus Status() const;
    std::u16string URL() const;
    // The URL as logs and prompts may show it.
    std::u16string ShownURL() const;
    void SetURL(const std::u16string& url);
    bool IsSuccessStatus(int32_t nCode) const;

    CFunctionThread m_Worker;
    std::u16string m_strURL;
    zu::platform::CInternetHandle m_hInternet;
    zu::platform::CInternetHandle m_hConnect;
    zu::platform::CInternetHandle m_hRequest;
    int64_t m_nLength = 0;
    int32_t m_nScheme = 0;
    std::u16string m_strObject;
    std::u16string m_strSite;
    std::u16string m_strUser;
    std::u16string m_strPassword;
    std::u16string m_strProxyUser;
    std::u16string m_strProxyPassword;
    ZUBOOL m_bRangeRequest = 0;
    ZUBOOL m_bLengthKnown = 0;
    // The length came from the integrity-check header, not from the transfer itself.
    bool m_bLengthEstimated = false;
    ZUBOOL m_bSucceedOnError = 0;
    // The URL Open began with: the caller's credentials and cookie are meant for its site alone.
    std::u16string m_strStartURL;
    // A redirect led to another site, or from a secure hop to one in clear (the worker's own).
    bool m_bForeignSite = false;
    bool m_bDowngraded = false;
    // While the host's credential prompt is up, the time it takes is the user's, not the server's.
    std::atomic<bool> m_bPrompting{false};
    std::atomic<uint32_t> m_nPromptMs{0};
    // Written by one side while the other may read them, when Open gives up on a worker.
    std::atomic<ZUBOOL> m_bTimedOut{0};
    std::atomic<ZUBOOL> m_bConnectError{0};
    std::atomic<uint32_t> m_nFailureError{0};  // the error that ended the worker's request
    bool m_bReconnect = false;
    bool m_bLiveReconnect = true;
    std::atomic<bool> m_bCancelled{false};
    // Body bytes the connections before the current one delivered (after a resumed transfer).
    int64_t m_nBodyBase = 0;
    // Where in the body the worker's next request starts (a resumed transfer); -1: where planned.
    int64_t m_nResumeAt = -1;
    // A live stream with in-band titles that may be taken up again: its phase, and what the splice
    // onto the new connection still owes.
    std::unique_ptr<CIcyPhase> m_pIcyPhase;
    uint32_t m_nIcyDrop = 0;
    uint32_t m_nIcyPad = 0;
    int32_t m_nStatusCode = 0;
    std::u16string m_strStatusText;
    // Guards the URL and the status, which a worker that Open gave up on may still change. Held
    // only for copies, never across a call that can block, so a killed worker never holds it.
    mutable std::mutex m_Lock;
};
