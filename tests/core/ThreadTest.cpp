#include "core/Thread.h"
#include "host/MessageManager.h"
#include "platform/System.h"
#include "platform/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>

using namespace zu::platform;
using zu::host::CMessageManager;

namespace {

using CClock = std::chrono::steady_clock;

long long MillisecondsSince(CClock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(CClock::now() - start).count();
}

bool WaitUntil(const std::function<bool()>& condition, int nMilliseconds = 5000)
{
    const auto start = CClock::now();
    while (!condition()) {
        if (MillisecondsSince(start) > nMilliseconds)
            return false;
        SleepMilliseconds(2);
    }
    return true;
}

// A worker whose body, refusals and permissions each test chooses.
class CScriptedWorker : public CThread {
public:
    using CBody = std::function<int32_t(CScriptedWorker&)>;

    explicit CScriptedWorker(CBody body, ZUBOOL bRegister = 0) : CThread(0, bRegister), m_Body(std::move(body)) {}
    ~CScriptedWorker() override { Stop(-1); }

    // Ends the worker's thread from inside the body, as a body calling the base's EndWorker would.
    [[noreturn]] void EndFromBody() { CThread::EndWorker(); }
    // Blocks the body until the stop event is signalled.
    void WaitForStopEvent() { WaitForEvent(GetStopEvent(), WAIT_FOREVER); }

    std::atomic<uint32_t> nBodyThreadId{0};
    std::atomic<int> nUnregisterCalls{0};
    std::atomic<bool> bRefuseStart{false};
    std::atomic<bool> bFailCreate{false};
    std::atomic<bool> bMayTerminate{true};

protected:
    int32_t Thread() override
    {
        nBodyThreadId = CurrentThreadId();
        return m_Body(*this);
    }
    ZUBOOL OnStarting() override { return bRefuseStart ? 0 : 1; }
    ThreadHandle CreateWorker(int32_t nPriority) override
    {
        return bFailCreate ? nullptr : CThread::CreateWorker(nPriority);
    }
    ZUBOOL CanTerminate() override { return bMayTerminate ? 1 : 0; }
    void OnUnregister() override
    {
        ++nUnregisterCalls;
        CThread::OnUnregister();
    }

private:
    CBody m_Body;
};

int32_t WaitForStopThenReturn(CScriptedWorker& worker, int32_t nResult)
{
    worker.WaitForStopEvent();
    return nResult;
}

// Ignores the stop request and only ever sleeps: a body that must be killed. Counts its rounds so a
// test can see whether it still runs.
int32_t SleepForever(std::atomic<int>& nRounds)
{
    for (;;) {
        ++nRounds;
        SleepMilliseconds(10);
    }
}

}  // namespace

TEST(ThreadTest, WorkerNeverStartedOrRefusedStaysIdle)
{
    CScriptedWorker worker([](CScriptedWorker&) { return 5; }, 1);
    EXPECT_EQ(worker.Stop(-1), 1) << "never started";
    EXPECT_EQ(worker.IsStopRequested(), 1) << "a worker is idle, with its stop flag up, until started";
    EXPECT_EQ(worker.WaitForExit(), 0u);
    EXPECT_EQ(worker.WaitForStopOrExit(10), 0u);

    worker.bRefuseStart = true;
    EXPECT_EQ(worker.Start(0, 0), 0);
    EXPECT_EQ(worker.IsStopRequested(), 0) << "the flag is lowered before the refusal";
    EXPECT_EQ(worker.GetCookie(), 0u) << "a refused start registers nothing";

    worker.bRefuseStart = false;
    worker.bFailCreate = true;
    EXPECT_EQ(worker.Start(0, 0), 0);
    EXPECT_EQ(worker.GetStartCount(), 0);
    EXPECT_NE(worker.GetStopEvent(), nullptr) << "the event stays open after a failed creation";
    EXPECT_EQ(worker.Stop(-1), 1) << "still never started";
    EXPECT_NE(worker.GetStopEvent(), nullptr) << "a stop of a never-started worker touches nothing";
    EXPECT_EQ(worker.nBodyThreadId, 0u) << "no body ever ran";
}

