// Turns the user's interrupt (Ctrl-C, or SIGTERM) into a request that a long-running command polls, so that it
// can finish its output cleanly instead of dying with bytes still in a buffer. A second interrupt
// ends the program at once, for when the command is stuck. An interrupt that the parent process
// told us to ignore stays ignored. One watch at a time.
#pragma once

#include <cstddef>

namespace zucli {

class CInterruptWatch {
public:
    CInterruptWatch();
    ~CInterruptWatch();
    CInterruptWatch(const CInterruptWatch&) = delete;
    CInterruptWatch& operator=(const CInterruptWatch&) = delete;

    bool IsInterrupted() const;

private:
    using CHandler = void (*)(int);
    static void OnInterrupt(int nSignal);
    static constexpr size_t kSignalCount = 2;

    CHandler m_aPrevious[kSignalCount];
};

}  // namespace zucli
