// CCallThread: the thread on which one Internet object's blocking calls run while their caller
// waits. Closing a handle must release a caller blocked on it at once. Windows does that for a
// call blocked inside WinINet; Wine leaves a blocked receive running until its time-out. A caller
// that waits here is released by Cancel however the system behaves, and the call itself ends on
// this thread in its own time, touching only what it shares with the thread.
#pragma once

#include <functional>
#include <memory>

namespace zu::platform {

class CCallThread {
public:
    CCallThread();
    // The thread ends once the call under way, if any, has returned.
    ~CCallThread();
    CCallThread(const CCallThread&) = delete;
    CCallThread& operator=(const CCallThread&) = delete;

    // Runs call on the thread and waits for it; false when Cancel came first or no thread could
    // be made. The call must own (or share) everything it touches: after a cancel it outlives the
    // wait.
    bool Run(std::function<void()> call);
    // From any thread: releases the waiting caller and refuses every later call.
    void Cancel();
    bool IsCancelled() const;

    // What the thread and the object share; outlives whichever lets go first.
    struct CShared;

private:
    bool Start();

    std::shared_ptr<CShared> m_pShared;
};

}  // namespace zu::platform
