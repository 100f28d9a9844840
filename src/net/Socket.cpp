#include "net/Socket.h"

#include <new>

namespace zu {

CSocket* CSocket::Create(platform::SocketHandle hSocket)
{
    CSocket* pSocket = new (std::nothrow) CSocket(hSocket);
    if (!pSocket)
        platform::CloseSocket(hSocket);
    return pSocket;
}

void CSocket::AddRef()
{
    m_nReferences.fetch_add(1, std::memory_order_relaxed);
}

void CSocket::Release()
{
    if (m_nReferences.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

CSocket::~CSocket()
{
    const platform::SocketHandle hSocket = Handle();
    if (hSocket == platform::INVALID_SOCKET_HANDLE)
        return;
    if (m_bShutdownOnClose)
        platform::ShutdownSending(hSocket);
    platform::CloseSocket(hSocket);
}

void CSocket::CloseNow()
{
    platform::CloseSocket(m_hSocket.exchange(platform::INVALID_SOCKET_HANDLE, std::memory_order_acq_rel));
}

platform::SocketAddress CSocket::Peer() const
{
    std::lock_guard<std::mutex> lock(m_PeerLock);
    return m_Peer;
}

void CSocket::SetPeer(const platform::SocketAddress& peer)
{
    std::lock_guard<std::mutex> lock(m_PeerLock);
    m_Peer = peer;
}

}  // namespace zu
