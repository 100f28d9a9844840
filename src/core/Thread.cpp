#include "core/Thread.h"

#include "core/Log.h"
#include "host/MessageManager.h"
#include "platform/System.h"

#include <exception>

using namespace zu;
using namespace zu::host;
using namespace zu::platform;

namespace {

// A worker that ended without clearing its handle (it ended its own thread inside its body, or
// something outside killed it) is recognised as gone once this much of a stop has passed.
constexpr uint32_t kGoneCheckAfterMilliseconds = 1000;
constexpr uint32_t kBaseBodySleepMilliseconds = 100;

}  // namespace

CThread::CThread(int32_t nStart, ZUBOOL bRegister) : m_bRegister(bRegister)
{
    if (nStart != 0)
        Start(PRIORITY_NORMAL, 0);
}

CThread::~CThread()
{
    Stop(-1);
}

int32_t CThread::RunHook()
{
    return OnRunHook();
}

ZUBOOL CThread::Start(int32_t nPriority, ZUBOOL bRestart)
{
    if (IsRunning() && !bRestart)
        return 1;
    Stop(-1);
    SetStopRequest(0);
    if (!OnStarting())
        return 0;
    if (m_bRegister && GetCookie() == 0)
        RegisterWithManager();
    m_StopEvent.Create();
    const ThreadHandle hThread = CreateWorker(nPriority);
    if (!hThread)
        return 0;
    m_ClientThread.Reset(DuplicateThreadHandle(hThread));
    m_nThreadId.store(ThreadIdOf(hThread), std::memory_order_relaxed);
    m_hThread.store(hThread, std::memory_order_release);
    ++m_nStartCount;
    ResumeGatedThread(hThread);
    return 1;
}

int32_t CThread::Stop(int32_t nTimeout)
{
    if (m_nStartCount < 1)
        return 1;
    SetStopRequest(1);
    if (nTimeout == -1)
        nTimeout = m_nStopTimeout;
    WaitForWorkerToEnd(nTimeout);
    UnregisterFromManager();
    m_StopEvent.Close();
    ReleaseWorkerHandle();
    m_ClientThread.Reset();
    return m_nExitCode.exchange(-1, std::memory_order_acq_rel);
}

// Polls rather than joins: the worker announces its end by clearing its handle.
void CThread::WaitForWorkerToEnd(int32_t nTimeout)
{
    const uint32_t nStartTicks = TickCount();
    while (m_hThread.load(std::memory_order_acquire)) {
        const uint32_t nElapsed = TickCount() - nStartTicks;
        if (nTimeout >= 0 && nElapsed > static_cast<uint32_t>(nTimeout) && CanTerminate()) {
            TerminateWorker();
            return;
        }
        if (nElapsed > kGoneCheckAfterMilliseconds &&
            GetThreadPriorityLevel(m_ClientThread.Get()) == PRIORITY_UNREADABLE) {
            ReleaseWorkerHandle();
            return;
        }
        if (m_bPumpMessages)
            DispatchPendingMessages();
        SleepMilliseconds(m_nStopPollInterval);
    }
    // The worker clears its handle a moment before its thread ends and still uses this object in
    // that moment; once its thread has ended, the object is the caller's alone.
    WaitForThread(m_ClientThread.Get(), WAIT_FOREVER);
}

// A worker that outlives its kill (on Linux, one that reaches no cancellation point, or holds the
// kill off) still uses this object and what its owner gave it: Stop waits for it rather than let
// the owner free them under it.
void CThread::TerminateWorker()
{
    const uint32_t nThreadId = m_nThreadId.load(std::memory_order_relaxed);
    if (!KillThread(m_ClientThread.Get(), 1)) {
        Log(LOG_GENERAL, u"CThread::Stop", u"Thread %u did not end when terminated; waiting for it", nThreadId);
        WaitForThread(m_ClientThread.Get(), WAIT_FOREVER);
    }
    ReleaseWorkerHandle();
}

// Both the worker and a client that kills it may get here; the exchange lets only one close.
void CThread::ReleaseWorkerHandle()
{
    m_nThreadId.store(0, std::memory_order_relaxed);
    if (const ThreadHandle hThread = m_hThread.exchange(nullptr, std::memory_order_acq_rel))
        CloseWorkerHandle(hThread);
}

