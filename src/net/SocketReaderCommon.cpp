#include "net/SocketReaderCommon.h"

#include "core/Log.h"
#include "net/SocketText.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <memory>
#include <thread>

using namespace zu;
namespace zp = zu::platform;

namespace {

constexpr uint32_t kDefaultResolveTimeoutMs = 10000;
constexpr int32_t kConnectedSendBuffer = 8192;
constexpr int32_t kConnectedReceiveBuffer = 8224;
constexpr uint32_t kConnectedReceiveTimeoutMs = 10000;

// A name lookup that gives up after nMilliseconds: the system's resolver cannot be interrupted, so
// it runs on a thread of its own, which finishes (and frees its state) whenever the resolver
// returns, long after a caller that stopped waiting.
int ResolveWithin(const std::string& name, uint32_t nMilliseconds, uint32_t& nAddress)
{
    struct CLookup {
        std::mutex lock;
        std::condition_variable done;
        bool bDone = false;
        int nError = 0;
        uint32_t nAddress = 0;
    };
    auto pLookup = std::make_shared<CLookup>();
    try {
        std::thread([pLookup, name] {
            uint32_t nFound = 0;
            const int nError = zp::ResolveIPv4(name, nFound);
            std::lock_guard<std::mutex> lock(pLookup->lock);
            pLookup->nError = nError;
            pLookup->nAddress = nFound;
            pLookup->bDone = true;
            pLookup->done.notify_all();
        }).detach();
    } catch (const std::exception&) {
        // No thread to spare: the lookup blocks this one instead.
        return zp::ResolveIPv4(name, nAddress);
    }
    std::unique_lock<std::mutex> lock(pLookup->lock);
    if (!pLookup->done.wait_for(lock, std::chrono::milliseconds(nMilliseconds), [&] { return pLookup->bDone; }))
        return zp::TimedOutError();
    nAddress = pLookup->nAddress;
    return pLookup->nError;
}

}  // namespace

VSocketReaderCommon::VSocketReaderCommon(uint32_t nType, bool bDatagram)
    : m_Socket(CSocket::Create(zp::OpenSocket(bDatagram)))
{
    m_nType = nType;
}

VSocketReaderCommon::~VSocketReaderCommon()
{
    ResetSocket(0);
}

CSocketRef VSocketReaderCommon::Socket() const
{
    std::lock_guard<std::mutex> lock(m_SocketLock);
    return m_Socket;
}

zp::SocketHandle VSocketReaderCommon::HandleOf(const CSocketRef& socket)
{
    return socket ? socket->Handle() : zp::INVALID_SOCKET_HANDLE;
}

zp::SocketHandle VSocketReaderCommon::Handle() const
{
    return HandleOf(Socket());
}

void VSocketReaderCommon::AdoptSocket(CSocketRef socket)
{
    // The old reference goes outside the lock: releasing it may close a socket.
    std::lock_guard<std::mutex> lock(m_SocketLock);
    std::swap(m_Socket, socket);
}

zp::SocketAddress VSocketReaderCommon::ToPlatform(const ZUSocketAddress& address)
{
    zp::SocketAddress result;
    result.nFamily = address.nFamily;
    result.nPort = address.nPort;
    result.nAddress = address.nAddress;
    return result;
}

ZUSocketAddress VSocketReaderCommon::FromPlatform(const zp::SocketAddress& address)
{
    ZUSocketAddress result{};
    result.nFamily = address.nFamily;
    result.nPort = address.nPort;
    result.nAddress = address.nAddress;
    return result;
}

ZUBOOL VSocketReaderCommon::Create()
{
    return 0;
}

ZUBOOL VSocketReaderCommon::Open()
{
    m_bOpen = 1;
    return 1;
}

void VSocketReaderCommon::Close()
{
    m_bOpen = 0;
    AdoptSocket(CSocketRef(CSocket::Create()));
}

