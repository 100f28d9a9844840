#include "platform/System.h"
#include "platform/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

using namespace zu::platform;

namespace {

// What a test's thread procedure works with; lives on the test's stack.
struct CProbe {
    std::atomic<bool> bRan{false};
    std::atomic<bool> bFinished{false};
    std::atomic<uint32_t> nThreadId{0};
    CEvent Release;  // the procedure waits for it
};

void RecordAndReturn(void* pArgument)
{
    auto* pProbe = static_cast<CProbe*>(pArgument);
    pProbe->nThreadId = CurrentThreadId();
    pProbe->bRan = true;
    pProbe->bFinished = true;
}

void WaitForRelease(void* pArgument)
{
    auto* pProbe = static_cast<CProbe*>(pArgument);
    pProbe->bRan = true;
    pProbe->Release.Wait(WAIT_FOREVER);
    pProbe->bFinished = true;
}

CThreadHandle Create(void (*pProcedure)(void*), CProbe& probe, uint32_t& nThreadId)
{
    return CThreadHandle(CreateGatedThread(pProcedure, &probe, nThreadId));
}

bool WaitUntilOpenObjects(uint32_t nCount)
{
    for (int i = 0; i < 1000 && CountOpenThreadObjects() != nCount; ++i)
        SleepMilliseconds(5);
    return CountOpenThreadObjects() == nCount;
}

}  // namespace

TEST(PlatformThreadTest, GatedThreadRunsOnlyOnceResumed)
{
    const uint32_t nOpenBefore = CountOpenThreadObjects();
    CProbe probe;
    uint32_t nThreadId = 0;
    CThreadHandle thread = Create(RecordAndReturn, probe, nThreadId);
    ASSERT_TRUE(thread);
    EXPECT_NE(nThreadId, 0u);
    EXPECT_EQ(ThreadIdOf(thread.Get()), nThreadId);
    EXPECT_EQ(WaitForThread(thread.Get(), 50), WAIT_RESULT_TIMEOUT);
    EXPECT_FALSE(probe.bRan) << "held at the gate";

    // A duplicate outlives the original handle and still drives the thread.
    CThreadHandle copy(DuplicateThreadHandle(thread.Get()));
    ASSERT_TRUE(copy);
    thread.Reset();
    EXPECT_TRUE(ResumeGatedThread(copy.Get()));
    EXPECT_FALSE(ResumeGatedThread(copy.Get())) << "already let go";
    EXPECT_EQ(WaitForThread(copy.Get(), 5000), WAIT_RESULT_FIRST);
    EXPECT_TRUE(probe.bFinished);
    EXPECT_EQ(probe.nThreadId, nThreadId) << "the identifier is the thread's own";
    EXPECT_EQ(WaitForThread(copy.Get(), 0), WAIT_RESULT_FIRST) << "an ended thread stays signalled";
    copy.Reset();
    EXPECT_TRUE(WaitUntilOpenObjects(nOpenBefore));
}

TEST(PlatformThreadTest, PriorityIsSetReadBackAndUnreadableOnceEnded)
{
    CProbe probe;
    ASSERT_TRUE(probe.Release.Create());
    uint32_t nThreadId = 0;
    CThreadHandle thread = Create(WaitForRelease, probe, nThreadId);
    ASSERT_TRUE(thread);
    EXPECT_EQ(GetThreadPriorityLevel(thread.Get()), PRIORITY_NORMAL);
    EXPECT_TRUE(SetThreadPriorityLevel(thread.Get(), PRIORITY_BELOW_NORMAL));
    EXPECT_EQ(GetThreadPriorityLevel(thread.Get()), PRIORITY_BELOW_NORMAL);
    ASSERT_TRUE(ResumeGatedThread(thread.Get()));
    EXPECT_TRUE(SetThreadPriorityLevel(thread.Get(), PRIORITY_LOWEST));
    EXPECT_FALSE(SetThreadPriorityLevel(thread.Get(), 7)) << "not a level of the scale";
    EXPECT_EQ(GetThreadPriorityLevel(thread.Get()), PRIORITY_LOWEST);

    probe.Release.Signal();
    ASSERT_EQ(WaitForThread(thread.Get(), 5000), WAIT_RESULT_FIRST);
    EXPECT_EQ(GetThreadPriorityLevel(thread.Get()), PRIORITY_UNREADABLE);
    EXPECT_FALSE(SetThreadPriorityLevel(thread.Get(), PRIORITY_NORMAL));
}