ZUBOOL CThread::SetStopRequest(ZUBOOL bStop)
{
    m_bStopRequested.store(bStop, std::memory_order_release);
    // Whatever the flag, waking the waiters makes them read it.
    m_StopEvent.Signal();
    return 1;
}

void CThread::OnUnregister()
{
    const uint32_t nCookie = GetCookie();
    CMessageManager* pManager = nCookie ? CMessageManager::Instance() : nullptr;
    if (pManager)
        pManager->DropPending(nCookie);
}

ZUBOOL CThread::IsRunning()
{
    return m_hThread.load(std::memory_order_acquire) != nullptr;
}

uint32_t CThread::WaitForExit()
{
    if (!IsRunning())
        return 0;
    return WaitForThread(m_ClientThread.Get(), WAIT_FOREVER);
}

uint32_t CThread::WaitForStopOrExit(uint32_t nMilliseconds)
{
    if (!IsRunning())
        return 0;
    return WaitForEventOrThread(m_StopEvent.Get(), m_ClientThread.Get(), nMilliseconds);
}

int32_t CThread::GetExitCode()
{
    return m_nExitCode.load(std::memory_order_acquire);
}

uint32_t CThread::GetThreadId()
{
    return m_nThreadId.load(std::memory_order_relaxed);
}

ZUBOOL CThread::IsStopRequested()
{
    return m_bStopRequested.load(std::memory_order_acquire);
}

EventHandle CThread::GetStopEvent()
{
    return m_StopEvent.Get();
}

ZUBOOL CThread::CanTerminate()
{
    return 1;
}

int32_t CThread::GetStartCount()
{
    return m_nStartCount;
}

void CThread::SetStopTimeout(int32_t nMilliseconds)
{
    m_nStopTimeout = nMilliseconds;
}

void CThread::SetPumpMessages(ZUBOOL bPump)
{
    m_bPumpMessages = bPump;
}

void CThread::SetStopPollInterval(uint32_t nMilliseconds)
{
    m_nStopPollInterval = nMilliseconds;
}

void CThread::SetOptionWord(uint32_t nValue)
{
    m_nOptionWord = nValue;
}

void CThread::SetNotifyAtUnregister(ZUBOOL bNotify)
{
    m_bNotifyAtUnregister = bNotify;
}

ZUBOOL CThread::PostToMainThread(uint32_t nMessage, intptr_t nParam)
{
    const uint32_t nCookie = GetCookie();
    CMessageManager* pManager = nCookie ? CMessageManager::Instance() : nullptr;
    return pManager && pManager->Post(nCookie, nMessage, nParam) ? 1 : 0;
}

int32_t CThread::Thread()
{
    while (!IsStopRequested())
        SleepMilliseconds(kBaseBodySleepMilliseconds);
    return 1;
}

int32_t CThread::OnRunHook()
{
    return 0;
}

ZUBOOL CThread::OnStarting()
{
    return 1;
}

ThreadHandle CThread::CreateWorker(int32_t nPriority)
{
    uint32_t nThreadId = 0;
    const ThreadHandle hThread = CreateGatedThread(ThreadProcedure, this, nThreadId);
    if (hThread && nPriority != 0)
        SetThreadPriorityLevel(hThread, nPriority);
    return hThread;
}

void CThread::CloseWorkerHandle(ThreadHandle hThread)
{
    CloseThreadHandle(hThread);
}

void CThread::EndWorker()
{
    EndCurrentThread(0);
}

void CThread::ThreadProcedure(void* pArgument)
{
    auto* pThis = static_cast<CThread*>(pArgument);
    {
        CComApartment apartment;
        // A body that runs out of memory ends as a failed run; an exception must not end the process.
        int32_t nExitCode = 0;
        try {
            nExitCode = pThis->Thread();
        } catch (const std::exception&) {
        }
        pThis->m_nExitCode.store(nExitCode, std::memory_order_release);
    }
    pThis->ReleaseWorkerHandle();
    pThis->EndWorker();
}

void CThread::RegisterWithManager()
{
    if (CMessageManager* pManager = CMessageManager::Instance())
        m_nCookie.store(pManager->Register(), std::memory_order_release);
}

void CThread::UnregisterFromManager()
{
    const uint32_t nCookie = GetCookie();
    if (nCookie == 0)
        return;
    if (m_bNotifyAtUnregister)
        OnUnregister();
    if (CMessageManager* pManager = CMessageManager::Instance())
        pManager->Unregister(nCookie);
    m_nCookie.store(0, std::memory_order_release);
}