int64_t VSocketReaderCommon::GetLength()
{
    return -1;
}

int64_t VSocketReaderCommon::GetPosition()
{
    return -1;
}

int64_t VSocketReaderCommon::SetPosition(int64_t, uint32_t)
{
    return 0;
}

ZUBOOL VSocketReaderCommon::SetEndOfFile()
{
    return 0;
}

ZUBOOL VSocketReaderCommon::SetLengthHint(uint64_t)
{
    return 0;
}

ZUBOOL VSocketReaderCommon::IsLengthUnknown()
{
    return 1;
}

ZUBOOL VSocketReaderCommon::IsRemote()
{
    return 1;
}

ZUBOOL VSocketReaderCommon::IsOpen()
{
    return Handle() != zp::INVALID_SOCKET_HANDLE;
}

ZUBOOL VSocketReaderCommon::IsReadOnly()
{
    return 0;
}

ZUBSTR VSocketReaderCommon::GetInfo(const ZUCHAR*)
{
    return nullptr;
}

void VSocketReaderCommon::ShareSocket(VSocketReader* pOther)
{
    auto* pCommon = static_cast<VSocketReaderCommon*>(pOther);
    if (pCommon && pCommon != this)
        AdoptSocket(pCommon->Socket());
}

void VSocketReaderCommon::ResetSocket(ZUBOOL bClose)
{
    const CSocketRef socket = Socket();
    if (!socket || !socket->IsValid())
        return;
    if (bClose)
        socket->CloseNow();
    AdoptSocket(CSocketRef(CSocket::Create()));
}

int32_t VSocketReaderCommon::Reserved()
{
    return -1;
}

ZUBOOL VSocketReaderCommon::GetLocalAddress(uint32_t* pAddress, uint16_t* pPort)
{
    zp::SocketAddress local;
    if (!zp::LocalSocketName(Handle(), local))
        return 0;
    if (pAddress)
        *pAddress = zp::NetworkOrder32(local.nAddress);
    if (pPort)
        *pPort = zp::NetworkOrder16(local.nPort);
    return 1;
}

void VSocketReaderCommon::GetPeerAddressText(ZUCHAR* pszText, uint32_t nCapacity)
{
    const CSocketRef socket = Socket();
    CopyNarrowText(zp::DottedAddress(socket ? socket->Peer().nAddress : 0), pszText, nCapacity);
}

void VSocketReaderCommon::GetPeerAddress(uint32_t* pAddress, uint16_t* pPort)
{
    const CSocketRef socket = Socket();
    const zp::SocketAddress peer = socket ? socket->Peer() : zp::SocketAddress();
    if (pAddress)
        *pAddress = zp::NetworkOrder32(peer.nAddress);
    if (pPort)
        *pPort = zp::NetworkOrder16(peer.nPort);
}

void VSocketReaderCommon::GetPeerSockaddr(ZUSocketAddress* pAddress)
{
    const CSocketRef socket = Socket();
    if (!pAddress || !socket)
        return;
    const zp::SocketAddress peer = socket->Peer();
    pAddress->nPort = peer.nPort;
    pAddress->nAddress = peer.nAddress;
}

void VSocketReaderCommon::SetPeerAddress(const ZUSocketAddress* pAddress)
{
    const CSocketRef socket = Socket();
    if (pAddress && socket)
        socket->SetPeer(ToPlatform(*pAddress));
}

ZUBOOL VSocketReaderCommon::Bind(const ZUSocketAddress* pAddress)
{
    zp::SocketAddress address;
    if (pAddress)
        address = ToPlatform(*pAddress);
    const CSocketRef socket = Socket();
    if (pAddress && zp::BindSocket(HandleOf(socket), address))
        return 1;
    const int nError = zp::LastSocketError();
    Log(LOG_SHARING_PLUGINS, u"VSocketReader::Bind", u"Winsock bind failed: %d", nError);
    return 0;
}