TEST(PlatformThreadTest, ManualEventStaysSignalledUntilReset)
{
    CEvent event;
    ASSERT_TRUE(event.Create());
    EXPECT_EQ(event.Wait(0), WAIT_RESULT_TIMEOUT) << "created unsignalled";
    EXPECT_TRUE(event.Signal());
    EXPECT_TRUE(event.Signal());
    EXPECT_EQ(event.Wait(0), WAIT_RESULT_FIRST);
    EXPECT_EQ(event.Wait(0), WAIT_RESULT_FIRST) << "a wait does not consume the signal";
    EXPECT_TRUE(event.Reset());
    EXPECT_EQ(event.Wait(0), WAIT_RESULT_TIMEOUT) << "one reset undoes any number of signals";
    EXPECT_TRUE(event.Reset()) << "resetting an unsignalled event is no failure";

    std::atomic<uint32_t> nResult{WAIT_RESULT_FAILED};
    std::thread waiter([&] { nResult = event.Wait(WAIT_FOREVER); });
    SleepMilliseconds(30);
    EXPECT_EQ(nResult, WAIT_RESULT_FAILED) << "still waiting";
    event.Signal();
    waiter.join();
    EXPECT_EQ(nResult, WAIT_RESULT_FIRST);

    event.Close();
    EXPECT_FALSE(event.Signal());
    EXPECT_EQ(event.Wait(0), WAIT_RESULT_FAILED);
}

TEST(PlatformThreadTest, PairWaitAnswersWhicheverIsSignalledFirst)
{
    CProbe probe;
    ASSERT_TRUE(probe.Release.Create());
    CEvent stop;
    ASSERT_TRUE(stop.Create());
    uint32_t nThreadId = 0;
    CThreadHandle thread = Create(WaitForRelease, probe, nThreadId);
    ASSERT_TRUE(ResumeGatedThread(thread.Get()));

    EXPECT_EQ(WaitForEventOrThread(stop.Get(), thread.Get(), 20), WAIT_RESULT_TIMEOUT);
    stop.Signal();
    EXPECT_EQ(WaitForEventOrThread(stop.Get(), thread.Get(), 5000), WAIT_RESULT_FIRST);
    stop.Reset();

    probe.Release.Signal();
    EXPECT_EQ(WaitForEventOrThread(stop.Get(), thread.Get(), 5000), WAIT_RESULT_SECOND);
    EXPECT_TRUE(probe.bFinished);
    EXPECT_EQ(WaitForEventOrThread(nullptr, thread.Get(), 0), WAIT_RESULT_SECOND) << "no event: only the thread";
    stop.Signal();
    EXPECT_EQ(WaitForEventOrThread(stop.Get(), thread.Get(), 0), WAIT_RESULT_FIRST) << "both: the event wins";
}

// Killed while it blocks in a wait on an event: the event stays usable and nothing is left open.
TEST(PlatformThreadTest, AThreadKilledInAWaitLeavesNothingBehind)
{
    const uint32_t nOpenBefore = CountOpenThreadObjects();
    {
        CProbe probe;
        ASSERT_TRUE(probe.Release.Create());
        uint32_t nThreadId = 0;
        CThreadHandle thread = Create(WaitForRelease, probe, nThreadId);
        ASSERT_TRUE(ResumeGatedThread(thread.Get()));
        for (int i = 0; i < 1000 && !probe.bRan; ++i)
            SleepMilliseconds(2);
        ASSERT_TRUE(probe.bRan);
        EXPECT_TRUE(KillThread(thread.Get(), 1));
        EXPECT_EQ(WaitForThread(thread.Get(), 0), WAIT_RESULT_FIRST);
        EXPECT_TRUE(probe.Release.Signal());
        SleepMilliseconds(20);
        EXPECT_FALSE(probe.bFinished) << "the wait never returned";
        EXPECT_EQ(GetThreadPriorityLevel(thread.Get()), PRIORITY_UNREADABLE);
        EXPECT_TRUE(KillThread(thread.Get(), 1)) << "killing an ended thread is no failure";
    }
    EXPECT_TRUE(WaitUntilOpenObjects(nOpenBefore));
}
