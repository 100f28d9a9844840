// Socket seam: IPv4 sockets (Winsock 2 on Windows, BSD sockets elsewhere), the local addresses and
// the host's names. Addresses and ports in SocketAddress are in network byte order, laid out as the
// system's 16-byte IPv4 record. Failures leave their number where LastSocketError finds it: the
// Winsock error on Windows, errno elsewhere (a resolver's EAI_ code as it stands).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zu::platform {

using SocketHandle = uint64_t;
constexpr SocketHandle INVALID_SOCKET_HANDLE = ~SocketHandle(0);

struct SocketAddress {
    uint16_t nFamily = 0;
    uint16_t nPort = 0;     // network order
    uint32_t nAddress = 0;  // network order
    uint8_t aZero[8] = {};
};
static_assert(sizeof(SocketAddress) == 16, "the system's IPv4 address record is 16 bytes");

// Holds the system's socket library for its lifetime (one stop per start).
class CSocketLibrary {
public:
    CSocketLibrary();
    ~CSocketLibrary();
    CSocketLibrary(const CSocketLibrary&) = delete;
    CSocketLibrary& operator=(const CSocketLibrary&) = delete;

private:
    bool m_bStarted = false;
};

uint16_t NetworkOrder16(uint16_t n);
uint32_t NetworkOrder32(uint32_t n);
// The family value of an IPv4 record.
uint16_t IPv4Family();

int LastSocketError();
void SetLastSocketError(int nError);
// The number that says a wait ran out of time (WSAETIMEDOUT, ETIMEDOUT).
int TimedOutError();

SocketHandle OpenSocket(bool bDatagram);
void CloseSocket(SocketHandle hSocket);
void ShutdownSending(SocketHandle hSocket);

bool BindSocket(SocketHandle hSocket, const SocketAddress& address);
bool ListenSocket(SocketHandle hSocket, int32_t nBacklog);
SocketHandle AcceptSocket(SocketHandle hSocket, SocketAddress& peer);
// 0 when connected, the system's error result (-1) otherwise.
int32_t ConnectSocket(SocketHandle hSocket, const SocketAddress& address);
// The bytes moved, -1 on failure.
int64_t SendBytes(SocketHandle hSocket, const void* pBuffer, uint32_t nCount);
int64_t SendBytesTo(SocketHandle hSocket, const void* pBuffer, uint32_t nCount, const SocketAddress& to);
int64_t ReceiveBytes(SocketHandle hSocket, void* pBuffer, uint32_t nCount);
int64_t ReceiveBytesFrom(SocketHandle hSocket, void* pBuffer, uint32_t nCount, SocketAddress& from);
bool LocalSocketName(SocketHandle hSocket, SocketAddress& address);

enum class ESocketFlag { ReuseAddress, KeepAlive, Broadcast };
bool SetSocketFlag(SocketHandle hSocket, ESocketFlag eFlag);
enum class ESocketBuffer { Send, Receive };
// Asks for nBytes; where the system caps what an unprivileged caller may ask, a caller with the
// privilege to pass the cap gets what it asked for.
bool SetSocketBufferSize(SocketHandle hSocket, ESocketBuffer eBuffer, int32_t nBytes);
// What the system gives (on Linux twice what was asked, for its bookkeeping); -1 on failure.
int32_t GetSocketBufferSize(SocketHandle hSocket, ESocketBuffer eBuffer);
bool SetReceiveTimeoutMs(SocketHandle hSocket, uint32_t nMilliseconds);
bool SetMulticastTimeToLive(SocketHandle hSocket, uint8_t nHops);
bool AddMulticastMembership(SocketHandle hSocket, uint32_t nGroup, uint32_t nInterface);
bool SetNonBlocking(SocketHandle hSocket);
// 1 readable, 0 not within the time, -1 failure; nMilliseconds < 0 waits without limit.
int32_t WaitReadable(SocketHandle hSocket, int32_t nMilliseconds);

// Dotted text to an address; false for anything else.
bool ParseDottedAddress(const std::string& text, uint32_t& nAddress);
std::string DottedAddress(uint32_t nAddress);
// The first IPv4 address of a name from the system's resolver; blocks as long as the resolver
// does. 0 on success, the resolver's error otherwise.
int ResolveIPv4(const std::string& name, uint32_t& nAddress);
// The addresses of the machine's interfaces; false when the system will not tell.
bool LocalAddresses(std::vector<uint32_t>& addresses);
// Each interface's own broadcast address (those that have one).
std::vector<uint32_t> InterfaceBroadcastAddresses();
// The local address the system would send from to reach the peer.
bool RouteLocalAddress(uint32_t nPeer, uint32_t& nLocal);
std::string LocalHostName();
// The name a reverse lookup gives the address; false when it gives none.
bool ReverseLookup(uint32_t nAddress, std::string& name);

}  // namespace zu::platform
