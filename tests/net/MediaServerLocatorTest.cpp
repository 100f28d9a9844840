#include "net/MediaServerLocator.h"

#include "ServerSupport.h"
#include "net/SocketTestSupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using namespace zutest;

namespace {

// While it lives, the host picks the entry at m_nPick (or cancels when it is negative) and keeps
// the entries and messages it was shown.
class CLocatorHost {
public:
    explicit CLocatorHost(int nPick) : m_nPick(nPick)
    {
        ZUHostCallbacks callbacks{};
        callbacks.cbSize = sizeof(callbacks);
        callbacks.pContext = this;
        callbacks.ChooseMediaServer = &Choose;
        callbacks.ShowMessage = &Show;
        ZUReaderSetHostCallbacks(&callbacks);
    }
    ~CLocatorHost() { ZUReaderSetHostCallbacks(nullptr); }

    std::vector<std::vector<std::string>> m_Choices;
    std::vector<std::string> m_Messages;

private:
    static ZUBOOL Choose(void* pContext, const ZUCHAR* const* ppszEntries, uint32_t nEntries, uint32_t* pnChosen)
    {
        auto* pHost = static_cast<CLocatorHost*>(pContext);
        std::vector<std::string> entries;
        for (uint32_t i = 0; i < nEntries; ++i)
            entries.push_back(Utf8(Text16(ppszEntries[i])));
        pHost->m_Choices.push_back(entries);
        if (pHost->m_nPick < 0)
            return 0;
        *pnChosen = static_cast<uint32_t>(pHost->m_nPick);
        return 1;
    }
    static void Show(void* pContext, const ZUCHAR* pszMessage)
    {
        static_cast<CLocatorHost*>(pContext)->m_Messages.push_back(Utf8(Text16(pszMessage)));
    }

    int m_nPick;
};

std::string Chosen(const std::string& found, bool* pFound = nullptr)
{
    std::string url;
    const bool bFound = CMediaServerLocator::ChooseFromFound(found, url);
    if (pFound)
        *pFound = bFound;
    return bFound ? url : "(none)";
}

std::string FindUrl(CMediaServerLocator& locator, int64_t* pMilliseconds = nullptr)
{
    ZUCHAR url[128] = {};
    const auto start = CClock::now();
    const ZUBOOL bFound = locator.FindMediaServer(url, 128);
    if (pMilliseconds)
        *pMilliseconds = MillisecondsSince(start);
    return bFound ? Utf8(Text16(url)) : "(none)";
}

}  // namespace

TEST(MediaServerLocatorTest, RepliesAndTheirEntries)
{
    EXPECT_EQ(CMediaServerLocator::EntryOfReply("MediaServer:box:192.0.2.7:8931", "127.0.0.1"), "box:192.0.2.7:8931");
    EXPECT_EQ(CMediaServerLocator::EntryOfReply("MediaServer:box:127.0.0.1:8931", "127.0.0.1"), "")
        << "a server on the client's own machine";
    EXPECT_EQ(CMediaServerLocator::EntryOfReply("MediaServers:box:192.0.2.7:8931", ""), "");
    EXPECT_EQ(CMediaServerLocator::EntryOfReply("GetMediaServerAddress", ""), "");
    EXPECT_EQ(CMediaServerLocator::EntryOfReply("MediaServer:box", "127.0.0.1"), "box") << "short ones pass, to be refused later";

    CLocatorHost host(1);
    EXPECT_EQ(Chosen("box:192.0.2.7:8931|box:192.0.2.7:8931|"), "m01p://192.0.2.7:8931");
    EXPECT_TRUE(host.m_Choices.empty()) << "one server answering twice needs no choice";
    EXPECT_EQ(Chosen(""), "(none)");

    EXPECT_EQ(Chosen("a:192.0.2.1:80|b:192.0.2.2:81|a:192.0.2.1:80|"), "m01p://192.0.2.2:81");
    ASSERT_EQ(host.m_Choices.size(), 1u);
    EXPECT_EQ(host.m_Choices[0], (std::vector<std::string>{"a:192.0.2.1:80", "b:192.0.2.2:81"}));

    for (const std::string& bad : {std::string("box:8931"), std::string("box:192.0.2.7:8931:extra")}) {
        EXPECT_EQ(Chosen(bad + "|"), "(none)") << bad;
        ASSERT_FALSE(host.m_Messages.empty());
        EXPECT_EQ(host.m_Messages.back(), "Invalid Media Server information.\r\n" + bad);
    }
}

