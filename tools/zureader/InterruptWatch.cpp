#include "InterruptWatch.h"

#include <csignal>

namespace zucli {
namespace {

volatile std::sig_atomic_t g_bInterrupted = 0;

}  // namespace

CInterruptWatch::CInterruptWatch()
{
    g_bInterrupted = 0;
    m_pPrevious = std::signal(SIGINT, &CInterruptWatch::OnInterrupt);
    if (m_pPrevious == SIG_IGN)
        std::signal(SIGINT, SIG_IGN);
}

CInterruptWatch::~CInterruptWatch()
{
    std::signal(SIGINT, m_pPrevious == SIG_ERR ? SIG_DFL : m_pPrevious);
}

bool CInterruptWatch::IsInterrupted() const
{
    return g_bInterrupted != 0;
}

void CInterruptWatch::OnInterrupt(int)
{
    g_bInterrupted = 1;
    std::signal(SIGINT, SIG_DFL);
}

}  // namespace zucli
