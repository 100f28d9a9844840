// CTestWatchdog: names the test that hangs. A test program killed from outside (the runner's
// time-out, the kernel out of memory) dies without saying where it was; this one aborts the
// program itself, after naming the test, once a single test runs longer than its limit.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace zutest {

class CTestWatchdog : public testing::EmptyTestEventListener {
public:
    explicit CTestWatchdog(std::chrono::seconds limit);
    ~CTestWatchdog() override;

    void OnTestStart(const testing::TestInfo& info) override;
    void OnTestEnd(const testing::TestInfo& info) override;

private:
    void Watch();

    const std::chrono::seconds m_Limit;
    std::mutex m_Lock;
    std::condition_variable m_Changed;
    std::string m_strRunning;
    std::chrono::steady_clock::time_point m_Deadline;
    bool m_bEnding = false;
    std::thread m_Thread;
};

}  // namespace zutest
