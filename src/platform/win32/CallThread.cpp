#include "platform/win32/CallThread.h"

#include <windows.h>

#include <memory>
#include <new>

namespace zu::platform {

// The system's slim lock and condition variable: a hand-over through them costs tens of
// microseconds under Wine, where the C++ library's condition variable costs milliseconds.
struct CCallThread::CShared {
    SRWLOCK m_Lock = SRWLOCK_INIT;
    CONDITION_VARIABLE m_Changed = CONDITION_VARIABLE_INIT;
    std::function<void()> m_Call;  // waiting to be taken by the thread
    bool m_bBusy = false;          // a call was handed over and has not returned
    bool m_bCancelled = false;
    bool m_bQuit = false;
    bool m_bStarted = false;

    void Wait() { SleepConditionVariableSRW(&m_Changed, &m_Lock, INFINITE, 0); }
    void Announce() { WakeAllConditionVariable(&m_Changed); }

    void Serve()
    {
        CLock lock(*this);
        for (;;) {
            while (!m_Call && !m_bQuit)
                Wait();
            if (!m_Call)
                return;
            std::function<void()> call = std::move(m_Call);
            m_Call = nullptr;
            {
                CUnlock unlock(*this);
                call();
                call = nullptr;  // what the call owns goes before the caller hears of the end
            }
            m_bBusy = false;
            Announce();
        }
    }

    // Holds the lock for its lifetime.
    class CLock {
    public:
        explicit CLock(CShared& shared) : m_Shared(shared) { AcquireSRWLockExclusive(&m_Shared.m_Lock); }
        ~CLock() { ReleaseSRWLockExclusive(&m_Shared.m_Lock); }
        CLock(const CLock&) = delete;
        CLock& operator=(const CLock&) = delete;

    private:
        CShared& m_Shared;
    };

    // Lets go of a held lock for its lifetime.
    class CUnlock {
    public:
        explicit CUnlock(CShared& shared) : m_Shared(shared) { ReleaseSRWLockExclusive(&m_Shared.m_Lock); }
        ~CUnlock() { AcquireSRWLockExclusive(&m_Shared.m_Lock); }
        CUnlock(const CUnlock&) = delete;
        CUnlock& operator=(const CUnlock&) = delete;

    private:
        CShared& m_Shared;
    };
};

namespace {

struct CStart {
    std::shared_ptr<CCallThread::CShared> pShared;
    HMODULE hModule;
};

DWORD WINAPI ServeCalls(LPVOID pValue)
{
    HMODULE hModule = nullptr;
    {
        std::unique_ptr<CStart> pStart(static_cast<CStart*>(pValue));
        hModule = pStart->hModule;
        pStart->pShared->Serve();
    }
    // The thread may outlive every object of the library: it held the module until now.
    FreeLibraryAndExitThread(hModule, 0);
}

}  // namespace

CCallThread::CCallThread() : m_pShared(std::make_shared<CShared>()) {}

CCallThread::~CCallThread()
{
    CShared::CLock lock(*m_pShared);
    m_pShared->m_bQuit = true;
    m_pShared->Announce();
}

bool CCallThread::Start()
{
    HMODULE hModule = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(&ServeCalls), &hModule))
        return false;
    auto* pStart = new (std::nothrow) CStart{m_pShared, hModule};
    const HANDLE hThread = pStart ? CreateThread(nullptr, 0, ServeCalls, pStart, 0, nullptr) : nullptr;
    if (!hThread) {
        delete pStart;
        FreeLibrary(hModule);
        return false;
    }
    CloseHandle(hThread);
    return true;
}

bool CCallThread::Run(std::function<void()> call)
{
    CShared& shared = *m_pShared;
    CShared::CLock lock(shared);
    if (shared.m_bCancelled)
        return false;
    if (!shared.m_bStarted) {
        if (!Start())
            return false;
        shared.m_bStarted = true;
    }
    shared.m_Call = std::move(call);
    shared.m_bBusy = true;
    shared.Announce();
    while (shared.m_bBusy && !shared.m_bCancelled)
        shared.Wait();
    if (!shared.m_bBusy)
        return true;
    // Cancelled: a call the thread has not taken yet is dropped; one it runs finishes on its own.
    if (shared.m_Call) {
        shared.m_Call = nullptr;
        shared.m_bBusy = false;
    }
    return false;
}

void CCallThread::Cancel()
{
    CShared::CLock lock(*m_pShared);
    m_pShared->m_bCancelled = true;
    m_pShared->Announce();
}

bool CCallThread::IsCancelled() const
{
    CShared::CLock lock(*m_pShared);
    return m_pShared->m_bCancelled;
}

}  // namespace zu::platform
