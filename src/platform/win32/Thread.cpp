#include "platform/Thread.h"

#include <windows.h>
#include <objbase.h>

#include <map>
#include <mutex>
#include <new>

namespace zu::platform {
namespace {

std::atomic<uint32_t> g_nOpenHandles{0};

struct CStartRecord {
    ThreadProcedure pProcedure;
    void* pArgument;
};

// The start records of threads that have not begun, by thread identifier: a thread killed while
// still suspended never frees its own.
std::mutex g_UnstartedLock;
std::map<DWORD, CStartRecord*> g_Unstarted;

DWORD WINAPI ThreadStart(LPVOID pValue)
{
    {
        std::lock_guard<std::mutex> lock(g_UnstartedLock);
        g_Unstarted.erase(GetCurrentThreadId());
    }
    const CStartRecord start = *static_cast<CStartRecord*>(pValue);
    delete static_cast<CStartRecord*>(pValue);
    start.pProcedure(start.pArgument);
    return 0;
}

void FreeStartRecordOf(DWORD nThreadId)
{
    std::lock_guard<std::mutex> lock(g_UnstartedLock);
    const auto pEntry = g_Unstarted.find(nThreadId);
    if (pEntry != g_Unstarted.end()) {
        delete pEntry->second;
        g_Unstarted.erase(pEntry);
    }
}

HANDLE AsHandle(ThreadHandle hThread)
{
    return reinterpret_cast<HANDLE>(hThread);
}

HANDLE AsHandle(EventHandle hEvent)
{
    return reinterpret_cast<HANDLE>(hEvent);
}

uint32_t WaitResult(DWORD nResult, DWORD nObjects)
{
    if (nResult < WAIT_OBJECT_0 + nObjects)
        return nResult - WAIT_OBJECT_0;
    return nResult == WAIT_TIMEOUT ? WAIT_RESULT_TIMEOUT : WAIT_RESULT_FAILED;
}

bool HasEnded(HANDLE hThread)
{
    return WaitForSingleObject(hThread, 0) == WAIT_OBJECT_0;
}

}  // namespace

ThreadHandle CreateGatedThread(ThreadProcedure pProcedure, void* pArgument, uint32_t& nThreadId)
{
    nThreadId = 0;
    auto* pStart = new (std::nothrow) CStartRecord{pProcedure, pArgument};
    if (!pStart)
        return nullptr;
    DWORD nId = 0;
    // Under the lock, so the entry exists before the thread can look for it.
    std::lock_guard<std::mutex> lock(g_UnstartedLock);
    const HANDLE hThread = CreateThread(nullptr, 0, ThreadStart, pStart, CREATE_SUSPENDED, &nId);
    if (!hThread) {
        delete pStart;
        return nullptr;
    }
    g_Unstarted[nId] = pStart;
    ++g_nOpenHandles;
    nThreadId = nId;
    return reinterpret_cast<ThreadHandle>(hThread);
}

bool ResumeGatedThread(ThreadHandle hThread)
{
    // A thread killed while held still counts as suspended.
    if (!hThread || HasEnded(AsHandle(hThread)))
        return false;
    // The previous suspend count: 1 for a thread that was held, 0 for one already running.
    const DWORD nPrevious = ResumeThread(AsHandle(hThread));
    return nPrevious != static_cast<DWORD>(-1) && nPrevious > 0;
}

ThreadHandle DuplicateThreadHandle(ThreadHandle hThread)
{
    HANDLE hCopy = nullptr;
    const HANDLE hProcess = GetCurrentProcess();
    if (!hThread || !DuplicateHandle(hProcess, AsHandle(hThread), hProcess, &hCopy, 0, FALSE, DUPLICATE_SAME_ACCESS))
        return nullptr;
    ++g_nOpenHandles;
    return reinterpret_cast<ThreadHandle>(hCopy);
}

void CloseThreadHandle(ThreadHandle hThread)
{
    if (hThread && CloseHandle(AsHandle(hThread)))
        --g_nOpenHandles;
}

uint32_t ThreadIdOf(ThreadHandle hThread)
{
    return hThread ? GetThreadId(AsHandle(hThread)) : 0;
}

bool SetThreadPriorityLevel(ThreadHandle hThread, int32_t nPriority)
{
    // The system would store a priority on an ended thread's object; there is nothing to set.
    return hThread && !HasEnded(AsHandle(hThread)) && SetThreadPriority(AsHandle(hThread), nPriority);
}

int32_t GetThreadPriorityLevel(ThreadHandle hThread)
{
    // The thread object outlives the thread while handles remain; an ended thread has no priority.
    if (!hThread || HasEnded(AsHandle(hThread)))
        return PRIORITY_UNREADABLE;
    return GetThreadPriority(AsHandle(hThread));
}

bool KillThread(ThreadHandle hThread, uint32_t nExitCode)
{
    if (!hThread)
        return false;
    // TerminateThread only starts the end; waiting confirms it.
    TerminateThread(AsHandle(hThread), nExitCode);
    if (WaitForThread(hThread, KILL_GRACE_MILLISECONDS) != WAIT_RESULT_FIRST)
        return false;
    FreeStartRecordOf(GetThreadId(AsHandle(hThread)));
    return true;
}

uint32_t WaitForThread(ThreadHandle hThread, uint32_t nMilliseconds)
{
    if (!hThread)
        return WAIT_RESULT_FAILED;
    return WaitResult(WaitForSingleObject(AsHandle(hThread), nMilliseconds), 1);
}

void EndCurrentThread(uint32_t nExitCode)
{
    ExitThread(nExitCode);
}

EventHandle CreateManualEvent()
{
    const HANDLE hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!hEvent)
        return nullptr;
    ++g_nOpenHandles;
    return reinterpret_cast<EventHandle>(hEvent);
}

void CloseEvent(EventHandle hEvent)
{
    if (hEvent && CloseHandle(AsHandle(hEvent)))
        --g_nOpenHandles;
}

bool SignalEvent(EventHandle hEvent)
{
    return hEvent && SetEvent(AsHandle(hEvent));
}

bool ResetManualEvent(EventHandle hEvent)
{
    return hEvent && ResetEvent(AsHandle(hEvent));
}

uint32_t WaitForEvent(EventHandle hEvent, uint32_t nMilliseconds)
{
    if (!hEvent)
        return WAIT_RESULT_FAILED;
    return WaitResult(WaitForSingleObject(AsHandle(hEvent), nMilliseconds), 1);
}

uint32_t WaitForEventOrThread(EventHandle hEvent, ThreadHandle hThread, uint32_t nMilliseconds)
{
    if (!hThread)
        return WAIT_RESULT_FAILED;
    if (!hEvent) {
        const uint32_t nResult = WaitForThread(hThread, nMilliseconds);
        return nResult == WAIT_RESULT_FIRST ? WAIT_RESULT_SECOND : nResult;
    }
    const HANDLE objects[2] = {AsHandle(hEvent), AsHandle(hThread)};
    return WaitResult(WaitForMultipleObjects(2, objects, FALSE, nMilliseconds), 2);
}

void DispatchPendingMessages()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

uint32_t CountOpenThreadObjects()
{
    return g_nOpenHandles.load();
}

CComApartment::CComApartment()
{
    // S_FALSE (already initialised on this thread) still needs its matching uninitialise.
    m_bInitialized = SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
}

CComApartment::~CComApartment()
{
    if (m_bInitialized)
        CoUninitialize();
}

CNoKillScope::CNoKillScope() = default;

CNoKillScope::~CNoKillScope() = default;

}  // namespace zu::platform
