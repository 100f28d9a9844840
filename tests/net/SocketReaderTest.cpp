#include "net/SocketTestSupport.h"

#include "ServerSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <regex>
#include <thread>

using namespace zutest;

namespace {

constexpr uint32_t kFailed = 0xFFFFFFFFu;

std::string PeerText(VSocketReader& reader)
{
    ZUCHAR text[32] = {};
    reader.GetPeerAddressText(text, 32);
    return Utf8(Text16(text));
}

std::string LocalText(VSocketReader& reader, int32_t nIndex)
{
    ZUCHAR text[32] = {};
    reader.GetLocalAddressText(text, 32, nIndex);
    return Utf8(Text16(text));
}

// Connects a new TCP reader to 127.0.0.1:nPort, trying again while the peer is still starting.
CSocketReaderPtr ConnectWithin(uint16_t nPort, uint32_t nMilliseconds)
{
    const auto end = CClock::now() + std::chrono::milliseconds(nMilliseconds);
    while (CClock::now() < end) {
        CSocketReaderPtr pReader = NewSocketReader(false);
        if (pReader && pReader->ConnectTo(Z(u"127.0.0.1"), nPort) == 0)
            return pReader;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return nullptr;
}

// Accept, bounded: when no peer came within the time, a connection of the test's own releases it.
CSocketReaderPtr AcceptWithin(VSocketReader& listener, uint16_t nPort, uint32_t nMilliseconds)
{
    std::atomic<bool> bAccepted{false};
    std::thread watchdog([&] {
        const auto end = CClock::now() + std::chrono::milliseconds(nMilliseconds);
        while (!bAccepted && CClock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (!bAccepted)
            CSocketReaderPtr pReleaser = ConnectWithin(nPort, 1000);
    });
    VSocketReader* pAccepted = listener.Accept();
    bAccepted = true;
    watchdog.join();
    return CSocketReaderPtr(pAccepted);
}

// Sends text to the reader's peer and reads one datagram back within the time.
std::string AskPeer(VSocketReader& reader, const std::string& text, uint32_t nWaitMs = 300)
{
    reader.SetReceiveTimeout(nWaitMs);
    reader.Write(text.data(), static_cast<uint32_t>(text.size()));
    return ReadUpTo(reader, 512);
}

std::string ExpectedFailure(const std::string& message, int nError, bool bSocket)
{
    return message + ": " + std::to_string(nError) + (bSocket ? " \\(socket: -?\\d+\\)" : "");
}

// The one line logged under operation matches "message: error (socket: n)".
void ExpectLogged(CSharingLog& log, const std::string& operation, const std::string& message, int nError,
                  bool bSocket = true)
{
    const auto lines = log.Messages(operation);
    const std::regex expected(ExpectedFailure(message, nError, bSocket));
    bool bFound = false;
    for (const std::string& line : lines)
        bFound = bFound || std::regex_match(line, expected);
    EXPECT_TRUE(bFound) << operation << " logged no \"" << message << "\" line with error " << nError << "; lines: "
                        << testing::PrintToString(lines);
}

}  // namespace

TEST(SocketReaderTest, AnswersOfAReaderWithoutPosition)
{
    for (bool bUDP : {false, true}) {
        SCOPED_TRACE(bUDP ? "UDP" : "TCP");
        CSocketReaderPtr pReader = NewSocketReader(bUDP);
        ASSERT_TRUE(pReader);
        EXPECT_EQ(pReader->GetType(), bUDP ? 7u : 6u);
        EXPECT_EQ(pReader->IsDatagram(), bUDP ? 1 : 0);
        EXPECT_EQ(pReader->IsOpen(), 1) << "the socket exists from construction";
        EXPECT_EQ(pReader->Open(), 1);
        EXPECT_EQ(pReader->Reserved(), -1);
        EXPECT_EQ(pReader->GetLength(), -1);
        EXPECT_EQ(pReader->GetPosition(), -1);
        EXPECT_EQ(pReader->SetPosition(10, 0), 0);
        EXPECT_EQ(pReader->SetEndOfFile(), 0);
        EXPECT_EQ(pReader->Create(), 0);
        EXPECT_EQ(pReader->IsLengthUnknown(), 1);
        EXPECT_EQ(pReader->IsRemote(), 1);
        EXPECT_EQ(pReader->IsReadOnly(), 0);
        EXPECT_EQ(pReader->GetInfo(Z(u"Location")), nullptr);
        EXPECT_EQ(pReader->Write("x", 0), 0u) << "an empty write answers 0 on any socket";
        // The operations of the other kind of socket.
        EXPECT_EQ(pReader->SetKeepAlive(), bUDP ? 0 : 1);
        EXPECT_EQ(pReader->EnableBroadcast(), bUDP ? 1 : 0);
        if (!bUDP) {
            EXPECT_EQ(pReader->JoinMulticast(Z(u"239.255.0.1"), nullptr), 0);
        }
        pReader->Close();
        EXPECT_EQ(pReader->IsOpen(), 0);
    }
}

TEST(SocketReaderTest, TcpConnectToEchoesThroughSocat)
{
    ZU_REQUIRE_PEER_PROGRAMS();
    const uint16_t nPort = FreePort(false);
    ASSERT_NE(nPort, 0);
    CPeerProcess socat({"/usr/bin/socat", "TCP-LISTEN:" + std::to_string(nPort) + ",bind=127.0.0.1,reuseaddr", "PIPE"});
    ASSERT_TRUE(socat.Started());
    CSocketReaderPtr pReader = ConnectWithin(nPort, 5000);
    ASSERT_TRUE(pReader) << "ConnectTo answers 0 once socat listens";
    EXPECT_EQ(PeerText(*pReader), "127.0.0.1");
    uint32_t nPeer = 0;
    uint16_t nPeerPort = 0;
    pReader->GetPeerAddress(&nPeer, &nPeerPort);
    EXPECT_EQ(nPeer, 0x7F000001u) << "host order";
    EXPECT_EQ(nPeerPort, nPort);
    EXPECT_EQ(LocalText(*pReader, -1), "127.0.0.1") << "the address that reaches the peer";

    const std::string sent = PatternBytes(100000);
    std::string echoed;
    std::thread writer([&] {
        EXPECT_EQ(pReader->Write(sent.data(), static_cast<uint32_t>(sent.size())), sent.size());
    });
    while (echoed.size() < sent.size()) {
        const std::string chunk = ReadUpTo(*pReader, 65536);
        if (chunk.empty())
            break;
        echoed += chunk;
    }
    writer.join();
    EXPECT_TRUE(echoed == sent) << "echoed " << echoed.size() << " of " << sent.size() << " bytes intact";
}

TEST(SocketReaderTest, TcpConnectToRefusalsAndNames)
{
    CSharingLog log;
    const uint16_t nClosed = FreePort(false);
    CSocketReaderPtr pRefused = NewSocketReader(false);
    EXPECT_EQ(pRefused->ConnectTo(Z(u"127.0.0.1"), nClosed), 1) << "1 means not connected";
    ExpectLogged(log, "CTCPSocketReader::Connect", "Connect failed", SocketErrors().nConnectionRefused);
    ZUSocketAddress closed = LoopbackAddress(nClosed);
    CSocketReaderPtr pDirect = NewSocketReader(false);
    EXPECT_NE(pDirect->Connect(&closed), 0) << "Connect answers the system's error result";

    // A name goes through the resolver; localhost has an IPv4 address, the .invalid domain none.
    CSocketReaderPtr pListener = NewSocketReader(false);
    const uint16_t nPort = BindLoopback(*pListener);
    ASSERT_EQ(pListener->Listen(), 1);
    CSocketReaderPtr pNamed;
    const auto end = CClock::now() + std::chrono::seconds(5);
    while (!pNamed && CClock::now() < end) {
        CSocketReaderPtr pTry = NewSocketReader(false);
        if (pTry->ConnectTo(Z(u"localhost"), nPort) == 0)
            pNamed = std::move(pTry);
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ASSERT_TRUE(pNamed) << "localhost resolves and connects";
    EXPECT_EQ(PeerText(*pNamed), "127.0.0.1");

    CSocketReaderPtr pNowhere = NewSocketReader(false);
    pNowhere->SetTimeout(3000);
    const auto start = CClock::now();
    EXPECT_EQ(pNowhere->ConnectTo(Z(u"no-such-host.invalid"), 80), 1);
    EXPECT_LT(MillisecondsSince(start), 3500) << "a name lookup is bounded by the reader's time-out";
}

TEST(SocketReaderTest, TcpListenAcceptServesAPeer)
{
    ZU_REQUIRE_PEER_PROGRAMS();
    CSocketReaderPtr pListener = NewSocketReader(false);
    ASSERT_TRUE(pListener);
    ASSERT_EQ(pListener->BindTo(Z(u"127.0.0.1"), 0), 1);
    uint32_t nAddress = 0;
    uint16_t nPort = 0;
    ASSERT_EQ(pListener->GetLocalAddress(&nAddress, &nPort), 1);
    EXPECT_EQ(nAddress, 0x7F000001u);
    ASSERT_EQ(pListener->Listen(), 1);

    const uint32_t nCount = 100000;
    CPeerProcess peer(PythonPeer({"tcp-send", std::to_string(nPort), std::to_string(nCount)}));
    ASSERT_TRUE(peer.Started());
    CSocketReaderPtr pAccepted = AcceptWithin(*pListener, nPort, 10000);
    ASSERT_TRUE(pAccepted);
    EXPECT_EQ(pAccepted->GetType(), 6u);
    EXPECT_EQ(PeerText(*pAccepted), "127.0.0.1");
    std::string received;
    for (std::string chunk; !(chunk = ReadUpTo(*pAccepted, 32768)).empty();)
        received += chunk;
    ASSERT_EQ(received.size(), nCount) << "everything up to the peer's half-close";
    EXPECT_EQ(pAccepted->Write(received.data(), nCount), nCount);
    // The last reference closes the connection, which ends the peer's read.
    pAccepted.reset();
    EXPECT_EQ(peer.Wait(10000), 0) << "the peer got its bytes back unchanged";
}

TEST(SocketReaderTest, FailuresAreLoggedWithTheSocketError)
{
    const CSocketErrors& errors = SocketErrors();
    CSharingLog log;

    // Bind: the port is taken.
    CSocketReaderPtr pFirst = NewSocketReader(true);
    const uint16_t nTaken = BindLoopback(*pFirst);
    ASSERT_NE(nTaken, 0);
    CSocketReaderPtr pSecond = NewSocketReader(true);
    EXPECT_EQ(BindLoopback(*pSecond, nTaken), 0);
    ExpectLogged(log, "VSocketReader::Bind", "Winsock bind failed", errors.nAddressInUse, false);

    // UDP Read: nothing came within the receive time-out.
    pFirst->SetReceiveTimeout(100);
    char buffer[16];
    EXPECT_EQ(pFirst->Read(buffer, sizeof(buffer)), 0u);
    ExpectLogged(log, "CUDPSocketReader::Read", "Read failed", errors.nTimedOut);

    // UDP Write: a datagram larger than any the system sends.
    const std::string huge(70000, 'x');
    const ZUSocketAddress self = LoopbackAddress(nTaken);
    pSecond->SetPeerAddress(&self);
    EXPECT_EQ(pSecond->Write(huge.data(), static_cast<uint32_t>(huge.size())), kFailed);
    ExpectLogged(log, "CUDPSocketReader::Write", "Write failed", errors.nMessageTooLong, false);

    // WaitForData (through UDP Accept): the socket is gone.
    pSecond->ResetSocket(0);
    EXPECT_EQ(pSecond->Accept(), nullptr);
    ExpectLogged(log, "VSocketReader::WaitForData", "Failed", errors.nBadSocket, false);

    // TCP Listen on a closed reader, TCP Write on an unconnected one.
    CSocketReaderPtr pTcp = NewSocketReader(false);
    EXPECT_EQ(pTcp->Write("abc", 3), kFailed);
    ExpectLogged(log, "CTCPSocketReader::Write", "Write failed", errors.nSendUnconnected);
    pTcp->Close();
    EXPECT_EQ(pTcp->Listen(), 0);
    ExpectLogged(log, "CTCPSocketReader::Listen", "Listen failed", errors.nBadSocket);

    // TCP Read: a connected peer that says nothing within the receive time-out.
    CSocketReaderPtr pListener = NewSocketReader(false);
    const uint16_t nPort = BindLoopback(*pListener);
    ASSERT_EQ(pListener->Listen(), 1);
    CSocketReaderPtr pSilent = NewSocketReader(false);
    ASSERT_EQ(pSilent->ConnectTo(Z(u"127.0.0.1"), nPort), 0);
    CSocketReaderPtr pQuiet(pListener->Accept());
    ASSERT_TRUE(pQuiet);
    pSilent->SetReceiveTimeout(150);
    EXPECT_EQ(pSilent->Read(buffer, sizeof(buffer)), 0u);
    ExpectLogged(log, "CTCPSocketReader::Read", "Read failed", errors.nTimedOut);
}

TEST(SocketReaderTest, UdpEmptyWritesSendNothing)
{
    ZU_REQUIRE_PEER_PROGRAMS();
    const uint16_t nPort = FreePort(true);
    CPeerProcess peer(PythonPeer({"udp-count", std::to_string(nPort), "10"}));
    ASSERT_TRUE(peer.Started());
    CSocketReaderPtr pReader = NewSocketReader(true);
    const ZUSocketAddress counter = LoopbackAddress(nPort);
    EXPECT_EQ(pReader->Connect(&counter), 0) << "UDP Connect only sets the peer";
    std::string answer;
    for (int i = 0; i < 50 && answer != "ready"; ++i)
        answer = AskPeer(*pReader, "ready?");
    ASSERT_EQ(answer, "ready") << "the counting peer started";
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(pReader->Write("ignored", 0), 0u);
    EXPECT_EQ(pReader->Write("one", 3), 3u);
    EXPECT_EQ(pReader->Write("", 0), 0u);
    EXPECT_EQ(AskPeer(*pReader, "count?", 3000), "1") << "only the datagram with bytes in it arrived";
    EXPECT_EQ(peer.Wait(5000), 0);
}

TEST(SocketReaderTest, UdpReadMakesTheSenderThePeerAndAcceptSharesTheSocket)
{
    ZU_REQUIRE_PEER_PROGRAMS();
    CSocketReaderPtr pListener = NewSocketReader(true);
    const uint16_t nPort = BindLoopback(*pListener);
    ASSERT_NE(nPort, 0);
    CPeerProcess alpha(PythonPeer({"udp-ask", std::to_string(nPort), "alpha"}));
    CPeerProcess beta(PythonPeer({"udp-ask", std::to_string(nPort), "beta"}));
    ASSERT_TRUE(alpha.Started() && beta.Started());
    pListener->SetReceiveTimeout(10000);

    // The first datagram through the listener, the second through a reader that Accept shares it to.
    const std::string first = ReadUpTo(*pListener, 512);
    ASSERT_FALSE(first.empty());
    EXPECT_EQ(PeerText(*pListener), "127.0.0.1");
    uint32_t nAddress = 0;
    uint16_t nFirstSender = 0, nSecondSender = 0, nListenerPeer = 0;
    pListener->GetPeerAddress(&nAddress, &nFirstSender);
    const std::string firstAck = "ack:" + first;
    EXPECT_EQ(pListener->Write(firstAck.data(), static_cast<uint32_t>(firstAck.size())), firstAck.size());

    CSocketReaderPtr pAccepted(pListener->Accept());
    ASSERT_TRUE(pAccepted) << "a datagram is waiting";
    EXPECT_EQ(pAccepted->GetType(), 7u);
    const std::string second = ReadUpTo(*pAccepted, 512);
    EXPECT_NE(second, first);
    pAccepted->GetPeerAddress(&nAddress, &nSecondSender);
    pListener->GetPeerAddress(&nAddress, &nListenerPeer);
    EXPECT_NE(nFirstSender, nSecondSender) << "the Read made the second sender the peer";
    EXPECT_EQ(nListenerPeer, nSecondSender) << "the peer belongs to the shared socket";
    const std::string secondAck = "ack:" + second;
    EXPECT_EQ(pAccepted->Write(secondAck.data(), static_cast<uint32_t>(secondAck.size())), secondAck.size());
    EXPECT_EQ(alpha.Wait(5000), 0) << "alpha got its own answer";
    EXPECT_EQ(beta.Wait(5000), 0) << "beta got its own answer";

    // The listener lets its socket go; the accepted reader still holds it.
    pListener->Close();
    EXPECT_EQ(pListener->IsOpen(), 0);
    EXPECT_EQ(pAccepted->IsOpen(), 1);
    CPeerProcess gamma(PythonPeer({"udp-ask", std::to_string(nPort), "gamma"}));
    pAccepted->SetReceiveTimeout(10000);
    EXPECT_EQ(ReadUpTo(*pAccepted, 512), "gamma");
    EXPECT_EQ(pAccepted->Write("ack:gamma", 9), 9u);
    EXPECT_EQ(gamma.Wait(5000), 0);

    // ResetSocket with the close flag closes it for every holder.
    CSocketReaderPtr pOther = NewSocketReader(true);
    pOther->ShareSocket(pAccepted.get());
    pAccepted->ResetSocket(1);
    EXPECT_EQ(pAccepted->IsOpen(), 0);
    EXPECT_EQ(pOther->IsOpen(), 0);
}

TEST(SocketReaderTest, LocalAddressList)
{
    CSocketReaderPtr pReader = NewSocketReader(true);
    const int32_t nCount = pReader->QueryLocalAddresses();
    ASSERT_GE(nCount, 1);
    const std::regex dotted("\\d{1,3}\\.\\d{1,3}\\.\\d{1,3}\\.\\d{1,3}");
    for (int32_t i = 0; i < nCount; ++i)
        EXPECT_TRUE(std::regex_match(LocalText(*pReader, i), dotted)) << "entry " << i << ": " << LocalText(*pReader, i);
    EXPECT_EQ(LocalText(*pReader, nCount), "") << "one past the list";
    EXPECT_EQ(LocalText(*pReader, -2), "");
    ZUCHAR small[4] = {1, 1, 1, 1};
    pReader->GetLocalAddressText(small, 4, 0);
    EXPECT_EQ(Text16(small).size(), 3u) << "cut to the buffer, terminator included";
}

TEST(SocketReaderTest, UdpJoinMulticastReceivesTheGroup)
{
    const uint16_t nPort = FreePort(true);
    CSocketReaderPtr pReader = NewSocketReader(true);
    ASSERT_EQ(pReader->SetReuseAddress(), 1);
    ASSERT_EQ(pReader->BindTo(Z(u"0.0.0.0"), nPort), 1);
    EXPECT_EQ(pReader->JoinMulticast(Z(u"239.255.42.2"), Z(u"192.0.2.254")), 0) << "no interface has that address";
    if (!pReader->JoinMulticast(Z(u"239.255.42.1"), Z(u"127.0.0.1")))
        GTEST_SKIP() << "this system lists no loopback interface to join a group on (Wine lists only the others)";
    const int nDatagrams = 40;
    CPeerProcess sender(PythonPeer({"udp-multicast", "239.255.42.1", std::to_string(nPort),
                                    std::to_string(nDatagrams), "1316", "5"}));
    pReader->SetReceiveTimeout(3000);
    char buffer[2048];
    int nReceived = 0;
    uint32_t nLast = 0;
    bool bInOrder = true;
    for (uint32_t nRead; nReceived < nDatagrams && (nRead = pReader->Read(buffer, sizeof(buffer))) != 0; ++nReceived) {
        EXPECT_EQ(nRead, 1316u);
        const uint32_t nSequence = (uint32_t(uint8_t(buffer[0])) << 24) | (uint32_t(uint8_t(buffer[1])) << 16) |
                                   (uint32_t(uint8_t(buffer[2])) << 8) | uint8_t(buffer[3]);
        bInOrder = bInOrder && (nReceived == 0 || nSequence == nLast + 1);
        nLast = nSequence;
    }
    EXPECT_EQ(nReceived, nDatagrams) << "a slow stream over loopback loses nothing";
    EXPECT_TRUE(bInOrder);
    EXPECT_EQ(sender.Wait(5000), 0);
}
