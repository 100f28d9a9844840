#include "platform/Socket.h"

namespace zu::platform {

bool RouteLocalAddress(uint32_t nPeer, uint32_t& nLocal)
{
    // Connecting a datagram socket sends nothing but makes the system pick the route. The
    // routing-interface query of Winsock would do the same on Windows, but Wine answers it with
    // the Ethernet address even for a loopback peer.
    const SocketHandle hProbe = OpenSocket(true);
    if (hProbe == INVALID_SOCKET_HANDLE)
        return false;
    SocketAddress peer;
    peer.nPort = NetworkOrder16(9);
    peer.nAddress = nPeer;
    SocketAddress local;
    const bool bFound = ConnectSocket(hProbe, peer) == 0 && LocalSocketName(hProbe, local);
    CloseSocket(hProbe);
    if (bFound)
        nLocal = local.nAddress;
    return bFound;
}

}  // namespace zu::platform
