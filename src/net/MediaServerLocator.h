// CMediaServerLocator: both sides of the media-server handshake on one UDP socket bound to the
// discovery port with address reuse, so that a client and a server on one machine can share it.
// Requests and answers go by broadcast: to 255.255.255.255 and also to each interface's own
// broadcast address, for networks where the former does not leave the machine.
#pragma once

#include <zureader/MediaServerLocator.h>

#include "platform/Socket.h"
#include "platform/Thread.h"

#include <atomic>
#include <string>
#include <vector>

class CMediaServerLocator : public VMediaServerLocator {
public:
    static constexpr uint16_t kDiscoveryPort = 5556;
    // Set-up results.
    enum : int32_t { SETUP_SOCKET = 101, SETUP_BROADCAST = 102, SETUP_REUSE = 103, SETUP_BIND = 104 };

    // nPort: the discovery port (another one only where tests must keep to themselves).
    explicit CMediaServerLocator(uint16_t nPort = kDiscoveryPort);
    ~CMediaServerLocator() override;

    ZUBOOL FindMediaServer(ZUCHAR* pszURL, uint32_t nCapacity) override;
    ZUBOOL StartAnnouncing(const ZUCHAR* pszAddress, const ZUCHAR* pszPort) override;
    ZUBOOL GetLocalHostAddress(ZUCHAR* pszHostName, uint32_t nHostCapacity, ZUCHAR* pszAddress,
                               uint32_t nAddressCapacity) override;

    // 0, or the set-up result above; -1 before the first set-up.
    int32_t LastSetupResult() const { return m_nSetupResult; }
    int LastSocketError() const { return m_nSocketError; }

    // The URL a client makes of what it collected ("entry|entry|..."), false when there is none or
    // the user did not pick one.
    static bool ChooseFromFound(const std::string& found, std::string& url);
    // The entry a reply carries, empty when it is no reply or comes from ownAddress.
    static std::string EntryOfReply(const std::string& reply, const std::string& ownAddress);

private:
    int32_t SetUpSocket();
    bool Broadcast(const std::string& text);
    // Server: true when a request came; client: collects replies into m_Found. Ends after 5 s (and
    // on a server as soon as the stop flag is set).
    bool Receive(bool bServer);
    bool LocalHostAddress(std::string& hostName, std::string& address);
    static void AnnounceThread(void* pLocator);
    void Announce();

    uint16_t m_nPort;
    zu::platform::CSocketLibrary m_Library;
    zu::platform::SocketHandle m_hSocket = zu::platform::INVALID_SOCKET_HANDLE;
    bool m_bReady = false;
    int32_t m_nSetupResult = -1;
    int m_nSocketError = 0;
    std::string m_OwnAddress;
    std::string m_OwnPort;
    std::string m_Found;
    std::atomic<bool> m_bStop{false};
    zu::platform::CThreadHandle m_Thread;
};