TEST(ThreadTest, BodyRunsOnItsOwnThreadAndRestartsOnlyWhenAsked)
{
    CScriptedWorker quick([](CScriptedWorker&) { return 42; });
    ASSERT_EQ(quick.Start(0, 0), 1);
    EXPECT_EQ(quick.WaitForExit(), 0u);
    EXPECT_EQ(quick.IsRunning(), 0) << "the worker clears its handle as it ends";
    EXPECT_EQ(quick.Stop(-1), 42);
    EXPECT_EQ(quick.Stop(-1), -1) << "nothing left to collect";

    std::atomic<int> nStarted{0};
    CScriptedWorker worker([&](CScriptedWorker& self) { return WaitForStopThenReturn(self, ++nStarted); });
    ASSERT_EQ(worker.Start(0, 0), 1);
    ASSERT_TRUE(WaitUntil([&] { return nStarted == 1; }));
    const uint32_t nFirstThread = worker.GetThreadId();
    EXPECT_EQ(nFirstThread, worker.nBodyThreadId.load());
    EXPECT_NE(nFirstThread, CurrentThreadId());
    EXPECT_EQ(worker.GetExitCode(), -1) << "no result while the body runs";
    EXPECT_EQ(worker.Start(0, 0), 1) << "already running";
    EXPECT_EQ(worker.GetThreadId(), nFirstThread);

    EXPECT_EQ(worker.Start(0, 1), 1);
    ASSERT_TRUE(WaitUntil([&] { return nStarted == 2; }));
    EXPECT_EQ(worker.IsStopRequested(), 0) << "the restart lowers the flag the first run was stopped with";
    EXPECT_EQ(worker.Stop(-1), 2) << "the first run's result went to the restart's own stop";
    EXPECT_EQ(worker.GetThreadId(), 0u);
    EXPECT_EQ(worker.GetStopEvent(), nullptr) << "Stop closes the event";

    EXPECT_EQ(worker.Start(PRIORITY_BELOW_NORMAL, 0), 1) << "a stopped worker starts again, here with a priority";
    EXPECT_EQ(worker.GetStartCount(), 3);
    EXPECT_EQ(worker.Stop(-1), 3);
}

TEST(ThreadTest, WaitForStopOrExitTellsTheStopFromTheEnd)
{
    std::atomic<bool> bRelease{false};
    CScriptedWorker stubborn([&](CScriptedWorker&) {
        while (!bRelease)
            SleepMilliseconds(5);
        return 11;
    });
    ASSERT_EQ(stubborn.Start(0, 0), 1);
    EXPECT_EQ(stubborn.WaitForStopOrExit(30), WAIT_RESULT_TIMEOUT);
    stubborn.SetStopRequest(1);
    EXPECT_EQ(stubborn.WaitForStopOrExit(WAIT_FOREVER), 0u) << "the stop is seen while the body still runs";
    EXPECT_EQ(stubborn.IsRunning(), 1);
    bRelease = true;
    EXPECT_EQ(stubborn.Stop(-1), 11);

    CScriptedWorker brief([](CScriptedWorker&) {
        SleepMilliseconds(300);
        return 12;
    });
    ASSERT_EQ(brief.Start(0, 0), 1);
    EXPECT_EQ(brief.WaitForStopOrExit(10000), 1u) << "the body ended with no stop requested";
    EXPECT_EQ(brief.Stop(-1), 12);

    CThread base(1, 0);
    EXPECT_EQ(base.IsRunning(), 1) << "a start value starts the worker at once";
    EXPECT_EQ(base.WaitForStopOrExit(150), WAIT_RESULT_TIMEOUT) << "the base body runs until stopped";
    EXPECT_EQ(base.Stop(-1), 1);
}

