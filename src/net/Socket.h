// CSocket: one system socket shared by the socket readers that hold it, counted by reference; the
// last reference closes it (shutting its sending side first when asked to). It also holds the
// peer: where a UDP Write goes and whom a TCP socket is connected to, which every UDP Read
// replaces with the datagram's sender.
#pragma once

#include "platform/Socket.h"

#include <atomic>
#include <mutex>

namespace zu {

class CSocket {
public:
    // A new object holding hSocket (or none), with one reference.
    static CSocket* Create(platform::SocketHandle hSocket = platform::INVALID_SOCKET_HANDLE);

    void AddRef();
    void Release();

    platform::SocketHandle Handle() const { return m_hSocket.load(std::memory_order_acquire); }
    bool IsValid() const { return Handle() != platform::INVALID_SOCKET_HANDLE; }
    // Closes the socket now; those still holding the object see an invalid one.
    void CloseNow();
    void SetShutdownOnClose(bool bShutdown) { m_bShutdownOnClose = bShutdown; }

    // A reader on one thread may read (and so move the peer) while another writes to it.
    platform::SocketAddress Peer() const;
    void SetPeer(const platform::SocketAddress& peer);

private:
    explicit CSocket(platform::SocketHandle hSocket) : m_hSocket(hSocket) {}
    ~CSocket();

    std::atomic<int32_t> m_nReferences{1};
    std::atomic<platform::SocketHandle> m_hSocket;
    mutable std::mutex m_PeerLock;
    platform::SocketAddress m_Peer;
    std::atomic<bool> m_bShutdownOnClose{false};
};

// Holds one reference for its lifetime, so an operation keeps its socket even when the reader
// lets go of it on another thread.
class CSocketRef {
public:
    CSocketRef() = default;
    // Adopts the reference a Create made.
    explicit CSocketRef(CSocket* pSocket) : m_pSocket(pSocket) {}
    CSocketRef(const CSocketRef& other) : m_pSocket(other.m_pSocket)
    {
        if (m_pSocket)
            m_pSocket->AddRef();
    }
    CSocketRef& operator=(const CSocketRef& other)
    {
        CSocketRef copy(other);
        std::swap(m_pSocket, copy.m_pSocket);
        return *this;
    }
    ~CSocketRef()
    {
        if (m_pSocket)
            m_pSocket->Release();
    }

    CSocket* operator->() const { return m_pSocket; }
    CSocket* Get() const { return m_pSocket; }
    explicit operator bool() const { return m_pSocket != nullptr; }

private:
    CSocket* m_pSocket = nullptr;
};

}  // namespace zu
