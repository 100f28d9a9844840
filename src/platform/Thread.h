// Thread seam: system threads that start held at a gate until resumed, their priority, a forced
// end, manual-reset events, waits on an event and a thread together, the COM apartment of a worker
// and the dispatching of a user-interface thread's queued messages.
//
// Handles are counted references: every open handle (the creator's, each duplicate) keeps the
// thread's bookkeeping alive, so one thread may close its handle while another still waits on,
// queries or kills the thread through its own duplicate. Users never join: on POSIX the seam reaps
// a thread once a wait has seen it end or its last handle is closed, however it ended, and a
// wait that has seen a thread end also sees everything that thread wrote.
//
// On Windows a forced end is TerminateThread, and anything the thread holds at that moment (a
// lock, heap memory) stays held for ever. On POSIX it is pthread_cancel, which only takes effect
// when the thread next enters a cancellation point (a sleep, a wait of this seam, a blocking read
// or write...) and then unwinds the thread's stack, running its destructors; inside a destructor
// (or any function that may not throw) it ends the whole process instead, so a destructor that
// reaches a cancellation point holds the kill off with a CNoKillScope. The seam's own calls never
// leave anything behind: they hold nothing while they block.
#pragma once

#include <atomic>
#include <cstdint>

namespace zu::platform {

struct ThreadObject;
struct EventObject;
using ThreadHandle = ThreadObject*;
using EventHandle = EventObject*;

// Run on the new thread once it is resumed.
using ThreadProcedure = void (*)(void* pArgument);

// Wait results, with the system's values: the first (or only) object, the second one, time-out.
enum : uint32_t {
    WAIT_RESULT_FIRST = 0,
    WAIT_RESULT_SECOND = 1,
    WAIT_RESULT_TIMEOUT = 258,
    WAIT_RESULT_FAILED = 0xFFFFFFFF
};
constexpr uint32_t WAIT_FOREVER = 0xFFFFFFFF;

// Priority levels on the system's scale; POSIX maps them onto the thread's nice value.
enum : int32_t {
    PRIORITY_IDLE = -15,
    PRIORITY_LOWEST = -2,
    PRIORITY_BELOW_NORMAL = -1,
    PRIORITY_NORMAL = 0,
    PRIORITY_ABOVE_NORMAL = 1,
    PRIORITY_HIGHEST = 2,
    PRIORITY_TIME_CRITICAL = 15
};
// What a priority query answers once the thread is gone or the handle is not valid.
constexpr int32_t PRIORITY_UNREADABLE = 2147483647;

// How long a kill waits for the thread to be gone before it reports failure.
constexpr uint32_t KILL_GRACE_MILLISECONDS = 250;

// Creates a thread with the default stack size that runs nothing until ResumeGatedThread (or ends
// without running anything when killed first; closing every handle leaves it held for good). Stores
// the system's identifier of the new thread. Null when the system refuses.
ThreadHandle CreateGatedThread(ThreadProcedure pProcedure, void* pArgument, uint32_t& nThreadId);
// Lets a gated thread run its procedure; false when it was already let go or has ended.
bool ResumeGatedThread(ThreadHandle hThread);
// A further handle to the same thread, to be closed on its own; null for a null handle.
ThreadHandle DuplicateThreadHandle(ThreadHandle hThread);
void CloseThreadHandle(ThreadHandle hThread);
uint32_t ThreadIdOf(ThreadHandle hThread);
bool SetThreadPriorityLevel(ThreadHandle hThread, int32_t nPriority);
// PRIORITY_UNREADABLE once the thread has ended.
int32_t GetThreadPriorityLevel(ThreadHandle hThread);
// Ends the thread from outside (the exit code is kept where the system keeps one) and waits up to
// KILL_GRACE_MILLISECONDS for it to be gone. True when it is gone; false when it is still running,
// which on POSIX means it has not reached a cancellation point.
bool KillThread(ThreadHandle hThread, uint32_t nExitCode);
// WAIT_RESULT_FIRST once the thread has ended, WAIT_RESULT_TIMEOUT if it outlives the wait.
uint32_t WaitForThread(ThreadHandle hThread, uint32_t nMilliseconds);
// Ends the calling thread at once; on POSIX, objects on its stack are not destroyed.
[[noreturn]] void EndCurrentThread(uint32_t nExitCode);

// Manual-reset events: created unsignalled; stay signalled until reset.
EventHandle CreateManualEvent();
void CloseEvent(EventHandle hEvent);
bool SignalEvent(EventHandle hEvent);
bool ResetManualEvent(EventHandle hEvent);
// WAIT_RESULT_FIRST when signalled within the time.
uint32_t WaitForEvent(EventHandle hEvent, uint32_t nMilliseconds);
// Waits until the event is signalled (WAIT_RESULT_FIRST) or the thread has ended
// (WAIT_RESULT_SECOND), whichever comes first; both at once answer the event. A null event is
// never signalled.
uint32_t WaitForEventOrThread(EventHandle hEvent, ThreadHandle hThread, uint32_t nMilliseconds);

// Dispatches the user-interface messages queued for the calling thread; nothing where the system
// has no such queue.
void DispatchPendingMessages();

// How many thread and event handles of this seam are open (POSIX: thread and event objects alive,
// a thread's own counting until it has ended); lets tests prove that nothing is left behind.
uint32_t CountOpenThreadObjects();

// Owns one thread handle.
class CThreadHandle {
public:
    CThreadHandle() = default;
    explicit CThreadHandle(ThreadHandle hThread) : m_hThread(hThread) {}
    ~CThreadHandle() { Reset(); }
    CThreadHandle(const CThreadHandle&) = delete;
    CThreadHandle& operator=(const CThreadHandle&) = delete;
    CThreadHandle(CThreadHandle&& other) noexcept : m_hThread(other.Release()) {}
    CThreadHandle& operator=(CThreadHandle&& other) noexcept
    {
        Reset(other.Release());
        return *this;
    }

