// CThread: the base of every background worker. A derived class supplies Thread, the body that runs
// on the worker; the base owns the system thread, a manual-reset stop event and a stop flag, starts
// and restarts the worker, stops it with a bounded wait (killing it after the stop time-out when
// CanTerminate allows) and can register it with the main-thread message manager.
//
// What a body must do to be stoppable:
// - Return soon after a stop is requested: poll IsStopRequested between steps, and block only in
//   waits that the stop event ends (GetStopEvent, WaitForStopOrExit), never in a plain sleep longer
//   than a poll interval.
// - Expect to be killed when it outlives a limited stop time-out. On Windows the kill
//   (TerminateThread) lands anywhere, and whatever the body holds then is never released: hold
//   no lock across a wait. On Linux it is pthread_cancel and lands only in cancellation points
//   (sleeps, waits, blocking reads and writes); the body's stack is unwound, its destructors run,
//   but a cancellation point reached inside a destructor ends the process: such destructors hold
//   the kill off (platform::CNoKillScope). A body that reaches no cancellation point, or holds the
//   kill off, is not killed at once; Stop then waits for it to end, since it still uses this
//   object and what its owner gave it.
// - A derived class whose body uses its own members calls Stop in its own destructor: the base
//   destructor stops the worker too, but only once the derived part is already gone.
// - Start the worker after construction: a non-zero start value in the constructor starts the
//   base body, since no derived override exists yet.
#pragma once

#include <zureader/Types.h>

#include "platform/Thread.h"

#include <atomic>
#include <cstdint>

class CThread {
public:
    // A non-zero nStart starts the worker at once with normal priority.
    explicit CThread(int32_t nStart = 0, ZUBOOL bRegister = 0);
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    virtual int32_t RunHook();                                         // slot 0
    virtual ~CThread();                                                // 1
    // 1 when a worker was created (or one is running and bRestart is 0).
    virtual ZUBOOL Start(int32_t nPriority, ZUBOOL bRestart);          // 2
    // nTimeout -1 means the stored stop time-out; negative waits without limit. Answers the exit
    // code of the run (-1 when it was killed), or 1 when the worker was never started.
    virtual int32_t Stop(int32_t nTimeout);                            // 3
    virtual ZUBOOL SetStopRequest(ZUBOOL bStop);                       // 4
    virtual void OnUnregister();                                       // 5
    virtual ZUBOOL IsRunning();                                        // 6
    // Never from the worker itself: it would wait for its own end.
    virtual uint32_t WaitForExit();                                    // 7
    // 0 stop requested, 1 thread ended, 258 time-out; 0 without a thread.
    virtual uint32_t WaitForStopOrExit(uint32_t nMilliseconds);        // 8
    virtual int32_t GetExitCode();                                     // 9
    virtual uint32_t GetThreadId();                                    // 10
    virtual ZUBOOL IsStopRequested();                                  // 11
    virtual zu::platform::EventHandle GetStopEvent();                  // 12
    virtual ZUBOOL CanTerminate();                                     // 13
    virtual int32_t GetStartCount();                                   // 14
    virtual void SetStopTimeout(int32_t nMilliseconds);                // 15
    virtual void SetPumpMessages(ZUBOOL bPump);                        // 16
    virtual void SetStopPollInterval(uint32_t nMilliseconds);          // 17
    virtual void SetOptionWord(uint32_t nValue);                       // 18
    virtual void SetNotifyAtUnregister(ZUBOOL bNotify);                // 19

    // Posts to the main thread through the message manager; 0 unless registered.
    ZUBOOL PostToMainThread(uint32_t nMessage, intptr_t nParam);
    // The message manager's cookie, 0 while not registered.
    uint32_t GetCookie() const { return m_nCookie.load(std::memory_order_acquire); }

protected:
    // The worker body; its result becomes the exit code.
    virtual int32_t Thread();                                          // 20
    virtual int32_t OnRunHook();                                       // 21
    // 0 refuses the start.
    virtual ZUBOOL OnStarting();                                       // 22
    virtual zu::platform::ThreadHandle CreateWorker(int32_t nPriority); // 23
    virtual void CloseWorkerHandle(zu::platform::ThreadHandle hThread); // 24
    [[noreturn]] virtual void EndWorker();                             // 25

    uint32_t GetOptionWord() const { return m_nOptionWord; }

private:
    static void ThreadProcedure(void* pArgument);
    void WaitForWorkerToEnd(int32_t nTimeout);
    void TerminateWorker();
    // Takes the worker's handle out of the object and closes it, if the worker has not.
    void ReleaseWorkerHandle();
    void RegisterWithManager();
    void UnregisterFromManager();

    // The worker clears the handle and identifier and stores the exit code while the client polls
    // them; the worker reads the stop flag and the cookie while the client writes them.
    std::atomic<zu::platform::ThreadHandle> m_hThread{nullptr};
    std::atomic<uint32_t> m_nThreadId{0};
    std::atomic<ZUBOOL> m_bStopRequested{1};
    zu::platform::CEvent m_StopEvent;
    std::atomic<int32_t> m_nExitCode{-1};
    std::atomic<uint32_t> m_nCookie{0};
    ZUBOOL m_bRegister;
    int32_t m_nStopTimeout = -1;
    uint32_t m_nOptionWord = 1;
    ZUBOOL m_bPumpMessages = 0;
    uint32_t m_nStopPollInterval = 20;
    ZUBOOL m_bNotifyAtUnregister = 1;
    int32_t m_nStartCount = 0;
    // The client's own reference to the running thread, for the waits, the priority check and the
    // kill: the worker closes the handle above whenever it ends, and a handle another thread closes
    // cannot be used safely.
    zu::platform::CThreadHandle m_ClientThread;
};
