// CInternetObject: what a handle of the seam stands for on Windows: the WinINet handle, the kind of
// object it is and the thread its blocking calls run on, so that closing the handle releases a
// caller blocked on it.
#pragma once

#include "platform/InternetBackend.h"
#include "platform/win32/CallThread.h"

#include <windows.h>
#include <wininet.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace zu::platform {

// What a blocking call leaves for its caller. A handle it made and nobody took is closed with it,
// so a call that outlives a cancelled caller leaks nothing.
struct CCallOutcome {
    CCallOutcome() = default;
    ~CCallOutcome();
    CCallOutcome(const CCallOutcome&) = delete;
    CCallOutcome& operator=(const CCallOutcome&) = delete;

    HINTERNET TakeHandle();

    bool bOk = false;
    uint32_t nError = 0;
    DWORD nCount = 0;
    int64_t nValue = -1;
    HINTERNET hMade = nullptr;
    bool bReply = false;
    uint32_t nReplyCode = 0;
    std::u16string reply;
};

// Makes its system calls and answers whether the last one succeeded, leaving its error in place.
using CBlockingCall = std::function<bool(CCallOutcome&)>;

class CInternetObject {
public:
    // Starts with the options recorded on pParent (null for a session).
    CInternetObject(EInternetObjectType type, HINTERNET hInternet, bool bFtp, const CInternetObject* pParent);
    virtual ~CInternetObject();
    CInternetObject(const CInternetObject&) = delete;
    CInternetObject& operator=(const CInternetObject&) = delete;

    EInternetObjectType Type() const { return m_Type; }
    bool IsFtp() const { return m_bFtp; }
    // Null once closed.
    HINTERNET Handle() const { return m_hInternet.load(); }
    // Owns h from now on and closes the handle held before; h is closed at once when the object
    // has been cancelled meanwhile.
    void Adopt(HINTERNET h);
    // Takes the handle out of the object, which then owns none.
    HINTERNET Release() { return m_hInternet.exchange(nullptr); }
    // InternetCloseHandle's answer for the object's handle; true when it holds none.
    bool CloseHandleNow();
    // The seam's handle was closed: releases a caller waiting on a blocking call and closes the
    // system handle, which ends the call itself wherever the system can.
    virtual void Cancel();
    bool IsCancelled() const { return m_Calls.IsCancelled(); }

    // Runs call on the object's call thread. With bFtpReply the server's last reply, which WinINet
    // keeps for the thread that made the call, becomes the calling thread's. Null when a close
    // released the caller first (the last error says so).
    std::shared_ptr<CCallOutcome> Call(CBlockingCall call, bool bFtpReply);
    // The outcome's success, or its failure as the calling thread's last error.
    bool Succeeded(const std::shared_ptr<CCallOutcome>& pOutcome) const;

    // Time-outs and credentials are recorded as well as passed on: Wine neither hands a session's
    // time-outs down to the requests made under it nor answers every query for credentials, and
    // refuses the listen time-out that Windows takes.
    virtual bool SetOption(uint32_t nOption, uint32_t nValue);
    bool QueryOption(uint32_t nOption, uint32_t& nValue) const;
    virtual bool SetOptionText(uint32_t nOption, const std::u16string& value);
    bool QueryOptionText(uint32_t nOption, std::u16string& value) const;
    // Gives a handle made for this object the options recorded on it.
    void ApplyRecordedOptions(HINTERNET h) const;

    static bool SetNumberOption(HINTERNET h, uint32_t nOption, uint32_t nValue);
    static bool QueryNumberOption(HINTERNET h, uint32_t nOption, uint32_t& nValue);
    static bool SetTextOption(HINTERNET h, uint32_t nOption, const std::u16string& value);
    static bool QueryTextOption(HINTERNET h, uint32_t nOption, std::u16string& value);
    // The calling thread's failure as the last error; returns false.
    static bool FailWithSystemError();

private:
    const EInternetObjectType m_Type;
    const bool m_bFtp;
    std::atomic<HINTERNET> m_hInternet;
    CCallThread m_Calls;
    mutable std::mutex m_OptionLock;
    std::map<uint32_t, uint32_t> m_Numbers;
    std::map<uint32_t, std::u16string> m_Texts;
};

}  // namespace zu::platform