    ThreadHandle Get() const { return m_hThread; }
    explicit operator bool() const { return m_hThread != nullptr; }
    ThreadHandle Release()
    {
        ThreadHandle hThread = m_hThread;
        m_hThread = nullptr;
        return hThread;
    }
    void Reset(ThreadHandle hThread = nullptr)
    {
        if (m_hThread)
            CloseThreadHandle(m_hThread);
        m_hThread = hThread;
    }

private:
    ThreadHandle m_hThread = nullptr;
};

// Owns one manual-reset event. The handle is atomic because a worker may read it while its owner
// replaces it.
class CEvent {
public:
    CEvent() = default;
    ~CEvent() { Close(); }
    CEvent(const CEvent&) = delete;
    CEvent& operator=(const CEvent&) = delete;

    // Replaces any event held with a new unsignalled one; false when none could be made.
    bool Create()
    {
        Close();
        m_hEvent.store(CreateManualEvent(), std::memory_order_release);
        return Get() != nullptr;
    }
    void Close()
    {
        if (EventHandle hEvent = m_hEvent.exchange(nullptr, std::memory_order_acq_rel))
            CloseEvent(hEvent);
    }
    EventHandle Get() const { return m_hEvent.load(std::memory_order_acquire); }
    bool Signal() const { return SignalEvent(Get()); }
    bool Reset() const { return ResetManualEvent(Get()); }
    uint32_t Wait(uint32_t nMilliseconds) const { return WaitForEvent(Get(), nMilliseconds); }

private:
    std::atomic<EventHandle> m_hEvent{nullptr};
};

// The COM apartment of the calling thread for the object's lifetime (Windows); nothing elsewhere.
class CComApartment {
public:
    CComApartment();
    ~CComApartment();
    CComApartment(const CComApartment&) = delete;
    CComApartment& operator=(const CComApartment&) = delete;

private:
    bool m_bInitialized = false;
};

// While it lives, a forced end of the calling thread waits: put it around code that holds a lock
// or owns memory across a cancellation point. Nothing on Windows, where a kill cannot be deferred.
class CNoKillScope {
public:
    CNoKillScope();
    ~CNoKillScope();
    CNoKillScope(const CNoKillScope&) = delete;
    CNoKillScope& operator=(const CNoKillScope&) = delete;

private:
    int m_nPreviousState = 0;
};

}  // namespace zu::platform
