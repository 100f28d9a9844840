#include "InterruptWatch.h"

#include <csignal>

namespace zucli {
namespace {

volatile std::sig_atomic_t g_bInterrupted = 0;

// A service manager or a script stops a program with SIGTERM; it deserves the same clean end.
constexpr int kSignals[] = {SIGINT, SIGTERM};

}  // namespace

CInterruptWatch::CInterruptWatch()
{
    g_bInterrupted = 0;
    for (size_t i = 0; i < kSignalCount; ++i) {
        m_aPrevious[i] = std::signal(kSignals[i], &CInterruptWatch::OnInterrupt);
        if (m_aPrevious[i] == SIG_IGN)
            std::signal(kSignals[i], SIG_IGN);
    }
}

CInterruptWatch::~CInterruptWatch()
{
    for (size_t i = 0; i < kSignalCount; ++i)
        std::signal(kSignals[i], m_aPrevious[i] == SIG_ERR ? SIG_DFL : m_aPrevious[i]);
}

bool CInterruptWatch::IsInterrupted() const
{
    return g_bInterrupted != 0;
}

void CInterruptWatch::OnInterrupt(int nSignal)
{
    g_bInterrupted = 1;
    std::signal(nSignal, SIG_DFL);
}

}  // namespace zucli
