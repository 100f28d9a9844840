// Shorthands for the socket readers' tests: peer programs (socat, the Python peer) started as
// native processes, from the Windows build under Wine through the loopback servers' launcher,
// free loopback ports, and the lines the
// readers log under "Sharing Plugins".
#pragma once

#include "TestSupport.h"

#include <zureader/SocketReader.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace zutest {

struct CSocketReaderDelete {
    void operator()(VSocketReader* pReader) const { delete pReader; }
};
using CSocketReaderPtr = std::unique_ptr<VSocketReader, CSocketReaderDelete>;

// A native program started for us by the loopback servers' peer launcher
// (tests/servers/peer_launcher.py), for a test program under Wine, which cannot start one and
// learn its exit status itself.
class CLaunchedPeer {
public:
    void Start(uint16_t nLauncherPort, const std::vector<std::string>& arguments, uint32_t nLimitSeconds);
    bool Started() const { return m_bStarted; }
    // As CPeerProcess::Wait.
    int Wait(uint32_t nMilliseconds);
    // Ends the program if it still runs.
    void Kill();

private:
    bool ReadLine(uint32_t nMilliseconds, std::string& line);

    CSocketReaderPtr m_pLauncher;
    std::string m_Pending;
    bool m_bStarted = false;
    int m_nStatus = -1;
};

// A native program run with its arguments; killed, if still running, when the object goes.
// Every peer is also started under timeout(1), so none outlives a test by more than its limit.
class CPeerProcess {
public:
    CPeerProcess(const std::vector<std::string>& arguments, uint32_t nLimitSeconds = 20);
    ~CPeerProcess();
    CPeerProcess(const CPeerProcess&) = delete;
    CPeerProcess& operator=(const CPeerProcess&) = delete;

    bool Started() const;
    // The exit status once it ended within nMilliseconds, -1 when it did not.
    int Wait(uint32_t nMilliseconds);

private:
    struct CState;
    std::unique_ptr<CState> m_pState;
};

// Why peer programs cannot serve here, empty when they can: Wine starts a native program from a
// Windows one detached, now and then not at all, and without its exit status.
std::string PeerProgramsUnavailableReason();

// The Python peer of these tests in one of its modes (see socket_peer.py).
std::vector<std::string> PythonPeer(const std::vector<std::string>& arguments);

// A port of 127.0.0.1 that nothing used a moment ago (the system's pick for a socket that closed).
uint16_t FreePort(bool bUDP);

// A new socket reader through the export; a failed test when it is not one.
CSocketReaderPtr NewSocketReader(bool bUDP);
// Bound to 127.0.0.1 at nPort (0: the system picks); 0 when the bind failed.
uint16_t BindLoopback(VSocketReader& reader, uint16_t nPort = 0);
ZUSocketAddress LoopbackAddress(uint16_t nPort);

// Collects the lines the library logs under "Sharing Plugins" while it lives.
class CSharingLog {
public:
    CSharingLog();
    ~CSharingLog();
    // The lines so far that name the operation (as "Class::Method: "), without their prefix.
    std::vector<std::string> Messages(const std::string& operation);

private:
    int m_nListener;
    std::vector<std::string> m_Lines;
};

// The system's numbers for a few socket errors, as the readers log them.
struct CSocketErrors {
    int nAddressInUse, nConnectionRefused, nSendUnconnected, nTimedOut, nMessageTooLong, nBadSocket;
};
const CSocketErrors& SocketErrors();

std::u16string Text16(const ZUCHAR* psz);

}  // namespace zutest

// Skips the current test where peer programs cannot run, saying why.
#define ZU_REQUIRE_PEER_PROGRAMS()                                        \
    if (zutest::PeerProgramsUnavailableReason().empty()) {                \
    } else                                                                \
        GTEST_SKIP() << zutest::PeerProgramsUnavailableReason()
