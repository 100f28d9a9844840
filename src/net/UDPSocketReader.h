// CUDPSocketReader (type 7): a datagram socket. Each Read takes one datagram and makes its sender
// the peer, so a Write after it answers that sender; Accept hands out readers that share the
// socket. Broadcast and multicast are for this class only.
#pragma once

#include "net/SocketReaderCommon.h"

class CUDPSocketReader : public VSocketReaderCommon {
public:
    CUDPSocketReader();

    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    uint32_t Write(const void* pBuffer, uint32_t nCount) override;

    ZUBOOL IsDatagram() override;
    ZUBOOL Listen() override;
    VSocketReader* Accept() override;
    int32_t Connect(const ZUSocketAddress* pAddress) override;
    ZUBOOL SetKeepAlive() override;
    void SetBroadcastPeer(uint16_t nPort) override;
    ZUBOOL EnableBroadcast() override;
    ZUBOOL JoinMulticast(const ZUCHAR* pszGroup, const ZUCHAR* pszInterface) override;
};
