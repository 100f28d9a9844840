#include "platform/Socket.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <memory>

namespace zu::platform {

namespace {

SOCKET Sock(SocketHandle hSocket)
{
    return static_cast<SOCKET>(hSocket);
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
    return setsockopt(Sock(hSocket), nLevel, nName, reinterpret_cast<const char*>(&nValue), sizeof(nValue)) == 0;
}

using GetAddrInfoFunction = int(WSAAPI*)(PCSTR, PCSTR, const ADDRINFOA*, PADDRINFOA*);
using FreeAddrInfoFunction = void(WSAAPI*)(PADDRINFOA);

// getaddrinfo as the system offers it: from ws2_32 where it has it, else from the IPv6 preview
// library of older systems; null functions send callers to the older resolver.
struct CResolver {
    GetAddrInfoFunction pGetAddrInfo = nullptr;
    FreeAddrInfoFunction pFreeAddrInfo = nullptr;

    CResolver()
    {
        for (const char* pszName : {"\\ws2_32", "\\wship6"}) {
            char path[MAX_PATH + 16] = {};
            const UINT nLength = GetSystemDirectoryA(path, MAX_PATH);
            if (nLength == 0 || nLength >= MAX_PATH)
                return;
            std::strcat(path, pszName);
            HMODULE hModule = LoadLibraryA(path);
            if (!hModule)
                continue;
            pGetAddrInfo = reinterpret_cast<GetAddrInfoFunction>(
                reinterpret_cast<void*>(GetProcAddress(hModule, "getaddrinfo")));
            pFreeAddrInfo = reinterpret_cast<FreeAddrInfoFunction>(
                reinterpret_cast<void*>(GetProcAddress(hModule, "freeaddrinfo")));
            if (pGetAddrInfo && pFreeAddrInfo)
                return;  // the module stays loaded for the process
            pGetAddrInfo = nullptr;
            pFreeAddrInfo = nullptr;
            FreeLibrary(hModule);
        }
    }
};

const CResolver& Resolver()
{
    static const CResolver resolver;
    return resolver;
}

int ResolveWithoutGetAddrInfo(const std::string& name, uint32_t& nAddress)
{
    const hostent* pEntry = gethostbyname(name.c_str());
    if (!pEntry)
        return WSAGetLastError();
    if (pEntry->h_addrtype != AF_INET || !pEntry->h_addr_list[0])
        return WSANO_DATA;
    std::memcpy(&nAddress, pEntry->h_addr_list[0], sizeof(nAddress));
    return 0;
}

// The socket's list of local addresses, asked for its size first.
bool QueryAddressList(SOCKET hSocket, std::unique_ptr<char[]>& buffer)
{
    DWORD nBytes = 0;
    WSAIoctl(hSocket, SIO_ADDRESS_LIST_QUERY, nullptr, 0, nullptr, 0, &nBytes, nullptr, nullptr);
    if (nBytes == 0)
        return false;
    buffer.reset(new char[nBytes]);
    return WSAIoctl(hSocket, SIO_ADDRESS_LIST_QUERY, nullptr, 0, buffer.get(), nBytes, &nBytes, nullptr, nullptr) == 0;
}

}  // namespace

CSocketLibrary::CSocketLibrary()
{
    WSADATA data{};
    m_bStarted = WSAStartup(MAKEWORD(2, 2), &data) == 0;
}

CSocketLibrary::~CSocketLibrary()
{
    if (m_bStarted)
        WSACleanup();
}

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
    return WSAGetLastError();
}

void SetLastSocketError(int nError)
{
    WSASetLastError(nError);
}

int TimedOutError()
{
    return WSAETIMEDOUT;
}

SocketHandle OpenSocket(bool bDatagram)
{
    const SOCKET hSocket = socket(AF_INET, bDatagram ? SOCK_DGRAM : SOCK_STREAM, bDatagram ? IPPROTO_UDP : IPPROTO_TCP);
    if (hSocket == INVALID_SOCKET)
        return INVALID_SOCKET_HANDLE;
    // Not inherited, so a process the host starts does not keep the port.
    SetHandleInformation(reinterpret_cast<HANDLE>(hSocket), HANDLE_FLAG_INHERIT, 0);
    return static_cast<SocketHandle>(hSocket);
}

void CloseSocket(SocketHandle hSocket)
{
    if (hSocket != INVALID_SOCKET_HANDLE)
        closesocket(Sock(hSocket));
}

void ShutdownSending(SocketHandle hSocket)
{
    shutdown(Sock(hSocket), SD_SEND);
}

bool BindSocket(SocketHandle hSocket, const SocketAddress& address)
{
    const sockaddr_in record = ToSystem(address);
    return bind(Sock(hSocket), reinterpret_cast<const sockaddr*>(&record), sizeof(record)) == 0;
}

