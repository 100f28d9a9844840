// VMediaServerLocator (from GetFindMediaServer): finds a media server of the application on the
// local network by a UDP broadcast handshake on port 5556, or announces one. A client broadcasts
// "GetMediaServerAddress" and collects for 5 seconds the answers "MediaServer:host:address:port";
// the same server answering twice counts once, and servers on the client's own machine are passed
// over. A server answers every request until its locator is deleted.
#pragma once

#include <zureader/Types.h>

class VMediaServerLocator {
public:
    VMediaServerLocator() = default;
    VMediaServerLocator(const VMediaServerLocator&) = delete;
    VMediaServerLocator& operator=(const VMediaServerLocator&) = delete;

    // Ends the announcing, if any (within a few milliseconds; 5.2 s at worst), and the socket.
    virtual ~VMediaServerLocator() = default;
    // Writes "m01p://address:port" (zero-terminated, nCapacity characters at most) and answers 1;
    // 0 when no server answered within about 5.5 s, the socket cannot be set up, the answer does
    // not have three fields (the host is shown a message), or the user cancels the choice among
    // several servers (ZUHostCallbacks::ChooseMediaServer; without a host, several answers cancel).
    virtual ZUBOOL FindMediaServer(ZUCHAR* pszURL, uint32_t nCapacity) = 0;
    // Answers requests with this address and port from a thread of its own; 1 when it started.
    virtual ZUBOOL StartAnnouncing(const ZUCHAR* pszAddress, const ZUCHAR* pszPort) = 0;
    // This machine's first IPv4 address and the name a reverse lookup gives it; 1 only when the
    // lookup gave one.
    virtual ZUBOOL GetLocalHostAddress(ZUCHAR* pszHostName, uint32_t nHostCapacity, ZUCHAR* pszAddress,
                                       uint32_t nAddressCapacity) = 0;
};