TEST(ThreadTest, BodyIgnoringTheStopIsKilledAfterTheTimeout)
{
    std::atomic<int> nRounds{0};
    CScriptedWorker worker([&](CScriptedWorker&) { return SleepForever(nRounds); });
    worker.SetStopTimeout(500);
    ASSERT_EQ(worker.Start(0, 0), 1);
    ASSERT_TRUE(WaitUntil([&] { return nRounds > 0; }));
    const auto start = CClock::now();
    EXPECT_EQ(worker.Stop(-1), -1) << "a killed run never stores an exit code";
    const long long nElapsed = MillisecondsSince(start);
    EXPECT_GE(nElapsed, 500);
    EXPECT_LT(nElapsed, 3000);
    const int nRoundsAtStop = nRounds;
    SleepMilliseconds(60);
    EXPECT_EQ(nRounds, nRoundsAtStop) << "the body no longer runs";

    // An explicit time-out wins over the stored one, and the worker can be started again.
    const int nRoundsBefore = nRounds;
    ASSERT_EQ(worker.Start(0, 0), 1);
    ASSERT_TRUE(WaitUntil([&] { return nRounds > nRoundsBefore; }));
    const auto restart = CClock::now();
    EXPECT_EQ(worker.Stop(100), -1);
    EXPECT_GE(MillisecondsSince(restart), 100);
    EXPECT_LT(MillisecondsSince(restart), 500);
}

TEST(ThreadTest, StopWaitsForABodyThatMayNotBeKilledAndPollsAtItsInterval)
{
    CScriptedWorker unkillable([](CScriptedWorker&) {
        SleepMilliseconds(400);
        return 9;
    });
    unkillable.bMayTerminate = false;
    unkillable.SetStopTimeout(100);
    ASSERT_EQ(unkillable.Start(0, 0), 1);
    auto start = CClock::now();
    EXPECT_EQ(unkillable.Stop(-1), 9);
    EXPECT_GE(MillisecondsSince(start), 300) << "Stop waited past its time-out for the body";

    CScriptedWorker lingering([](CScriptedWorker& self) {
        self.WaitForStopEvent();
        SleepMilliseconds(50);  // still running when Stop first looks
        return 3;
    });
    lingering.SetStopPollInterval(300);
    lingering.SetPumpMessages(1);
    ASSERT_EQ(lingering.Start(0, 0), 1);
    start = CClock::now();
    EXPECT_EQ(lingering.Stop(-1), 3);
    EXPECT_GE(MillisecondsSince(start), 300) << "one full poll interval before the end is seen";
}

// On Linux a body that holds its kill off outlives the kill. Stop then waits for it: returning
// would let the owner free what the body still uses.
TEST(ThreadTest, StopDoesNotReturnWhileABodyItCouldNotKillStillRuns)
{
    std::atomic<int> nRounds{0};
    auto pWorker = std::make_unique<CScriptedWorker>([&](CScriptedWorker&) -> int32_t {
        const CNoKillScope noKill;
        for (int i = 0; i < 60; ++i) {
            ++nRounds;
            SleepMilliseconds(10);
        }
        return 5;
    });
    ASSERT_EQ(pWorker->Start(0, 0), 1);
    ASSERT_TRUE(WaitUntil([&] { return nRounds > 0; }));
    pWorker->Stop(100);
    const int nRoundsAtStop = nRounds;
    SleepMilliseconds(100);
    EXPECT_EQ(nRounds, nRoundsAtStop) << "the body ran on after Stop returned";
    // Returned early, Stop left the body running: let it end before its object goes.
    if (nRounds != nRoundsAtStop) {
        WaitUntil([&] { return nRounds == 60; }, 2000);
        SleepMilliseconds(50);
    }
}

TEST(ThreadTest, WorkerThatEndsItsOwnThreadIsFoundGone)
{
    CScriptedWorker worker([](CScriptedWorker& self) -> int32_t { self.EndFromBody(); });
    ASSERT_EQ(worker.Start(0, 0), 1);
    EXPECT_EQ(worker.WaitForExit(), 0u);
    EXPECT_EQ(worker.IsRunning(), 1) << "the handle was never cleared";
    const auto start = CClock::now();
    EXPECT_EQ(worker.Stop(-1), -1) << "waits without limit, yet finds the thread gone";
    EXPECT_GE(MillisecondsSince(start), 1000);
    EXPECT_EQ(worker.IsRunning(), 0);
}

