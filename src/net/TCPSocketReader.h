// CTCPSocketReader (type 6): a stream socket that connects, or listens and accepts. A reader that
// Accept hands out keeps its connection alive, sends and receives in 8192-byte buffers and waits
// at most 5 s in a Read; one that ConnectTo connected receives in 8224 bytes and waits 10 s.
#pragma once

#include "net/SocketReaderCommon.h"

class CTCPSocketReader : public VSocketReaderCommon {
public:
    CTCPSocketReader();

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