ZUBOOL VSocketReaderCommon::BindTo(const ZUCHAR* pszAddress, uint16_t nPort)
{
    ZUSocketAddress address{};
    address.nFamily = zp::IPv4Family();
    address.nPort = zp::NetworkOrder16(nPort);
    uint32_t nAddress = 0;
    // Text that is no address binds to no address (and the bind says why).
    address.nAddress = zp::ParseDottedAddress(NarrowText(pszAddress), nAddress) ? nAddress : 0xFFFFFFFFu;
    return Bind(&address);
}

int32_t VSocketReaderCommon::ConnectTo(const ZUCHAR* pszHost, uint16_t nPort)
{
    const std::string host = NarrowText(pszHost);
    uint32_t nAddress = 0;
    if (!zp::ParseDottedAddress(host, nAddress)) {
        const int nError = ResolveWithin(host, m_nTimeout ? m_nTimeout : kDefaultResolveTimeoutMs, nAddress);
        if (nError != 0) {
            zp::SetLastSocketError(nError);
            return 1;
        }
    }
    ZUSocketAddress address{};
    address.nFamily = zp::IPv4Family();
    address.nPort = zp::NetworkOrder16(nPort);
    address.nAddress = nAddress;
    // The buffers are sized before the connection exists: a receive buffer shrunk below the
    // window already offered makes the system drop what the sender then sends, and the stream
    // stalls in retransmission for seconds at a time.
    SetKeepAlive();
    SetSendBufferSize(kConnectedSendBuffer);
    SetReceiveBufferSize(kConnectedReceiveBuffer);
    if (Connect(&address) != 0)
        return 1;
    SetReceiveTimeout(kConnectedReceiveTimeoutMs);
    return 0;
}

ZUBOOL VSocketReaderCommon::SetReuseAddress()
{
    return zp::SetSocketFlag(Handle(), zp::ESocketFlag::ReuseAddress);
}

ZUBOOL VSocketReaderCommon::SetSendBufferSize(int32_t nBytes)
{
    return zp::SetSocketBufferSize(Handle(), zp::ESocketBuffer::Send, nBytes);
}

ZUBOOL VSocketReaderCommon::SetReceiveBufferSize(int32_t nBytes)
{
    return zp::SetSocketBufferSize(Handle(), zp::ESocketBuffer::Receive, nBytes);
}

ZUBOOL VSocketReaderCommon::SetReceiveTimeout(uint32_t nMilliseconds)
{
    return zp::SetReceiveTimeoutMs(Handle(), nMilliseconds);
}

int32_t VSocketReaderCommon::QueryLocalAddresses()
{
    std::vector<uint32_t> addresses;
    if (!zp::LocalAddresses(addresses))
        return -1;
    m_LocalAddresses.swap(addresses);
    return static_cast<int32_t>(m_LocalAddresses.size());
}

void VSocketReaderCommon::GetLocalAddressText(ZUCHAR* pszText, uint32_t nCapacity, int32_t nIndex)
{
    std::string text;
    if (nIndex == -1) {
        const CSocketRef socket = Socket();
        uint32_t nLocal = 0;
        if (socket && zp::RouteLocalAddress(socket->Peer().nAddress, nLocal))
            text = zp::DottedAddress(nLocal);
    } else if (nIndex >= 0 && static_cast<size_t>(nIndex) < m_LocalAddresses.size()) {
        text = zp::DottedAddress(m_LocalAddresses[static_cast<size_t>(nIndex)]);
    }
    CopyNarrowText(text, pszText, nCapacity);
}

ZUBOOL VSocketReaderCommon::WaitForData()
{
    const CSocketRef socket = Socket();
    if (zp::WaitReadable(HandleOf(socket), -1) == 1)
        return 1;
    const int nError = zp::LastSocketError();
    Log(LOG_SHARING_PLUGINS, u"VSocketReader::WaitForData", u"Failed: %d", nError);
    return 0;
}
