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

TEST(MessageManagerTest, CookiesAreDistinctAndOnlyRegisteredOnesPost)
{
    ASSERT_NE(CMessageManager::Instance(), nullptr);
    CCookies cookies;
    std::set<uint32_t> seen;
    for (int i = 0; i < 5; ++i) {
        const uint32_t nCookie = cookies.Add();
        EXPECT_NE(nCookie, 0u);
        EXPECT_TRUE(seen.insert(nCookie).second) << "cookie handed out twice";
        EXPECT_TRUE(Manager().IsRegistered(nCookie));
    }
    const uint32_t nGone = *seen.begin();
    EXPECT_TRUE(Manager().Unregister(nGone));
    EXPECT_FALSE(Manager().Unregister(nGone));
    EXPECT_FALSE(Manager().IsRegistered(nGone));
    EXPECT_FALSE(Manager().Post(nGone, 1, 1));
    EXPECT_FALSE(Manager().Post(0, 1, 1));
    EXPECT_FALSE(Manager().IsRegistered(0));
    EXPECT_EQ(Manager().PendingCount(), 0u);
}

TEST(MessageManagerTest, PostsQueueInOrderAndDropPerCookie)
{
    CCookies cookies;
    const uint32_t a = cookies.Add();
    const uint32_t b = cookies.Add();
    ASSERT_TRUE(Manager().Post(a, 10, 1));
    ASSERT_TRUE(Manager().Post(b, 20, -2));
    ASSERT_TRUE(Manager().Post(a, 11, 3));
    EXPECT_EQ(Manager().PendingCount(), 3u);

    CMessageManager::CMessage message = Take();
    EXPECT_EQ(message.nCookie, a);
    EXPECT_EQ(message.nMessage, 10u);
    EXPECT_EQ(message.nParam, 1);
    message = Take();
    EXPECT_EQ(message.nCookie, b);
    EXPECT_EQ(message.nMessage, 20u);
    EXPECT_EQ(message.nParam, -2);
    EXPECT_EQ(Take().nMessage, 11u);
    EXPECT_FALSE(Manager().TakeNext(message, 20)) << "nothing left";

    Manager().Post(a, 12, 0);
    Manager().Post(b, 21, 0);
    Manager().Post(a, 13, 0);
    EXPECT_EQ(Manager().DropPending(a), 2u);
    EXPECT_TRUE(Manager().IsRegistered(a)) << "dropping keeps the registration";
    EXPECT_EQ(Manager().PendingCount(), 1u);
    EXPECT_EQ(Take().nMessage, 21u);

    Manager().Post(b, 22, 0);
    EXPECT_TRUE(Manager().Unregister(b));
    EXPECT_EQ(Manager().PendingCount(), 0u) << "unregistering drops what was pending";
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
    EXPECT_EQ(delivered[0].nCookie, nCookie);
    EXPECT_EQ(delivered[0].nMessage, 5u);
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
    std::vector<uint32_t> posterCookies;
    for (int i = 0; i < kPosters; ++i)
        posterCookies.push_back(cookies.Add());

    std::vector<std::thread> posters;
    for (uint32_t nCookie : posterCookies) {
        posters.emplace_back([nCookie] {
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
