#include "platform/Thread.h"

#include "platform/System.h"
#include "platform/posix/KillPoint.h"

#include <cerrno>
#include <climits>
#include <condition_variable>
#include <ctime>
#include <mutex>
#include <new>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

namespace zu::platform {

// Every blocking wait of this file is a poll on eventfds: a cancellation point that holds no lock,
// so a thread killed while it waits leaves nothing behind.
struct EventObject {
    int nFd = -1;  // readable while signalled
};

struct ThreadObject {
    ThreadProcedure pProcedure = nullptr;
    void* pArgument = nullptr;
    pthread_t thread{};
    int nEndFd = -1;  // becomes readable for good when the thread ends
    std::atomic<uint32_t> nThreadId{0};

    // Taken by every use of `thread` and, once, by the thread as it ends. The thread is joined
    // before the object goes, so pthread_cancel and setpriority never meet a reused thread, and
    // the join tells everyone what the thread wrote, even one cancelled in the middle of a call.
    std::mutex Lock;
    std::condition_variable Changed;
    int nHandles = 1;
    int32_t nPriority = PRIORITY_NORMAL;
    bool bReady = false;  // the thread runs and waits at the gate
    bool bResumed = false;
    bool bAbandoned = false;  // killed at the gate: ends without running its procedure
    bool bJoined = false;
    bool bOrphaned = false;  // every handle closed while it ran: detached, frees this itself
};

namespace {

std::atomic<uint32_t> g_nOpenObjects{0};

int64_t MonotonicMilliseconds()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

int PollTimeout(int64_t nDeadline)
{
    const int64_t nLeft = nDeadline - MonotonicMilliseconds();
    return static_cast<int>(nLeft < 0 ? 0 : nLeft > INT_MAX ? INT_MAX : nLeft);
}

// The index of the first readable descriptor, WAIT_RESULT_TIMEOUT or WAIT_RESULT_FAILED.
ZU_KILL_POINT uint32_t PollReadable(pollfd* pFds, nfds_t nFds, uint32_t nMilliseconds)
{
    const bool bForever = nMilliseconds == WAIT_FOREVER;
    const int64_t nDeadline = MonotonicMilliseconds() + nMilliseconds;
    for (;;) {
        const int nReady = poll(pFds, nFds, bForever ? -1 : PollTimeout(nDeadline));
        if (nReady < 0 && errno != EINTR)
            return WAIT_RESULT_FAILED;
        for (nfds_t i = 0; nReady > 0 && i < nFds; ++i) {
            if (pFds[i].revents & POLLNVAL)
                return WAIT_RESULT_FAILED;
            if (pFds[i].revents & (POLLIN | POLLERR | POLLHUP))
                return static_cast<uint32_t>(i);
        }
        // Otherwise a signal came, or the wait is longer than one poll can express.
        if (!bForever && MonotonicMilliseconds() >= nDeadline)
            return WAIT_RESULT_TIMEOUT;
    }
}

pollfd Readable(int nFd)
{
    return pollfd{nFd, POLLIN, 0};
}

void DestroyThreadObject(ThreadObject* pThread)
{
    CNoKillScope noKill;
    close(pThread->nEndFd);
    delete pThread;
    --g_nOpenObjects;
}

// The object's lock, taken where a kill cannot land so that it is never left held.
class CThreadLock {
public:
    explicit CThreadLock(ThreadObject* pThread) : m_Lock(pThread->Lock) {}

private:
    CNoKillScope m_NoKill;
    std::unique_lock<std::mutex> m_Lock;
};

bool IsReadable(int nFd)
{
    pollfd fd = Readable(nFd);
    return poll(&fd, 1, 0) == 1 && (fd.revents & POLLIN);
}

// Under the object's lock: the thread signals its end while it holds that lock, so a thread
// found running stays running until the lock is let go.
bool HasEndedLocked(ThreadObject* pThread)
{
    return pThread->bJoined || IsReadable(pThread->nEndFd);
}

// Only for a thread that has signalled its end: the join then waits for its last few steps.
void JoinLocked(ThreadObject* pThread)
{
    if (!pThread->bJoined) {
        pthread_join(pThread->thread, nullptr);
        pThread->bJoined = true;
    }
}

void Join(ThreadObject* pThread)
{
    CThreadLock lock(pThread);
    JoinLocked(pThread);
}

// Runs when the thread ends, whether its procedure returned, it called pthread_exit or it was
// cancelled: a thread-specific value's destructor is the one hook all three pass through. A
// thread cancelled inside a call may no longer be seen to synchronise by some tools, so it only
// reads what was fixed before it started (or what an orphaning wrote) and signals by descriptor.
void OnThreadEnd(void* pValue)
{
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    auto* pThread = static_cast<ThreadObject*>(pValue);
    bool bOrphaned;
    {
        std::lock_guard<std::mutex> lock(pThread->Lock);
        bOrphaned = pThread->bOrphaned;
        eventfd_write(pThread->nEndFd, 1);
    }
    if (bOrphaned)
        DestroyThreadObject(pThread);
}

pthread_key_t EndKey()
{
    static const pthread_key_t key = [] {
        pthread_key_t created;
        pthread_key_create(&created, OnThreadEnd);
        return created;
    }();
    return key;
}

// Returns whether the procedure may run; false when the thread was killed at the gate.
bool WaitAtGate(ThreadObject* pThread)
{
    std::unique_lock<std::mutex> lock(pThread->Lock);
    pThread->nThreadId = CurrentThreadId();
    pThread->bReady = true;
    pThread->Changed.notify_all();
    pThread->Changed.wait(lock, [pThread] { return pThread->bResumed || pThread->bAbandoned; });
    return pThread->bResumed;
}

void* ThreadStart(void* pValue)
{
    // Not killable until the procedure runs: the gate holds the object's lock while it waits.
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    auto* pThread = static_cast<ThreadObject*>(pValue);
    pthread_setspecific(EndKey(), pThread);
    if (WaitAtGate(pThread)) {
        pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
        pThread->pProcedure(pThread->pArgument);
    }
    return nullptr;
}

bool StartSystemThread(ThreadObject* pThread)
{
    return pthread_create(&pThread->thread, nullptr, ThreadStart, pThread) == 0;
}

// The nice value standing for a priority level, or false for a value the system's scale lacks.
bool NiceForLevel(int32_t nPriority, int& nNice)
{
    switch (nPriority) {
    case PRIORITY_IDLE: nNice = 19; return true;
    case PRIORITY_LOWEST: nNice = 10; return true;
    case PRIORITY_BELOW_NORMAL: nNice = 5; return true;
    case PRIORITY_NORMAL: nNice = 0; return true;
    case PRIORITY_ABOVE_NORMAL: nNice = -5; return true;
    case PRIORITY_HIGHEST: nNice = -10; return true;
    case PRIORITY_TIME_CRITICAL: nNice = -20; return true;
    default: return false;
    }
}

}  // namespace

ThreadHandle CreateGatedThread(ThreadProcedure pProcedure, void* pArgument, uint32_t& nThreadId)
{
    CNoKillScope noKill;
    nThreadId = 0;
    EndKey();
    auto* pThread = new (std::nothrow) ThreadObject;
    if (!pThread)
        return nullptr;
    ++g_nOpenObjects;
    pThread->pProcedure = pProcedure;
    pThread->pArgument = pArgument;
    pThread->nEndFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (pThread->nEndFd < 0 || !StartSystemThread(pThread)) {
        DestroyThreadObject(pThread);
        return nullptr;
    }
    // The identifier is the new thread's own, known once it reaches the gate.
    std::unique_lock<std::mutex> lock(pThread->Lock);
    pThread->Changed.wait(lock, [pThread] { return pThread->bReady; });
    nThreadId = pThread->nThreadId;
    return pThread;
}

bool ResumeGatedThread(ThreadHandle hThread)
{
    if (!hThread)
        return false;
    CThreadLock lock(hThread);
    if (hThread->bResumed || hThread->bAbandoned || HasEndedLocked(hThread))
        return false;
    hThread->bResumed = true;
    hThread->Changed.notify_all();
    return true;
}

ThreadHandle DuplicateThreadHandle(ThreadHandle hThread)
{
    if (!hThread)
        return nullptr;
    CThreadLock lock(hThread);
    ++hThread->nHandles;
    return hThread;
}

void CloseThreadHandle(ThreadHandle hThread)
{
    if (!hThread)
        return;
    {
        CThreadLock lock(hThread);
        if (--hThread->nHandles > 0)
            return;
        if (!HasEndedLocked(hThread)) {
            // Nobody is left to join it: it frees the object itself when it ends.
            hThread->bOrphaned = true;
            pthread_detach(hThread->thread);
            return;
        }
        JoinLocked(hThread);
    }
    DestroyThreadObject(hThread);
}

uint32_t ThreadIdOf(ThreadHandle hThread)
{
    return hThread ? hThread->nThreadId.load() : 0;
}

bool SetThreadPriorityLevel(ThreadHandle hThread, int32_t nPriority)
{
    int nNice;
    if (!hThread || !NiceForLevel(nPriority, nNice))
        return false;
    CThreadLock lock(hThread);
    // Raising a thread above its process needs a privilege an ordinary user lacks.
    if (HasEndedLocked(hThread) ||
        setpriority(PRIO_PROCESS, static_cast<id_t>(hThread->nThreadId.load()), nNice) != 0)
        return false;
    hThread->nPriority = nPriority;
    return true;
}

int32_t GetThreadPriorityLevel(ThreadHandle hThread)
{
    if (!hThread)
        return PRIORITY_UNREADABLE;
    CThreadLock lock(hThread);
    return HasEndedLocked(hThread) ? PRIORITY_UNREADABLE : hThread->nPriority;
}

bool KillThread(ThreadHandle hThread, uint32_t nExitCode)
{
    if (!hThread)
        return false;
    {
        CThreadLock lock(hThread);
        if (HasEndedLocked(hThread)) {
            JoinLocked(hThread);
            return true;
        }
        if (hThread->bResumed) {
            pthread_cancel(hThread->thread);
        } else {
            hThread->bAbandoned = true;
            hThread->Changed.notify_all();
        }
    }
    return WaitForThread(hThread, KILL_GRACE_MILLISECONDS) == WAIT_RESULT_FIRST;
}

ZU_KILL_POINT uint32_t WaitForThread(ThreadHandle hThread, uint32_t nMilliseconds)
{
    if (!hThread)
        return WAIT_RESULT_FAILED;
    pollfd fd = Readable(hThread->nEndFd);
    const uint32_t nResult = PollReadable(&fd, 1, nMilliseconds);
    if (nResult == WAIT_RESULT_FIRST)
        Join(hThread);
    return nResult;
}

void EndCurrentThread(uint32_t nExitCode)
{
    pthread_exit(nullptr);
}

EventHandle CreateManualEvent()
{
    CNoKillScope noKill;
    auto* pEvent = new (std::nothrow) EventObject;
    if (!pEvent)
        return nullptr;
    pEvent->nFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (pEvent->nFd < 0) {
        delete pEvent;
        return nullptr;
    }
    ++g_nOpenObjects;
    return pEvent;
}

void CloseEvent(EventHandle hEvent)
{
    if (!hEvent)
        return;
    CNoKillScope noKill;
    close(hEvent->nFd);
    delete hEvent;
    --g_nOpenObjects;
}

bool SignalEvent(EventHandle hEvent)
{
    // The counter only needs to be non-zero; it cannot reach its limit by ones.
    return hEvent && eventfd_write(hEvent->nFd, 1) == 0;
}

bool ResetManualEvent(EventHandle hEvent)
{
    if (!hEvent)
        return false;
    eventfd_t nCount;
    return eventfd_read(hEvent->nFd, &nCount) == 0 || errno == EAGAIN;
}

ZU_KILL_POINT uint32_t WaitForEvent(EventHandle hEvent, uint32_t nMilliseconds)
{
    if (!hEvent)
        return WAIT_RESULT_FAILED;
    pollfd fd = Readable(hEvent->nFd);
    return PollReadable(&fd, 1, nMilliseconds);
}

ZU_KILL_POINT uint32_t WaitForEventOrThread(EventHandle hEvent, ThreadHandle hThread, uint32_t nMilliseconds)
{
    if (!hThread)
        return WAIT_RESULT_FAILED;
    // A negative descriptor is skipped by poll: a missing event is never signalled.
    pollfd fds[2] = {Readable(hEvent ? hEvent->nFd : -1), Readable(hThread->nEndFd)};
    const uint32_t nResult = PollReadable(fds, 2, nMilliseconds);
    if (nResult == WAIT_RESULT_SECOND)
        Join(hThread);
    return nResult;
}

void DispatchPendingMessages()
{
}

uint32_t CountOpenThreadObjects()
{
    return g_nOpenObjects.load();
}

CComApartment::CComApartment() = default;

CComApartment::~CComApartment() = default;

CNoKillScope::CNoKillScope()
{
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_nPreviousState);
}

CNoKillScope::~CNoKillScope()
{
    pthread_setcancelstate(m_nPreviousState, nullptr);
}

}  // namespace zu::platform