TEST(MediaServerLocatorTest, ChoiceCancelledOrWithoutHost)
{
    const std::string two = "a:192.0.2.1:80|b:192.0.2.2:81|";
    {
        CLocatorHost host(-1);
        EXPECT_EQ(Chosen(two), "(none)");
        EXPECT_EQ(host.m_Choices.size(), 1u);
    }
    EXPECT_EQ(Chosen(two), "(none)") << "without a host nobody chooses";
    // A host built before the member existed (cbSize without it) is not asked.
    ZUHostCallbacks old{};
    old.cbSize = offsetof(ZUHostCallbacks, ChooseMediaServer);
    ASSERT_EQ(ZUReaderSetHostCallbacks(&old), 1);
    EXPECT_EQ(Chosen(two), "(none)");
    ZUReaderSetHostCallbacks(nullptr);
}

TEST(MediaServerLocatorTest, NoAnswerEndsAfterFiveAndAHalfSeconds)
{
    CMediaServerLocator client(FreePort(true));
    int64_t nMilliseconds = 0;
    EXPECT_EQ(FindUrl(client, &nMilliseconds), "(none)");
    EXPECT_EQ(client.LastSetupResult(), 0);
    EXPECT_NEAR(static_cast<double>(nMilliseconds), 5500.0, 300.0);
}

TEST(MediaServerLocatorTest, AnnouncerFoundUnlessOnTheClientsMachine)
{
    const uint16_t nPort = FreePort(true);
    CMediaServerLocator client(nPort);
    ZUCHAR hostName[256] = {}, ownAddress[32] = {};
    const bool bOwn = client.GetLocalHostAddress(hostName, 256, ownAddress, 32) != 0;
    auto pOther = std::make_unique<CMediaServerLocator>(nPort);
    ASSERT_EQ(pOther->StartAnnouncing(Z(u"192.0.2.77"), Z(u"8931")), 1);
    std::unique_ptr<CMediaServerLocator> pOwn;
    if (bOwn) {
        pOwn = std::make_unique<CMediaServerLocator>(nPort);
        ASSERT_EQ(pOwn->StartAnnouncing(ownAddress, Z(u"8932")), 1);
    }
    CLocatorHost host(-1);
    EXPECT_EQ(FindUrl(client), "m01p://192.0.2.77:8931") << "the one on this machine is passed over";
    EXPECT_TRUE(host.m_Choices.empty());

    const auto start = CClock::now();
    pOther.reset();
    pOwn.reset();
    EXPECT_LT(MillisecondsSince(start), 5200) << "deleting ends the announce threads within a cycle";
}

TEST(MediaServerLocatorTest, OverlongReplyIsCutAndRefused)
{
    ZU_REQUIRE_PEER_PROGRAMS();
    const uint16_t nPort = FreePort(true);
    CSocketReaderPtr pReady = NewSocketReader(true);
    const uint16_t nReadyPort = BindLoopback(*pReady);
    CPeerProcess peer(PythonPeer({"locator-reply", std::to_string(nPort), "@600", std::to_string(nReadyPort)}));
    pReady->SetReceiveTimeout(5000);
    ASSERT_EQ(ReadUpTo(*pReady, 16), "ready") << "the peer listens before the request goes out";
    CMediaServerLocator client(nPort);
    CLocatorHost host(0);
    EXPECT_EQ(FindUrl(client), "(none)");
    ASSERT_EQ(host.m_Messages.size(), 1u) << "the reply came and was shown as invalid";
    const std::string prefix = "Invalid Media Server information.\r\n";
    EXPECT_EQ(host.m_Messages[0], prefix + std::string(512 - 12, 'x')) << "512 bytes read of 600, the field taken off";
    EXPECT_EQ(peer.Wait(5000), 0);
}
