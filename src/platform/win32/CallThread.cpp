#include "platform/win32/CallThread.h"

#include <windows.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <new>

namespace zu::platform {

struct CCallThread::CShared {
    std::mutex m_Lock;
    std::condition_variable m_Changed;
    std::function<void()> m_Call;  // waiting to be taken by the thread
    bool m_bBusy = false;          // a call was handed over and has not returned
    bool m_bCancelled = false;
    bool m_bQuit = false;
    bool m_bStarted = false;

    void Serve()
    {
        std::unique_lock<std::mutex> lock(m_Lock);
        for (;;) {
            m_Changed.wait(lock, [this] { return m_Call || m_bQuit; });
            if (!m_Call)
                return;
            std::function<void()> call = std::move(m_Call);
            m_Call = nullptr;
            lock.unlock();
            call();
            call = nullptr;  // what the call owns goes before the caller hears of the end
            lock.lock();
            m_bBusy = false;
            m_Changed.notify_all();
        }
    }
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
    std::lock_guard<std::mutex> lock(m_pShared->m_Lock);
    m_pShared->m_bQuit = true;
    m_pShared->m_Changed.notify_all();
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
    std::unique_lock<std::mutex> lock(m_pShared->m_Lock);
    if (m_pShared->m_bCancelled)
        return false;
    if (!m_pShared->m_bStarted) {
        if (!Start())
            return false;
        m_pShared->m_bStarted = true;
    }
    m_pShared->m_Call = std::move(call);
    m_pShared->m_bBusy = true;
    m_pShared->m_Changed.notify_all();
    m_pShared->m_Changed.wait(lock, [this] { return !m_pShared->m_bBusy || m_pShared->m_bCancelled; });
    if (!m_pShared->m_bBusy)
        return true;
    // Cancelled: a call the thread has not taken yet is dropped; one it runs finishes on its own.
    if (m_pShared->m_Call) {
        m_pShared->m_Call = nullptr;
        m_pShared->m_bBusy = false;
    }
    return false;
}

void CCallThread::Cancel()
{
    std::lock_guard<std::mutex> lock(m_pShared->m_Lock);
    m_pShared->m_bCancelled = true;
    m_pShared->m_Changed.notify_all();
}

bool CCallThread::IsCancelled() const
{
    std::lock_guard<std::mutex> lock(m_pShared->m_Lock);
    return m_pShared->m_bCancelled;
}

}  // namespace zu::platform
