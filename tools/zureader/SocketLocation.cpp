#include "SocketLocation.h"

#include "CommandLine.h"

#include <algorithm>
#include <chrono>

namespace zucli {
namespace {

constexpr char16_t kTcp[] = u"tcp://";
constexpr char16_t kUdp[] = u"udp://";
constexpr size_t kSchemeLength = 6;
// A stream of 100 Mbit/s overruns the system's default receive buffer within milliseconds of the
// reader falling behind; a few megabytes ride out a slow disk or terminal.
constexpr int32_t kDatagramReceiveBytes = 8 << 20;
// A datagram source has no end: its reads give up this often so that an interrupt is seen (the
// system restarts a receive that a signal interrupts).
constexpr uint32_t kDatagramPollMs = 200;

bool StartsWith(const std::u16string& text, const char16_t* pszPrefix)
{
    return text.compare(0, kSchemeLength, pszPrefix) == 0;
}

bool IsDottedAddress(const std::u16string& host)
{
    return !host.empty() &&
           std::all_of(host.begin(), host.end(), [](char16_t c) { return c == u'.' || (c >= u'0' && c <= u'9'); });
}

}  // namespace

bool CSocketLocation::IsSocketLocation(const std::u16string& location)
{
    return StartsWith(location, kTcp) || StartsWith(location, kUdp);
}

bool CSocketLocation::IsDatagramLocation(const std::u16string& location)
{
    return StartsWith(location, kUdp);
}

bool CSocketLocation::Parse(const std::u16string& location, std::string& error)
{
    const bool bTcp = StartsWith(location, kTcp);
    std::u16string rest = location.substr(kSchemeLength);
    const size_t nColon = rest.rfind(u':');
    uint64_t nPort = 0;
    if (nColon == std::u16string::npos || !ParseCount(rest.substr(nColon + 1), 65535, nPort) || nPort == 0) {
        error = "a port from 1 to 65535 must end " + ToUtf8(location);
        return false;
    }
    m_nPort = static_cast<uint16_t>(nPort);
    m_Host = rest.substr(0, nColon);
    m_eKind = bTcp ? EKind::Stream : EKind::Datagram;
    if (!bTcp && !m_Host.empty() && m_Host[0] == u'@') {
        m_eKind = EKind::Multicast;
        m_Host.erase(0, 1);
        if (!IsDottedAddress(m_Host)) {
            error = "a multicast group is a dotted address, not " + ToUtf8(m_Host);
            return false;
        }
    } else if (!bTcp && !m_Host.empty()) {
        error = ToUtf8(location) + " names a host: udp:// receives, as udp://:PORT or udp://@GROUP:PORT";
        return false;
    }
    if (bTcp && m_Host.empty()) {
        error = ToUtf8(location) + " names no host";
        return false;
    }
    return true;
}

CReaderPtr CSocketLocation::Make(const std::function<void(VReader&)>& configure, uint32_t nLookupMs,
                                 COpenFailure& failure) const
{
    CReaderPtr pReader(GetSocketReader(IsDatagram() ? 1 : 0));
    VSocketReader* pSocket = ZUReaderCast<VSocketReader>(pReader.get());
    if (!pSocket) {
        failure = {EExit::FAILED, "cannot make a socket for " + Text()};
        return nullptr;
    }
    configure(*pReader);
    const bool bReady = IsDatagram() ? Bind(*pSocket, failure) : Connect(*pSocket, nLookupMs, failure);
    return bReady ? std::move(pReader) : nullptr;
}

bool CSocketLocation::Connect(VSocketReader& socket, uint32_t nLookupMs, COpenFailure& failure) const
{
    const auto start = std::chrono::steady_clock::now();
    if (socket.ConnectTo(Z(m_Host), m_nPort) == 0)
        return true;
    const auto elapsed = std::chrono::steady_clock::now() - start;
    // The reader tells only that it failed; a lookup that used up its time-out is the one case the
    // clock can tell apart.
    if (!IsDottedAddress(m_Host) && elapsed >= std::chrono::milliseconds(nLookupMs)) {
        failure = {EExit::TIMED_OUT, "cannot connect to " + Text() + ": looking up " + ToUtf8(m_Host) +
                                         " took more than " + std::to_string(nLookupMs) + " ms"};
        return false;
    }
    failure = {EExit::NO_CONNECTION, "cannot connect to " + Text() +
                                         (IsDottedAddress(m_Host) ? ": refused or unreachable"
                                                                  : ": the name does not resolve, or the host refused")};
    return false;
}

bool CSocketLocation::Bind(VSocketReader& socket, COpenFailure& failure) const
{
    socket.SetReuseAddress();
    socket.SetReceiveBufferSize(kDatagramReceiveBytes);
    socket.SetReceiveTimeout(kDatagramPollMs);
    if (!socket.BindTo(Z(u"0.0.0.0"), m_nPort)) {
        failure = {EExit::FAILED, "cannot receive " + Text() + ": port " + std::to_string(m_nPort) + " is taken"};
        return false;
    }
    if (m_eKind == EKind::Multicast && !socket.JoinMulticast(Z(m_Host), nullptr)) {
        failure = {EExit::FAILED, "cannot join the multicast group " + ToUtf8(m_Host)};
        return false;
    }
    return true;
}

std::string CSocketLocation::Text() const
{
    const std::string port = ":" + std::to_string(m_nPort);
    if (m_eKind == EKind::Stream)
        return "tcp://" + ToUtf8(m_Host) + port;
    return m_eKind == EKind::Multicast ? "udp://@" + ToUtf8(m_Host) + port : "udp://" + port;
}

}  // namespace zucli
