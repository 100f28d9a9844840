#include "net/UDPSocketReader.h"

#include "core/Log.h"
#include "net/SocketText.h"

#include <algorithm>
#include <cctype>
#include <exception>
#include <memory>
#include <new>
#include <string>

using namespace zu;
namespace zp = zu::platform;

namespace {

constexpr uint32_t kBroadcastAddress = 0xFFFFFFFFu;
constexpr uint8_t kMulticastTimeToLive = 4;

bool SameTextIgnoringCase(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

}  // namespace

CUDPSocketReader::CUDPSocketReader() : VSocketReaderCommon(ZU_READER_UDP_SOCKET, true) {}

uint32_t CUDPSocketReader::Read(void* pBuffer, uint32_t nCount)
{
    const CSocketRef socket = Socket();
    const zp::SocketHandle hSocket = HandleOf(socket);
    zp::SocketAddress sender;
    const int64_t nReceived = zp::ReceiveBytesFrom(hSocket, pBuffer, nCount, sender);
    if (nReceived < 0) {
        const int nError = zp::LastSocketError();
        Log(LOG_SHARING_PLUGINS, u"CUDPSocketReader::Read", u"Read failed: %d (socket: %d)", nError,
            static_cast<int>(hSocket));
        return 0;
    }
    socket->SetPeer(sender);
    return static_cast<uint32_t>(nReceived);
}

uint32_t CUDPSocketReader::Write(const void* pBuffer, uint32_t nCount)
{
    if (nCount == 0)
        return 0;
    const CSocketRef socket = Socket();
    const int64_t nSent =
        socket ? zp::SendBytesTo(socket->Handle(), pBuffer, nCount, socket->Peer()) : int64_t(-1);
    if (nSent < 0) {
        const int nError = zp::LastSocketError();
        Log(LOG_SHARING_PLUGINS, u"CUDPSocketReader::Write", u"Write failed: %d", nError);
        return 0xFFFFFFFFu;
    }
    return static_cast<uint32_t>(nSent);
}

ZUBOOL CUDPSocketReader::IsDatagram()
{
    return 1;
}

ZUBOOL CUDPSocketReader::Listen()
{
    return 1;
}

VSocketReader* CUDPSocketReader::Accept()
try {
    std::unique_ptr<CUDPSocketReader> pAccepted(new (std::nothrow) CUDPSocketReader());
    if (!pAccepted)
        return nullptr;
    pAccepted->ShareSocket(this);
    if (!pAccepted->WaitForData())
        return nullptr;
    return pAccepted.release();
} catch (const std::exception&) {
    return nullptr;
}

int32_t CUDPSocketReader::Connect(const ZUSocketAddress* pAddress)
{
    SetPeerAddress(pAddress);
    return 0;
}

ZUBOOL CUDPSocketReader::SetKeepAlive()
{
    return 0;
}

void CUDPSocketReader::SetBroadcastPeer(uint16_t nPort)
{
    ZUSocketAddress peer{};
    peer.nFamily = zp::IPv4Family();
    peer.nPort = zp::NetworkOrder16(nPort);
    peer.nAddress = kBroadcastAddress;
    SetPeerAddress(&peer);
}

ZUBOOL CUDPSocketReader::EnableBroadcast()
{
    return zp::SetSocketFlag(Handle(), zp::ESocketFlag::Broadcast);
}

ZUBOOL CUDPSocketReader::JoinMulticast(const ZUCHAR* pszGroup, const ZUCHAR* pszInterface)
try {
    uint32_t nGroup = 0;
    if (!zp::ParseDottedAddress(NarrowText(pszGroup), nGroup))
        return 0;
    const std::string wanted = NarrowText(pszInterface);
    const CSocketRef socket = Socket();
    const zp::SocketHandle hSocket = HandleOf(socket);
    bool bJoined = false;
    const int32_t nAddresses = QueryLocalAddresses();
    for (int32_t i = 0; i < nAddresses; ++i) {
        ZUCHAR text[32] = {};
        GetLocalAddressText(text, 32, i);
        const std::string address = NarrowText(text);
        uint32_t nInterface = 0;
        if ((!wanted.empty() && !SameTextIgnoringCase(address, wanted)) || !zp::ParseDottedAddress(address, nInterface))
            continue;
        bJoined = zp::AddMulticastMembership(hSocket, nGroup, nInterface) || bJoined;
    }
    zp::SetMulticastTimeToLive(hSocket, kMulticastTimeToLive);
    EnableBroadcast();
    return bJoined ? 1 : 0;
} catch (const std::exception&) {
    return 0;
}
