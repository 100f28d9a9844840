// VSocketReader (from GetSocketReader): an IPv4 socket as a reader, UDP (type 7) or TCP (type 6).
// The socket exists from construction, so a reader can be bound, connected or set to listen at
// once; Open only marks it open. Readers can share one socket (ShareSocket, UDP Accept): it closes
// when the last of them lets it go. Failures are logged under the category 0x400 with the system's
// socket error.
//
// Read answers one datagram (UDP; its sender becomes the peer that Write answers) or what the
// stream holds (TCP), and 0 on failure. Write sends to the peer and answers the bytes sent, or
// 0xFFFFFFFF on failure; a count of 0 sends nothing (no empty datagram) and answers 0.
// GetLength and GetPosition answer -1, GetInfo a null text.
//
// Addresses: ZUSocketAddress is the system's 16-byte IPv4 record (port and address in network
// order); the address and port outputs of GetLocalAddress and GetPeerAddress are in host order.
// Texts out are written zero-terminated into the caller's buffer, cut to its capacity.
//
// A host reaches these operations through ZUReaderCast<VSocketReader>.
#pragma once

#include <zureader/Reader.h>

struct ZUSocketAddress {
    uint16_t nFamily;  // 2, IPv4
    uint16_t nPort;    // network order
    uint32_t nAddress; // network order
    uint8_t aZero[8];
};

class VSocketReader : public VReader {
public:
    static bool HasType(uint32_t nType) { return nType == ZU_READER_TCP_SOCKET || nType == ZU_READER_UDP_SOCKET; }

    // The operations after VReader's, in slot order from 22.
    // Takes a reference to pOther's socket, letting go of this reader's own.
    virtual void ShareSocket(VSocketReader* pOther) = 0;
    // Lets go of the socket (closing it first when bClose is set, whoever else holds it).
    virtual void ResetSocket(ZUBOOL bClose) = 0;
    // Answers -1; the slot has no operation.
    virtual int32_t Reserved() = 0;
    virtual ZUBOOL IsDatagram() = 0;
    // Where the socket is bound.
    virtual ZUBOOL GetLocalAddress(uint32_t* pAddress, uint16_t* pPort) = 0;
    // The peer in dotted form ("192.0.2.1").
    virtual void GetPeerAddressText(ZUCHAR* pszText, uint32_t nCapacity) = 0;
    virtual void GetPeerAddress(uint32_t* pAddress, uint16_t* pPort) = 0;
    virtual void GetPeerSockaddr(ZUSocketAddress* pAddress) = 0;
    virtual void SetPeerAddress(const ZUSocketAddress* pAddress) = 0;
    virtual ZUBOOL Bind(const ZUSocketAddress* pAddress) = 0;
    // The address in dotted form ("0.0.0.0" for any), the port in host order.
    virtual ZUBOOL BindTo(const ZUCHAR* pszAddress, uint16_t nPort) = 0;
    // TCP: listens with the largest backlog. UDP: answers 1.
    virtual ZUBOOL Listen() = 0;
    // TCP: a new reader (owned by the caller) for the next connection, null when none could be
    // taken. UDP: a new reader sharing this socket, once a datagram waits; null on failure.
    virtual VSocketReader* Accept() = 0;
    // Connects to a dotted address or a name (its first IPv4 address; a name that takes longer
    // than the reader's time-out, 10000 ms unless set, to resolve fails). Answers 0 when connected
    // and 1 when not: the inverse of the other flags. A connected TCP reader keeps its connection
    // alive, sends in 8192-byte and receives in 8224-byte buffers, and a Read waits at most 10 s.
    virtual int32_t ConnectTo(const ZUCHAR* pszHost, uint16_t nPort) = 0;
    // UDP: only sets the peer and answers 0. TCP: connects; 0 when connected, the system's error
    // result otherwise.
    virtual int32_t Connect(const ZUSocketAddress* pAddress) = 0;
    virtual ZUBOOL SetReuseAddress() = 0;
    // TCP only; UDP answers 0 and does nothing.
    virtual ZUBOOL SetKeepAlive() = 0;
    virtual ZUBOOL SetSendBufferSize(int32_t nBytes) = 0;
    // Set it before a stream starts: a fast multicast stream needs megabytes to lose nothing.
    virtual ZUBOOL SetReceiveBufferSize(int32_t nBytes) = 0;
    virtual ZUBOOL SetReceiveTimeout(uint32_t nMilliseconds) = 0;
    // The number of local addresses, -1 when the system will not tell.
    virtual int32_t QueryLocalAddresses() = 0;
    // nIndex -1: the local address that reaches the peer; 0 to count - 1: that entry of the last
    // QueryLocalAddresses; any other index gives an empty text.
    virtual void GetLocalAddressText(ZUCHAR* pszText, uint32_t nCapacity, int32_t nIndex) = 0;
    // UDP only (TCP does nothing): the peer becomes 255.255.255.255 at nPort.
    virtual void SetBroadcastPeer(uint16_t nPort) = 0;
    // UDP only (TCP answers 0), as is JoinMulticast.
    virtual ZUBOOL EnableBroadcast() = 0;
    // Joins the group on every local address, or only on the one whose text is pszInterface (any
    // case) when that is given; multicast time-to-live 4 and broadcast on. 1 when some address
    // joined.
    virtual ZUBOOL JoinMulticast(const ZUCHAR* pszGroup, const ZUCHAR* pszInterface) = 0;
};