bool ListenSocket(SocketHandle hSocket, int32_t nBacklog)
{
    return listen(Sock(hSocket), nBacklog) == 0;
}

SocketHandle AcceptSocket(SocketHandle hSocket, SocketAddress& peer)
{
    sockaddr_in record{};
    int nLength = sizeof(record);
    const SOCKET hAccepted = accept(Sock(hSocket), reinterpret_cast<sockaddr*>(&record), &nLength);
    if (hAccepted == INVALID_SOCKET)
        return INVALID_SOCKET_HANDLE;
    peer = FromSystem(record);
    return static_cast<SocketHandle>(hAccepted);
}

int32_t ConnectSocket(SocketHandle hSocket, const SocketAddress& address)
{
    const sockaddr_in record = ToSystem(address);
    return connect(Sock(hSocket), reinterpret_cast<const sockaddr*>(&record), sizeof(record));
}

int64_t SendBytes(SocketHandle hSocket, const void* pBuffer, uint32_t nCount)
{
    return send(Sock(hSocket), static_cast<const char*>(pBuffer), static_cast<int>(nCount), 0);
}

int64_t SendBytesTo(SocketHandle hSocket, const void* pBuffer, uint32_t nCount, const SocketAddress& to)
{
    const sockaddr_in record = ToSystem(to);
    return sendto(Sock(hSocket), static_cast<const char*>(pBuffer), static_cast<int>(nCount), 0,
                  reinterpret_cast<const sockaddr*>(&record), sizeof(record));
}

// Winsock fails a receive of a datagram larger than the buffer, though it has filled the buffer
// with the datagram's first bytes; BSD sockets answer those bytes, and so does this.
int64_t ReceivedCount(int nResult, uint32_t nCount)
{
    return nResult < 0 && WSAGetLastError() == WSAEMSGSIZE ? static_cast<int64_t>(nCount) : nResult;
}

int64_t ReceiveBytes(SocketHandle hSocket, void* pBuffer, uint32_t nCount)
{
    return ReceivedCount(recv(Sock(hSocket), static_cast<char*>(pBuffer), static_cast<int>(nCount), 0), nCount);
}

int64_t ReceiveBytesFrom(SocketHandle hSocket, void* pBuffer, uint32_t nCount, SocketAddress& from)
{
    sockaddr_in record{};
    int nLength = sizeof(record);
    const int64_t nReceived = ReceivedCount(recvfrom(Sock(hSocket), static_cast<char*>(pBuffer),
                                                     static_cast<int>(nCount), 0,
                                                     reinterpret_cast<sockaddr*>(&record), &nLength),
                                            nCount);
    if (nReceived >= 0)
        from = FromSystem(record);
    return nReceived;
}

bool LocalSocketName(SocketHandle hSocket, SocketAddress& address)
{
    sockaddr_in record{};
    int nLength = sizeof(record);
    if (getsockname(Sock(hSocket), reinterpret_cast<sockaddr*>(&record), &nLength) != 0)
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
    return SetIntOption(hSocket, SOL_SOCKET, eBuffer == ESocketBuffer::Send ? SO_SNDBUF : SO_RCVBUF, nBytes);
}

int32_t GetSocketBufferSize(SocketHandle hSocket, ESocketBuffer eBuffer)
{
    int nValue = 0;
    int nLength = sizeof(nValue);
    const int nName = eBuffer == ESocketBuffer::Send ? SO_SNDBUF : SO_RCVBUF;
    return getsockopt(Sock(hSocket), SOL_SOCKET, nName, reinterpret_cast<char*>(&nValue), &nLength) == 0 ? nValue : -1;
}

bool SetReceiveTimeoutMs(SocketHandle hSocket, uint32_t nMilliseconds)
{
    const DWORD nValue = nMilliseconds;
    return setsockopt(Sock(hSocket), SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&nValue), sizeof(nValue)) ==
           0;
}

bool SetMulticastTimeToLive(SocketHandle hSocket, uint8_t nHops)
{
    const char nValue = static_cast<char>(nHops);
    return setsockopt(Sock(hSocket), IPPROTO_IP, IP_MULTICAST_TTL, &nValue, sizeof(nValue)) == 0;
}

bool AddMulticastMembership(SocketHandle hSocket, uint32_t nGroup, uint32_t nInterface)
{
    ip_mreq request{};
    request.imr_multiaddr.s_addr = nGroup;
    request.imr_interface.s_addr = nInterface;
    return setsockopt(Sock(hSocket), IPPROTO_IP, IP_ADD_MEMBERSHIP, reinterpret_cast<const char*>(&request),
                      sizeof(request)) == 0;
}

