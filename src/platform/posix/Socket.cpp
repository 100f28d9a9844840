#include "platform/Socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace zu::platform {

namespace {

int Fd(SocketHandle hSocket)
{
    return static_cast<int>(hSocket);
}

sockaddr_in ToSystem(const SocketAddress& address)
{
    sockaddr_in record{};
    record.sin_family = AF_INET;
    record.sin_port = address.nPort;
    record.sin_addr.s_addr = address.nAddress;
    return record;
}

SocketAddress FromSystem(const sockaddr_in& record)
{
    SocketAddress address;
    address.nFamily = record.sin_family;
    address.nPort = record.sin_port;
    address.nAddress = record.sin_addr.s_addr;
    return address;
}

bool SetIntOption(SocketHandle hSocket, int nLevel, int nName, int nValue)
{
    return setsockopt(Fd(hSocket), nLevel, nName, &nValue, sizeof(nValue)) == 0;
}

}  // namespace

CSocketLibrary::CSocketLibrary() : m_bStarted(true) {}
CSocketLibrary::~CSocketLibrary() = default;

uint16_t NetworkOrder16(uint16_t n)
{
    return htons(n);
}

uint32_t NetworkOrder32(uint32_t n)
{
    return htonl(n);
}

uint16_t IPv4Family()
{
    return AF_INET;
}

int LastSocketError()
{
    return errno;
}

void SetLastSocketError(int nError)
{
    errno = nError;
}

int TimedOutError()
{
    return ETIMEDOUT;
}

SocketHandle OpenSocket(bool bDatagram)
{
    // Closed on exec, so a peer the process starts does not keep the port.
    const int fd = socket(AF_INET, (bDatagram ? SOCK_DGRAM : SOCK_STREAM) | SOCK_CLOEXEC, 0);
    return fd < 0 ? INVALID_SOCKET_HANDLE : static_cast<SocketHandle>(fd);
}

void CloseSocket(SocketHandle hSocket)
{
    if (hSocket != INVALID_SOCKET_HANDLE)
        close(Fd(hSocket));
}

void ShutdownSending(SocketHandle hSocket)
{
    shutdown(Fd(hSocket), SHUT_WR);
}

bool BindSocket(SocketHandle hSocket, const SocketAddress& address)
{
    const sockaddr_in record = ToSystem(address);
    return bind(Fd(hSocket), reinterpret_cast<const sockaddr*>(&record), sizeof(record)) == 0;
}

bool ListenSocket(SocketHandle hSocket, int32_t nBacklog)
{
    return listen(Fd(hSocket), nBacklog) == 0;
}

SocketHandle AcceptSocket(SocketHandle hSocket, SocketAddress& peer)
{
    sockaddr_in record{};
    socklen_t nLength = sizeof(record);
    const int fd = accept4(Fd(hSocket), reinterpret_cast<sockaddr*>(&record), &nLength, SOCK_CLOEXEC);
    if (fd < 0)
        return INVALID_SOCKET_HANDLE;
    peer = FromSystem(record);
    return static_cast<SocketHandle>(fd);
}

int32_t ConnectSocket(SocketHandle hSocket, const SocketAddress& address)
{
    const sockaddr_in record = ToSystem(address);
    return connect(Fd(hSocket), reinterpret_cast<const sockaddr*>(&record), sizeof(record));
}

int64_t SendBytes(SocketHandle hSocket, const void* pBuffer, uint32_t nCount)
{
    // A peer that went away is an error result, not a signal that ends the host.
    return send(Fd(hSocket), pBuffer, nCount, MSG_NOSIGNAL);
}

int64_t SendBytesTo(SocketHandle hSocket, const void* pBuffer, uint32_t nCount, const SocketAddress& to)
{
    const sockaddr_in record = ToSystem(to);
    return sendto(Fd(hSocket), pBuffer, nCount, MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&record),
                  sizeof(record));
}

int64_t ReceiveBytes(SocketHandle hSocket, void* pBuffer, uint32_t nCount)
{
    return recv(Fd(hSocket), pBuffer, nCount, 0);
}

