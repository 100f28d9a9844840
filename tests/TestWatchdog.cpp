#include "TestWatchdog.h"

#include <cstdio>
#include <cstdlib>

namespace zutest {

CTestWatchdog::CTestWatchdog(std::chrono::seconds limit) : m_Limit(limit), m_Thread([this] { Watch(); }) {}

CTestWatchdog::~CTestWatchdog()
{
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        m_bEnding = true;
    }
    m_Changed.notify_one();
    m_Thread.join();
}

void CTestWatchdog::OnTestStart(const testing::TestInfo& info)
{
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        m_strRunning = std::string(info.test_suite_name()) + "." + info.name();
        m_Deadline = std::chrono::steady_clock::now() + m_Limit;
    }
    m_Changed.notify_one();
}

void CTestWatchdog::OnTestEnd(const testing::TestInfo&)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    m_strRunning.clear();
}

void CTestWatchdog::Watch()
{
    std::unique_lock<std::mutex> lock(m_Lock);
    while (!m_bEnding) {
        if (m_strRunning.empty()) {
            m_Changed.wait(lock);
            continue;
        }
        const std::string running = m_strRunning;
        if (m_Changed.wait_until(lock, m_Deadline) == std::cv_status::no_timeout || m_strRunning != running)
            continue;
        if (std::chrono::steady_clock::now() < m_Deadline)
            continue;
        std::fprintf(stderr, "\n[ WATCHDOG ] %s ran longer than %lld s; aborting the test program\n", running.c_str(),
                     static_cast<long long>(m_Limit.count()));
        std::fflush(stderr);
        std::abort();
    }
}

}  // namespace zutest