bool SetNonBlocking(SocketHandle hSocket)
{
    u_long nOn = 1;
    return ioctlsocket(Sock(hSocket), FIONBIO, &nOn) == 0;
}

int32_t WaitReadable(SocketHandle hSocket, int32_t nMilliseconds)
{
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(Sock(hSocket), &readable);
    timeval limit{};
    limit.tv_sec = nMilliseconds / 1000;
    limit.tv_usec = (nMilliseconds % 1000) * 1000;
    const int nResult = select(0, &readable, nullptr, nullptr, nMilliseconds < 0 ? nullptr : &limit);
    return nResult == SOCKET_ERROR ? -1 : (nResult > 0 ? 1 : 0);
}

bool ParseDottedAddress(const std::string& text, uint32_t& nAddress)
{
    // inet_addr takes shorthand forms ("1.2") and answers INADDR_NONE for 255.255.255.255 too, so
    // only four decimal fields are taken.
    unsigned aPart[4] = {};
    char cEnd = 0;
    if (std::sscanf(text.c_str(), "%3u.%3u.%3u.%3u%c", &aPart[0], &aPart[1], &aPart[2], &aPart[3], &cEnd) != 4)
        return false;
    uint32_t nHost = 0;
    for (unsigned nPart : aPart) {
        if (nPart > 255)
            return false;
        nHost = (nHost << 8) | nPart;
    }
    nAddress = htonl(nHost);
    return true;
}

std::string DottedAddress(uint32_t nAddress)
{
    const uint32_t nHost = ntohl(nAddress);
    char text[16] = {};
    std::snprintf(text, sizeof(text), "%u.%u.%u.%u", nHost >> 24, (nHost >> 16) & 255, (nHost >> 8) & 255, nHost & 255);
    return text;
}

int ResolveIPv4(const std::string& name, uint32_t& nAddress)
{
    const CResolver& resolver = Resolver();
    if (!resolver.pGetAddrInfo)
        return ResolveWithoutGetAddrInfo(name, nAddress);
    ADDRINFOA hints{};
    hints.ai_family = AF_INET;
    ADDRINFOA* pList = nullptr;
    const int nError = resolver.pGetAddrInfo(name.c_str(), nullptr, &hints, &pList);
    if (nError != 0)
        return nError;
    int nResult = WSAHOST_NOT_FOUND;
    for (const ADDRINFOA* p = pList; p; p = p->ai_next) {
        if (p->ai_family == AF_INET && p->ai_addr) {
            nAddress = reinterpret_cast<const sockaddr_in*>(p->ai_addr)->sin_addr.s_addr;
            nResult = 0;
            break;
        }
    }
    resolver.pFreeAddrInfo(pList);
    return nResult;
}

bool LocalAddresses(std::vector<uint32_t>& addresses)
{
    addresses.clear();
    const SocketHandle hProbe = OpenSocket(true);
    if (hProbe == INVALID_SOCKET_HANDLE)
        return false;
    std::unique_ptr<char[]> buffer;
    const bool bListed = QueryAddressList(Sock(hProbe), buffer);
    if (bListed) {
        const auto* pList = reinterpret_cast<const SOCKET_ADDRESS_LIST*>(buffer.get());
        for (INT i = 0; i < pList->iAddressCount; ++i) {
            const SOCKET_ADDRESS& entry = pList->Address[i];
            if (entry.lpSockaddr && entry.lpSockaddr->sa_family == AF_INET)
                addresses.push_back(reinterpret_cast<const sockaddr_in*>(entry.lpSockaddr)->sin_addr.s_addr);
        }
    }
    CloseSocket(hProbe);
    return bListed;
}

std::vector<uint32_t> InterfaceBroadcastAddresses()
{
    std::vector<uint32_t> broadcasts;
    const SocketHandle hProbe = OpenSocket(true);
    if (hProbe == INVALID_SOCKET_HANDLE)
        return broadcasts;
    INTERFACE_INFO aInfo[32] = {};
    DWORD nBytes = 0;
    if (WSAIoctl(Sock(hProbe), SIO_GET_INTERFACE_LIST, nullptr, 0, aInfo, sizeof(aInfo), &nBytes, nullptr, nullptr) ==
        0) {
        for (DWORD i = 0; i < nBytes / sizeof(INTERFACE_INFO); ++i) {
            const INTERFACE_INFO& info = aInfo[i];
            if (!(info.iiFlags & IFF_BROADCAST) || info.iiAddress.Address.sa_family != AF_INET)
                continue;
            const uint32_t nAddress = info.iiAddress.AddressIn.sin_addr.s_addr;
            const uint32_t nMask = info.iiNetmask.AddressIn.sin_addr.s_addr;
            broadcasts.push_back(nAddress | ~nMask);
        }
    }
    CloseSocket(hProbe);
    return broadcasts;
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
