#include "net/MediaServerLocator.h"

#include "core/Log.h"
#include "host/HostCallbacks.h"
#include "platform/System.h"
#include "net/SocketText.h"

#include <cstring>
#include <exception>
#include <set>

using namespace zu;
namespace zp = zu::platform;

namespace {

constexpr char kRequest[] = "GetMediaServerAddress";
constexpr char kReplyField[] = "MediaServer";
constexpr char kScheme[] = "m01p://";
constexpr uint32_t kReceiveMs = 5000;
constexpr uint32_t kStepMs = 10;
constexpr uint32_t kReplyWaitMs = 500;
constexpr uint32_t kAnnounceGapMs = 100;
constexpr int32_t kMinimumBuffer = 8192;
constexpr uint32_t kDatagramBytes = 512;
// A receive cycle and the gap after it, with room to spare.
constexpr uint32_t kThreadEndMs = kReceiveMs + kAnnounceGapMs + 100;

std::vector<std::string> Split(const std::string& text, char cSeparator)
{
    std::vector<std::string> fields;
    size_t nStart = 0;
    for (size_t nAt; (nAt = text.find(cSeparator, nStart)) != std::string::npos; nStart = nAt + 1)
        fields.push_back(text.substr(nStart, nAt - nStart));
    fields.push_back(text.substr(nStart));
    return fields;
}

// Wire texts are plain ASCII; any other byte is taken as the character of the same number.
std::u16string Widen(const std::string& text)
{
    std::u16string wide;
    for (char c : text)
        wide.push_back(static_cast<char16_t>(static_cast<unsigned char>(c)));
    return wide;
}

std::string UrlOfEntry(const std::vector<std::string>& fields)
{
    return kScheme + fields[1] + ":" + fields[2];
}

}  // namespace

CMediaServerLocator::CMediaServerLocator(uint16_t nPort) : m_nPort(nPort) {}

CMediaServerLocator::~CMediaServerLocator()
{
    m_bStop = true;
    if (m_Thread && zp::WaitForThread(m_Thread.Get(), kThreadEndMs) != zp::WAIT_RESULT_FIRST) {
        // Stuck in the system (a name lookup): it is ended rather than waited on for good.
        Log(LOG_SHARING_PLUGINS, u"CMediaServerLocator::~CMediaServerLocator", u"Announce thread did not end");
        zp::KillThread(m_Thread.Get(), 1);
    }
    m_Thread.Reset();
    zp::CloseSocket(m_hSocket);
}

int32_t CMediaServerLocator::SetUpSocket()
{
    if (m_bReady)
        return 0;
    auto fail = [this](int32_t nResult) {
        m_nSocketError = zp::LastSocketError();
        m_nSetupResult = nResult;
        return nResult;
    };
    if (m_hSocket == zp::INVALID_SOCKET_HANDLE)
        m_hSocket = zp::OpenSocket(true);
    if (m_hSocket == zp::INVALID_SOCKET_HANDLE)
        return fail(SETUP_SOCKET);
    for (zp::ESocketBuffer eBuffer : {zp::ESocketBuffer::Receive, zp::ESocketBuffer::Send}) {
        if (zp::GetSocketBufferSize(m_hSocket, eBuffer) < kMinimumBuffer &&
            !zp::SetSocketBufferSize(m_hSocket, eBuffer, kMinimumBuffer))
            m_nSocketError = zp::LastSocketError();
    }
    if (!zp::SetSocketFlag(m_hSocket, zp::ESocketFlag::Broadcast))
        return fail(SETUP_BROADCAST);
    if (!zp::SetSocketFlag(m_hSocket, zp::ESocketFlag::ReuseAddress))
        return fail(SETUP_REUSE);
    zp::SocketAddress local;
    local.nFamily = zp::IPv4Family();
    local.nPort = zp::NetworkOrder16(m_nPort);
    if (!zp::BindSocket(m_hSocket, local))
        return fail(SETUP_BIND);
    m_bReady = true;
    zp::SetNonBlocking(m_hSocket);
    m_nSetupResult = 0;
    return 0;
}

bool CMediaServerLocator::Broadcast(const std::string& text)
{
    zp::SocketAddress to;
    to.nFamily = zp::IPv4Family();
    to.nPort = zp::NetworkOrder16(m_nPort);
    to.nAddress = 0xFFFFFFFFu;
    const uint32_t nLength = static_cast<uint32_t>(text.size());
    bool bSent = zp::SendBytesTo(m_hSocket, text.data(), nLength, to) == nLength;
    for (uint32_t nAddress : zp::InterfaceBroadcastAddresses()) {
        to.nAddress = nAddress;
        bSent = zp::SendBytesTo(m_hSocket, text.data(), nLength, to) == nLength || bSent;
    }
    return bSent;
}

std::string CMediaServerLocator::EntryOfReply(const std::string& reply, const std::string& ownAddress)
{
    const std::vector<std::string> fields = Split(reply, ':');
    if (fields[0] != kReplyField)
        return std::string();
    if (!ownAddress.empty() && fields.size() > 2 && fields[2] == ownAddress)
        return std::string();
    return reply.substr(std::strlen(kReplyField) + (fields.size() > 1 ? 1 : 0));
}