TEST(ThreadTest, RegisteredWorkerPostsToTheMainThread)
{
    CMessageManager* pManager = CMessageManager::Instance();
    ASSERT_NE(pManager, nullptr);
    ASSERT_EQ(pManager->PendingCount(), 0u);

    std::atomic<bool> bPosted{false};
    CScriptedWorker worker(
        [&](CScriptedWorker& self) {
            self.PostToMainThread(100, 7);
            bPosted = true;
            return WaitForStopThenReturn(self, 0);
        },
        1);
    EXPECT_EQ(worker.PostToMainThread(1, 1), 0) << "not registered before the start";
    ASSERT_EQ(worker.Start(0, 0), 1);
    const uint32_t nCookie = worker.GetCookie();
    EXPECT_NE(nCookie, 0u);
    EXPECT_TRUE(pManager->IsRegistered(nCookie));

    CMessageManager::CMessage message{};
    ASSERT_TRUE(pManager->TakeNext(message, 5000));
    EXPECT_EQ(message.nCookie, nCookie);
    EXPECT_EQ(message.nMessage, 100u);
    EXPECT_EQ(message.nParam, 7);

    // Whatever is still queued at the stop is dropped with the registration.
    ASSERT_TRUE(WaitUntil([&] { return bPosted.load(); }));
    EXPECT_EQ(worker.PostToMainThread(102, 9), 1);
    EXPECT_EQ(pManager->PendingCount(), 1u);
    worker.Stop(-1);
    EXPECT_EQ(worker.nUnregisterCalls, 1);
    EXPECT_EQ(pManager->PendingCount(), 0u);
    EXPECT_FALSE(pManager->IsRegistered(nCookie));
    EXPECT_EQ(worker.PostToMainThread(103, 0), 0);

    // Each start registers anew; without the notification only the manager forgets.
    worker.SetNotifyAtUnregister(0);
    ASSERT_EQ(worker.Start(0, 0), 1);
    EXPECT_NE(worker.GetCookie(), 0u);
    worker.Stop(-1);
    EXPECT_EQ(worker.nUnregisterCalls, 1);
    EXPECT_EQ(pManager->PendingCount(), 0u) << "unregistering drops the run's posts all the same";
}

TEST(ThreadTest, StartsStopsAndKillsLeaveNoHandleBehind)
{
    const uint32_t nOpenBefore = CountOpenThreadObjects();
    std::atomic<int> nRounds{0};
    for (int i = 0; i < 12; ++i) {
        CScriptedWorker quick([](CScriptedWorker&) { return 1; });
        ASSERT_EQ(quick.Start(0, 0), 1);
        ASSERT_EQ(quick.Start(0, 1), 1);
        quick.Stop(-1);

        // Killed inside its body, not while the thread still sets itself up.
        CScriptedWorker stubborn([&](CScriptedWorker&) { return SleepForever(nRounds); });
        stubborn.SetStopTimeout(0);
        const int nRoundsBefore = nRounds;
        ASSERT_EQ(stubborn.Start(0, 0), 1);
        ASSERT_TRUE(WaitUntil([&] { return nRounds > nRoundsBefore; }));
        EXPECT_EQ(stubborn.Stop(-1), -1);

        CScriptedWorker failing([](CScriptedWorker&) { return 1; });
        failing.bFailCreate = true;
        EXPECT_EQ(failing.Start(0, 0), 0);
    }
    {
        // Left running for the destructor to stop.
        CScriptedWorker abandoned([](CScriptedWorker& self) { return WaitForStopThenReturn(self, 0); });
        ASSERT_EQ(abandoned.Start(0, 0), 1);
    }
    EXPECT_EQ(CountOpenThreadObjects(), nOpenBefore);
}