int64_t ReceiveBytesFrom(SocketHandle hSocket, void* pBuffer, uint32_t nCount, SocketAddress& from)
{
    sockaddr_in record{};
    socklen_t nLength = sizeof(record);
    const ssize_t nReceived = recvfrom(Fd(hSocket), pBuffer, nCount, 0, reinterpret_cast<sockaddr*>(&record), &nLength);
    if (nReceived >= 0)
        from = FromSystem(record);
    return nReceived;
}

bool LocalSocketName(SocketHandle hSocket, SocketAddress& address)
{
    sockaddr_in record{};
    socklen_t nLength = sizeof(record);
    if (getsockname(Fd(hSocket), reinterpret_cast<sockaddr*>(&record), &nLength) != 0)
        return false;
    address = FromSystem(record);
    return true;
}

bool SetSocketFlag(SocketHandle hSocket, ESocketFlag eFlag)
{
    switch (eFlag) {
    case ESocketFlag::ReuseAddress:
        return SetIntOption(hSocket, SOL_SOCKET, SO_REUSEADDR, 1);
    case ESocketFlag::KeepAlive:
        return SetIntOption(hSocket, SOL_SOCKET, SO_KEEPALIVE, 1);
    case ESocketFlag::Broadcast:
        return SetIntOption(hSocket, SOL_SOCKET, SO_BROADCAST, 1);
    }
    return false;
}

bool SetSocketBufferSize(SocketHandle hSocket, ESocketBuffer eBuffer, int32_t nBytes)
{
    const bool bSend = eBuffer == ESocketBuffer::Send;
    if (!SetIntOption(hSocket, SOL_SOCKET, bSend ? SO_SNDBUF : SO_RCVBUF, nBytes))
        return false;
    // The system keeps twice the size asked for; less than that means the cap of rmem_max or
    // wmem_max cut it, which a privileged process may pass.
    if (GetSocketBufferSize(hSocket, eBuffer) < nBytes)
        SetIntOption(hSocket, SOL_SOCKET, bSend ? SO_SNDBUFFORCE : SO_RCVBUFFORCE, nBytes);
    return true;
}

int32_t GetSocketBufferSize(SocketHandle hSocket, ESocketBuffer eBuffer)
{
    int nValue = 0;
    socklen_t nLength = sizeof(nValue);
    const int nName = eBuffer == ESocketBuffer::Send ? SO_SNDBUF : SO_RCVBUF;
    return getsockopt(Fd(hSocket), SOL_SOCKET, nName, &nValue, &nLength) == 0 ? nValue : -1;
}

bool SetReceiveTimeoutMs(SocketHandle hSocket, uint32_t nMilliseconds)
{
    timeval limit{};
    limit.tv_sec = nMilliseconds / 1000;
    limit.tv_usec = (nMilliseconds % 1000) * 1000;
    return setsockopt(Fd(hSocket), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)) == 0;
}

bool SetMulticastTimeToLive(SocketHandle hSocket, uint8_t nHops)
{
    return setsockopt(Fd(hSocket), IPPROTO_IP, IP_MULTICAST_TTL, &nHops, sizeof(nHops)) == 0;
}

bool AddMulticastMembership(SocketHandle hSocket, uint32_t nGroup, uint32_t nInterface)
{
    ip_mreq request{};
    request.imr_multiaddr.s_addr = nGroup;
    request.imr_interface.s_addr = nInterface;
    return setsockopt(Fd(hSocket), IPPROTO_IP, IP_ADD_MEMBERSHIP, &request, sizeof(request)) == 0;
}

bool SetNonBlocking(SocketHandle hSocket)
{
    const int nFlags = fcntl(Fd(hSocket), F_GETFL);
    return nFlags >= 0 && fcntl(Fd(hSocket), F_SETFL, nFlags | O_NONBLOCK) == 0;
}