bool CMediaServerLocator::Receive(bool bServer)
{
    const uint32_t nStart = zp::TickCount();
    char buffer[kDatagramBytes + 1];
    std::string hostName, ownAddress;
    if (!bServer && !LocalHostAddress(hostName, ownAddress))
        ownAddress.clear();
    for (;;) {
        zp::SleepMilliseconds(kStepMs);
        if (zp::TickCount() - nStart > kReceiveMs || (bServer && m_bStop))
            return false;
        while (zp::WaitReadable(m_hSocket, 0) == 1) {
            zp::SocketAddress sender;
            const int64_t nReceived = zp::ReceiveBytesFrom(m_hSocket, buffer, kDatagramBytes, sender);
            if (nReceived < 0)
                break;  // read and passed over
            buffer[nReceived] = 0;
            const std::string text(buffer);  // up to the first zero, as a string
            if (bServer) {
                if (text.find(kRequest) != std::string::npos)
                    return true;
                continue;
            }
            const std::string entry = EntryOfReply(text, ownAddress);
            if (!entry.empty())
                m_Found += entry + "|";
        }
    }
}

bool CMediaServerLocator::ChooseFromFound(const std::string& found, std::string& url)
{
    std::set<std::string> distinct;
    for (const std::string& entry : Split(found, '|'))
        if (!entry.empty())
            distinct.insert(entry);
    if (distinct.empty())
        return false;
    std::string chosen = *distinct.begin();
    if (distinct.size() > 1) {
        std::vector<std::u16string> entries;
        for (const std::string& entry : distinct)
            entries.push_back(Widen(entry));
        size_t nChosen = 0;
        if (host::CHostCallbacks::ChooseMediaServer(entries, nChosen) != host::EPromptAnswer::Retry)
            return false;
        chosen = *std::next(distinct.begin(), static_cast<std::ptrdiff_t>(nChosen));
    }
    const std::vector<std::string> fields = Split(chosen, ':');
    if (fields.size() != 3) {
        const std::u16string message = u"Invalid Media Server information.\r\n" + Widen(chosen);
        if (!host::CHostCallbacks::ShowMessage(message))
            Log(LOG_SHARING_PLUGINS, u"CMediaServerLocator::FindMediaServer", u"%s", message);
        return false;
    }
    url = UrlOfEntry(fields);
    return true;
}

ZUBOOL CMediaServerLocator::FindMediaServer(ZUCHAR* pszURL, uint32_t nCapacity)
try {
    if (SetUpSocket() != 0 || !Broadcast(kRequest))
        return 0;
    zp::SleepMilliseconds(kReplyWaitMs);
    m_Found.clear();
    Receive(false);
    std::string url;
    if (!ChooseFromFound(m_Found, url))
        return 0;
    CopyNarrowText(url, pszURL, nCapacity);
    return 1;
} catch (const std::exception&) {
    return 0;
}

ZUBOOL CMediaServerLocator::StartAnnouncing(const ZUCHAR* pszAddress, const ZUCHAR* pszPort)
try {
    if (m_Thread || SetUpSocket() != 0)
        return 0;
    m_OwnAddress = NarrowText(pszAddress);
    m_OwnPort = NarrowText(pszPort);
    m_bStop = false;
    uint32_t nThreadId = 0;
    m_Thread.Reset(zp::CreateGatedThread(&CMediaServerLocator::AnnounceThread, this, nThreadId));
    return m_Thread && zp::ResumeGatedThread(m_Thread.Get()) ? 1 : 0;
} catch (const std::exception&) {
    return 0;
}

void CMediaServerLocator::AnnounceThread(void* pLocator)
{
    try {
        static_cast<CMediaServerLocator*>(pLocator)->Announce();
    } catch (const std::exception&) {
    }
}

void CMediaServerLocator::Announce()
{
    uint32_t nAddress = 0;
    std::string hostName;
    if (!zp::ParseDottedAddress(m_OwnAddress, nAddress) || !zp::ReverseLookup(nAddress, hostName))
        hostName = m_OwnAddress;
    const std::string reply = std::string(kReplyField) + ":" + hostName + ":" + m_OwnAddress + ":" + m_OwnPort;
    while (!m_bStop) {
        if (Receive(true))
            Broadcast(reply);
        zp::SleepMilliseconds(kAnnounceGapMs);
    }
}

bool CMediaServerLocator::LocalHostAddress(std::string& hostName, std::string& address)
{
    uint32_t nAddress = 0;
    const std::string machine = zp::LocalHostName();
    if (machine.empty() || zp::ResolveIPv4(machine, nAddress) != 0 || nAddress == 0 || nAddress == 0xFFFFFFFFu)
        return false;
    address = zp::DottedAddress(nAddress);
    return zp::ReverseLookup(nAddress, hostName);
}

ZUBOOL CMediaServerLocator::GetLocalHostAddress(ZUCHAR* pszHostName, uint32_t nHostCapacity, ZUCHAR* pszAddress,
                                                uint32_t nAddressCapacity)
try {
    std::string hostName, address;
    const bool bFound = LocalHostAddress(hostName, address);
    CopyNarrowText(address, pszAddress, nAddressCapacity);
    CopyNarrowText(hostName, pszHostName, nHostCapacity);
    return bFound ? 1 : 0;
} catch (const std::exception&) {
    return 0;
}
