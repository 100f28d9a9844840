// VSocketReaderCommon: what the UDP and TCP socket readers do alike. The reader holds a reference
// to a shared socket object; Close and ResetSocket swap in a fresh empty one, so the old socket
// closes only when the last reader holding it lets it go.
#pragma once

#include <zureader/SocketReader.h>

#include "net/Socket.h"
#include "platform/Socket.h"

#include <mutex>
#include <string>
#include <vector>

class VSocketReaderCommon : public VSocketReader {
public:
    ~VSocketReaderCommon() override;

    ZUBOOL Create() override;
    ZUBOOL Open() override;
    void Close() override;
    int64_t GetLength() override;
    int64_t GetPosition() override;
    int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) override;
    ZUBOOL SetEndOfFile() override;
    ZUBOOL SetLengthHint(uint64_t nLength) override;
    ZUBOOL IsLengthUnknown() override;
    ZUBOOL IsRemote() override;
    ZUBOOL IsOpen() override;
    ZUBOOL IsReadOnly() override;
    ZUBSTR GetInfo(const ZUCHAR* pszName) override;

    void ShareSocket(VSocketReader* pOther) override;
    void ResetSocket(ZUBOOL bClose) override;
    int32_t Reserved() override;
    ZUBOOL GetLocalAddress(uint32_t* pAddress, uint16_t* pPort) override;
    void GetPeerAddressText(ZUCHAR* pszText, uint32_t nCapacity) override;
    void GetPeerAddress(uint32_t* pAddress, uint16_t* pPort) override;
    void GetPeerSockaddr(ZUSocketAddress* pAddress) override;
    void SetPeerAddress(const ZUSocketAddress* pAddress) override;
    ZUBOOL Bind(const ZUSocketAddress* pAddress) override;
    ZUBOOL BindTo(const ZUCHAR* pszAddress, uint16_t nPort) override;
    int32_t ConnectTo(const ZUCHAR* pszHost, uint16_t nPort) override;
    ZUBOOL SetReuseAddress() override;
    ZUBOOL SetSendBufferSize(int32_t nBytes) override;
    ZUBOOL SetReceiveBufferSize(int32_t nBytes) override;
    ZUBOOL SetReceiveTimeout(uint32_t nMilliseconds) override;
    int32_t QueryLocalAddresses() override;
    void GetLocalAddressText(ZUCHAR* pszText, uint32_t nCapacity, int32_t nIndex) override;

    // Waits without limit until the socket is readable: 1, or 0 after logging the failure.
    ZUBOOL WaitForData();

protected:
    VSocketReaderCommon(uint32_t nType, bool bDatagram);

    // The socket object this operation works on, held for the operation's duration.
    zu::CSocketRef Socket() const;
    zu::platform::SocketHandle Handle() const;
    static zu::platform::SocketHandle HandleOf(const zu::CSocketRef& socket);
    void AdoptSocket(zu::CSocketRef socket);
    static zu::platform::SocketAddress ToPlatform(const ZUSocketAddress& address);
    static ZUSocketAddress FromPlatform(const zu::platform::SocketAddress& address);

private:
    // Declared first, so the library outlives every socket the reader holds.
    zu::platform::CSocketLibrary m_Library;
    mutable std::mutex m_SocketLock;
    zu::CSocketRef m_Socket;
    // The last QueryLocalAddresses' answer, in network order.
    std::vector<uint32_t> m_LocalAddresses;
};