int32_t WaitReadable(SocketHandle hSocket, int32_t nMilliseconds)
{
    // poll passes over a negative descriptor instead of failing, and would wait for nothing.
    if (Fd(hSocket) < 0) {
        errno = EBADF;
        return -1;
    }
    pollfd entry{Fd(hSocket), POLLIN, 0};
    int nResult;
    do
        nResult = poll(&entry, 1, nMilliseconds < 0 ? -1 : nMilliseconds);
    while (nResult < 0 && errno == EINTR);
    if (nResult > 0 && (entry.revents & POLLNVAL)) {
        errno = EBADF;
        return -1;
    }
    return nResult < 0 ? -1 : (nResult > 0 ? 1 : 0);
}

bool ParseDottedAddress(const std::string& text, uint32_t& nAddress)
{
    in_addr parsed{};
    if (inet_pton(AF_INET, text.c_str(), &parsed) != 1)
        return false;
    nAddress = parsed.s_addr;
    return true;
}

std::string DottedAddress(uint32_t nAddress)
{
    in_addr value{};
    value.s_addr = nAddress;
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &value, text, sizeof(text));
    return text;
}

int ResolveIPv4(const std::string& name, uint32_t& nAddress)
{
    addrinfo hints{};
    hints.ai_family = AF_INET;
    addrinfo* pList = nullptr;
    const int nError = getaddrinfo(name.c_str(), nullptr, &hints, &pList);
    if (nError != 0)
        return nError;
    int nResult = EAI_NONAME;
    for (const addrinfo* p = pList; p; p = p->ai_next) {
        if (p->ai_family == AF_INET) {
            nAddress = reinterpret_cast<const sockaddr_in*>(p->ai_addr)->sin_addr.s_addr;
            nResult = 0;
            break;
        }
    }
    freeaddrinfo(pList);
    return nResult;
}

namespace {

template <class TPick>
std::vector<uint32_t> InterfaceAddresses(TPick pick, bool& bListed)
{
    std::vector<uint32_t> addresses;
    ifaddrs* pList = nullptr;
    bListed = getifaddrs(&pList) == 0;
    if (!bListed)
        return addresses;
    for (const ifaddrs* p = pList; p; p = p->ifa_next) {
        if (p->ifa_addr && p->ifa_addr->sa_family == AF_INET && (p->ifa_flags & IFF_UP)) {
            uint32_t nAddress = 0;
            if (pick(*p, nAddress))
                addresses.push_back(nAddress);
        }
    }
    freeifaddrs(pList);
    return addresses;
}

}  // namespace

bool LocalAddresses(std::vector<uint32_t>& addresses)
{
    bool bListed = false;
    addresses = InterfaceAddresses(
        [](const ifaddrs& entry, uint32_t& nAddress) {
            nAddress = reinterpret_cast<const sockaddr_in*>(entry.ifa_addr)->sin_addr.s_addr;
            return true;
        },
        bListed);
    return bListed;
}

std::vector<uint32_t> InterfaceBroadcastAddresses()
{
    bool bListed = false;
    return InterfaceAddresses(
        [](const ifaddrs& entry, uint32_t& nAddress) {
            if (!(entry.ifa_flags & IFF_BROADCAST) || !entry.ifa_broadaddr)
                return false;
            nAddress = reinterpret_cast<const sockaddr_in*>(entry.ifa_broadaddr)->sin_addr.s_addr;
            return true;
        },
        bListed);
}

std::string LocalHostName()
{
    char name[256] = {};
    if (gethostname(name, sizeof(name) - 1) != 0)
        return std::string();
    return name;
}

bool ReverseLookup(uint32_t nAddress, std::string& name)
{
    sockaddr_in record{};
    record.sin_family = AF_INET;
    record.sin_addr.s_addr = nAddress;
    char host[NI_MAXHOST] = {};
    if (getnameinfo(reinterpret_cast<const sockaddr*>(&record), sizeof(record), host, sizeof(host), nullptr, 0, 0) != 0)
        return false;
    name = host;
    return true;
}

}  // namespace zu::platform
