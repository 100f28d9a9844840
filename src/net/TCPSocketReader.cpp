#include "net/TCPSocketReader.h"

#include "core/Log.h"

#include <exception>
#include <memory>
#include <new>

using namespace zu;
namespace zp = zu::platform;

namespace {

// The largest backlog the system takes; it cuts it to its own limit.
constexpr int32_t kLargestBacklog = 2147483647;
constexpr int32_t kAcceptedBufferBytes = 8192;
constexpr uint32_t kAcceptedReceiveTimeoutMs = 5000;

}  // namespace

CTCPSocketReader::CTCPSocketReader() : VSocketReaderCommon(ZU_READER_TCP_SOCKET, false) {}

uint32_t CTCPSocketReader::Read(void* pBuffer, uint32_t nCount)
{
    const CSocketRef socket = Socket();
    const zp::SocketHandle hSocket = HandleOf(socket);
    const int64_t nReceived = zp::ReceiveBytes(hSocket, pBuffer, nCount);
    if (nReceived < 0) {
        const int nError = zp::LastSocketError();
        Log(LOG_SHARING_PLUGINS, u"CTCPSocketReader::Read", u"Read failed: %d (socket: %d)", nError,
            static_cast<int>(hSocket));
        return 0;
    }
    return static_cast<uint32_t>(nReceived);
}

uint32_t CTCPSocketReader::Write(const void* pBuffer, uint32_t nCount)
{
    if (nCount == 0)
        return 0;
    const CSocketRef socket = Socket();
    const zp::SocketHandle hSocket = HandleOf(socket);
    const int64_t nSent = zp::SendBytes(hSocket, pBuffer, nCount);
    if (nSent < 0) {
        const int nError = zp::LastSocketError();
        Log(LOG_SHARING_PLUGINS, u"CTCPSocketReader::Write", u"Write failed: %d (socket: %d)", nError,
            static_cast<int>(hSocket));
        return 0xFFFFFFFFu;
    }
    return static_cast<uint32_t>(nSent);
}

ZUBOOL CTCPSocketReader::IsDatagram()
{
    return 0;
}

ZUBOOL CTCPSocketReader::Listen()
{
    const CSocketRef socket = Socket();
    const zp::SocketHandle hSocket = HandleOf(socket);
    if (zp::ListenSocket(hSocket, kLargestBacklog))
        return 1;
    const int nError = zp::LastSocketError();
    Log(LOG_SHARING_PLUGINS, u"CTCPSocketReader::Listen", u"Listen failed: %d (socket: %d)", nError,
        static_cast<int>(hSocket));
    return 0;
}

VSocketReader* CTCPSocketReader::Accept()
try {
    std::unique_ptr<CTCPSocketReader> pAccepted(new (std::nothrow) CTCPSocketReader());
    if (!pAccepted)
        return nullptr;
    pAccepted->Close();
    zp::SocketAddress peer;
    const CSocketRef socket = Socket();
    CSocketRef accepted(CSocket::Create(zp::AcceptSocket(HandleOf(socket), peer)));
    if (!accepted || !accepted->IsValid())
        return nullptr;
    accepted->SetPeer(peer);
    pAccepted->AdoptSocket(accepted);
    pAccepted->SetKeepAlive();
    pAccepted->SetSendBufferSize(kAcceptedBufferBytes);
    pAccepted->SetReceiveBufferSize(kAcceptedBufferBytes);
    pAccepted->SetReceiveTimeout(kAcceptedReceiveTimeoutMs);
    return pAccepted.release();
} catch (const std::exception&) {
    return nullptr;
}

int32_t CTCPSocketReader::Connect(const ZUSocketAddress* pAddress)
{
    if (!pAddress)
        return -1;
    SetPeerAddress(pAddress);
    const CSocketRef socket = Socket();
    const zp::SocketHandle hSocket = HandleOf(socket);
    const int32_t nResult = zp::ConnectSocket(hSocket, ToPlatform(*pAddress));
    if (nResult != 0) {
        const int nError = zp::LastSocketError();
        Log(LOG_SHARING_PLUGINS, u"CTCPSocketReader::Connect", u"Connect failed: %d (socket: %d)", nError,
            static_cast<int>(hSocket));
        // The log may have touched the error; the caller reads the connect's own.
        zp::SetLastSocketError(nError);
    }
    return nResult;
}

ZUBOOL CTCPSocketReader::SetKeepAlive()
{
    return zp::SetSocketFlag(Handle(), zp::ESocketFlag::KeepAlive);
}

void CTCPSocketReader::SetBroadcastPeer(uint16_t) {}

ZUBOOL CTCPSocketReader::EnableBroadcast()
{
    return 0;
}

ZUBOOL CTCPSocketReader::JoinMulticast(const ZUCHAR*, const ZUCHAR*)
{
    return 0;
}
