#include "host/MessageManager.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <thread>
#include <vector>

using zu::host::CMessageManager;

namespace {

CMessageManager& Manager()
{
    return *CMessageManager::Instance();
}

// Unregisters the cookies a test made, whatever the test's outcome, so later tests find the
// process-wide manager empty.
class CCookies {
public:
    ~CCookies()
    {
        for (uint32_t nCookie : m_Cookies)
            Manager().Unregister(nCookie);
        Manager().SetDelivery({});
    }
    uint32_t Add()
    {
        const uint32_t nCookie = Manager().Register();
        m_Cookies.push_back(nCookie);
        return nCookie;
    }

private:
    std::vector<uint32_t> m_Cookies;
};

CMessageManager::CMessage Take()
{
    CMessageManager::CMessage message{0, 0, 0};
    EXPECT_TRUE(Manager().TakeNext(message, 1000));
    return message;
}

}  // namespace

// What a registered worker posts, and its posts dropped at its stop, are shown in the thread tests.
TEST(MessageManagerTest, CookiesAreDistinctAndPostsQueueInOrderAndDropPerCookie)
{
    CCookies cookies;
    std::set<uint32_t> seen;
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(seen.insert(cookies.Add()).second) << "cookie handed out twice";
    EXPECT_EQ(seen.count(0), 0u);
    const uint32_t a = *seen.begin(), b = *seen.rbegin();

    Manager().Post(a, 12, 0);
    Manager().Post(b, 21, 0);
    Manager().Post(a, 13, 0);
    Manager().Post(b, 22, 0);
    EXPECT_EQ(Manager().DropPending(a), 2u);
    EXPECT_TRUE(Manager().IsRegistered(a)) << "dropping keeps the registration";
    EXPECT_EQ(Take().nMessage, 21u);
    EXPECT_EQ(Take().nMessage, 22u);
    CMessageManager::CMessage message{};
    EXPECT_FALSE(Manager().TakeNext(message, 20)) << "nothing left";

    EXPECT_TRUE(Manager().Unregister(a));
    EXPECT_FALSE(Manager().Unregister(a));
    EXPECT_FALSE(Manager().Post(a, 1, 1));
    EXPECT_FALSE(Manager().Post(0, 1, 1));
    EXPECT_EQ(Manager().PendingCount(), 0u);
}

TEST(MessageManagerTest, DeliveryReceivesPostsInsteadOfTheQueue)
{
    CCookies cookies;
    const uint32_t nCookie = cookies.Add();
    std::vector<CMessageManager::CMessage> delivered;
    bool bAccept = true;
    Manager().SetDelivery([&](const CMessageManager::CMessage& message) {
        delivered.push_back(message);
        return bAccept;
    });
    EXPECT_TRUE(Manager().Post(nCookie, 5, 6));
    bAccept = false;
    EXPECT_FALSE(Manager().Post(nCookie, 7, 8)) << "the host refused it";
    EXPECT_FALSE(Manager().Post(nCookie + 1000, 9, 9)) << "unknown cookies never reach the host";
    ASSERT_EQ(delivered.size(), 2u);
    EXPECT_EQ(delivered[0].nParam, 6);
    EXPECT_EQ(Manager().PendingCount(), 0u);

    Manager().SetDelivery({});
    EXPECT_TRUE(Manager().Post(nCookie, 1, 2));
    EXPECT_EQ(Manager().PendingCount(), 1u) << "queued again without a delivery";
    EXPECT_EQ(Take().nMessage, 1u);
}

TEST(MessageManagerConcurrencyTest, PostsFromManyThreadsArriveInEachPostersOrder)
{
    constexpr int kPosters = 4;
    constexpr int kPosts = 300;
    CCookies cookies;
    std::vector<std::thread> posters;
    for (int i = 0; i < kPosters; ++i) {
        posters.emplace_back([nCookie = cookies.Add()] {
            for (int i = 0; i < kPosts; ++i)
                Manager().Post(nCookie, 1, i);
        });
    }
    std::map<uint32_t, intptr_t> lastParam;
    int nTaken = 0;
    CMessageManager::CMessage message{};
    while (nTaken < kPosters * kPosts && Manager().TakeNext(message, 5000)) {
        const auto pLast = lastParam.find(message.nCookie);
        const intptr_t nExpected = pLast == lastParam.end() ? 0 : pLast->second + 1;
        EXPECT_EQ(message.nParam, nExpected) << "cookie " << message.nCookie;
        lastParam[message.nCookie] = message.nParam;
        ++nTaken;
    }
    for (std::thread& poster : posters)
        poster.join();
    EXPECT_EQ(nTaken, kPosters * kPosts);
    EXPECT_EQ(lastParam.size(), static_cast<size_t>(kPosters));
    EXPECT_EQ(Manager().PendingCount(), 0u);
}
