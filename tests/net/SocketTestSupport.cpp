#include "net/SocketTestSupport.h"

#include "ServerSupport.h"
#include "core/Log.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#ifdef _WIN32
#include <winsock2.h>
#include <windows.h>
#else
#include <cerrno>
#include <csignal>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
extern char** environ;
#endif

namespace zutest {

namespace {

const char kTimeout[] = "/usr/bin/timeout";

std::string PeerScript()
{
    // Beside this file in the source tree, which the Windows build also reaches as a native path.
    std::string path = __FILE__;
    return path.substr(0, path.find_last_of("/\\") + 1) + "socket_peer.py";
}

}  // namespace

void CLaunchedPeer::Start(uint16_t nLauncherPort, const std::vector<std::string>& arguments, uint32_t nLimitSeconds)
{
    m_pLauncher = NewSocketReader(false);
    if (!m_pLauncher || m_pLauncher->ConnectTo(Z(u"127.0.0.1"), nLauncherPort) != 0) {
        m_pLauncher.reset();
        return;
    }
    std::string request = std::to_string(nLimitSeconds);
    for (const std::string& argument : arguments)
        request += "\x1f" + argument;
    request += "\n";
    std::string answer;
    m_bStarted = m_pLauncher->Write(request.data(), static_cast<uint32_t>(request.size())) == request.size() &&
                 ReadLine(10000, answer) && answer == "started";
}

int CLaunchedPeer::Wait(uint32_t nMilliseconds)
{
    std::string status;
    if (m_nStatus < 0 && m_bStarted && ReadLine(nMilliseconds, status))
        m_nStatus = std::atoi(status.c_str());
    return m_nStatus;
}

void CLaunchedPeer::Kill()
{
    if (m_bStarted && m_nStatus < 0)
        m_pLauncher->Write("kill\n", 5);
}

bool CLaunchedPeer::ReadLine(uint32_t nMilliseconds, std::string& line)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(nMilliseconds);
    size_t nEnd;
    while ((nEnd = m_Pending.find('\n')) == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return false;
        m_pLauncher->SetReceiveTimeout(static_cast<uint32_t>(left.count()));
        char buffer[256];
        const uint32_t nRead = m_pLauncher->Read(buffer, sizeof(buffer));
        if (nRead == 0)
            return false;
        m_Pending.append(buffer, nRead);
    }
    line = m_Pending.substr(0, nEnd);
    m_Pending.erase(0, nEnd + 1);
    return true;
}

#ifdef _WIN32

struct CPeerProcess::CState {
    HANDLE hProcess = nullptr;
    CLaunchedPeer launched;
};

CPeerProcess::CPeerProcess(const std::vector<std::string>& arguments, uint32_t nLimitSeconds) : m_pState(new CState)
{
    if (const int nLauncher = ServerPort("PEER_LAUNCHER")) {
        m_pState->launched.Start(static_cast<uint16_t>(nLauncher), arguments, nLimitSeconds);
        return;
    }
    // Wine starts a native program named by its native path.
    std::string line = std::string(kTimeout) + " -s KILL " + std::to_string(nLimitSeconds);
    for (const std::string& argument : arguments)
        line += " " + argument;
    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info{};
    if (CreateProcessA(nullptr, &line[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &info)) {
        CloseHandle(info.hThread);
        m_pState->hProcess = info.hProcess;
    }
}

CPeerProcess::~CPeerProcess()
{
    m_pState->launched.Kill();
    if (!m_pState->hProcess)
        return;
    if (WaitForSingleObject(m_pState->hProcess, 0) != WAIT_OBJECT_0)
        TerminateProcess(m_pState->hProcess, 1);
    CloseHandle(m_pState->hProcess);
}

bool CPeerProcess::Started() const
{
    return m_pState->hProcess != nullptr || m_pState->launched.Started();
}

int CPeerProcess::Wait(uint32_t nMilliseconds)
{
    if (m_pState->launched.Started())
        return m_pState->launched.Wait(nMilliseconds);
    if (!m_pState->hProcess || WaitForSingleObject(m_pState->hProcess, nMilliseconds) != WAIT_OBJECT_0)
        return -1;
    DWORD nCode = 0;
    GetExitCodeProcess(m_pState->hProcess, &nCode);
    return static_cast<int>(nCode);
}

const CSocketErrors& SocketErrors()
{
    // Wine reports a send on an unconnected stream socket as Linux does (a broken pipe, which it
    // calls a reset), Windows as not connected.
    static const CSocketErrors errors{WSAEADDRINUSE, WSAECONNREFUSED, RunningUnderWine() ? WSAECONNRESET : WSAENOTCONN,
                                      WSAETIMEDOUT,  WSAEMSGSIZE,     WSAENOTSOCK};
    return errors;
}

#else

struct CPeerProcess::CState {
    pid_t nPid = -1;
    int nStatus = -1;
};

CPeerProcess::CPeerProcess(const std::vector<std::string>& arguments, uint32_t nLimitSeconds) : m_pState(new CState)
{
    std::vector<std::string> all = {kTimeout, "-s", "KILL", std::to_string(nLimitSeconds)};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& argument : all)
        argv.push_back(&argument[0]);
    argv.push_back(nullptr);
    // A group of its own, so that a kill reaches the peer under timeout(1) too.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    if (posix_spawn(&m_pState->nPid, kTimeout, nullptr, &attributes, argv.data(), environ) != 0)
        m_pState->nPid = -1;
    posix_spawnattr_destroy(&attributes);
}

CPeerProcess::~CPeerProcess()
{
    if (m_pState->nPid <= 0 || m_pState->nStatus >= 0)
        return;
    kill(-m_pState->nPid, SIGKILL);
    waitpid(m_pState->nPid, nullptr, 0);
}

bool CPeerProcess::Started() const
{
    return m_pState->nPid > 0;
}

int CPeerProcess::Wait(uint32_t nMilliseconds)
{
    if (m_pState->nPid <= 0)
        return -1;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(nMilliseconds);
    while (m_pState->nStatus < 0) {
        int nStatus = 0;
        if (waitpid(m_pState->nPid, &nStatus, WNOHANG) == m_pState->nPid)
            m_pState->nStatus = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128;
        else if (std::chrono::steady_clock::now() >= end)
            return -1;
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return m_pState->nStatus;
}

const CSocketErrors& SocketErrors()
{
    static const CSocketErrors errors{EADDRINUSE, ECONNREFUSED, EPIPE, EAGAIN, EMSGSIZE, EBADF};
    return errors;
}

#endif

std::string PeerProgramsUnavailableReason()
{
    if (RunningUnderWine() && ServerPort("PEER_LAUNCHER") == 0)
        return "Wine starts native peer programs detached, at times not at all, and without their exit status; "
               "the loopback servers' peer launcher would start them (ZU_TEST_SERVERS)";
    return std::string();
}

std::vector<std::string> PythonPeer(const std::vector<std::string>& arguments)
{
    std::vector<std::string> all = {"/usr/bin/python3", PeerScript()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

CSocketReaderPtr NewSocketReader(bool bUDP)
{
    VReader* pReader = GetSocketReader(bUDP ? 1 : 0);
    VSocketReader* pSocket = ZUReaderCast<VSocketReader>(pReader);
    EXPECT_NE(pSocket, nullptr) << "GetSocketReader gave no socket reader";
    if (!pSocket)
        delete pReader;
    return CSocketReaderPtr(pSocket);
}

ZUSocketAddress LoopbackAddress(uint16_t nPort)
{
    ZUSocketAddress address{};
    address.nFamily = 2;
    address.nPort = static_cast<uint16_t>((nPort >> 8) | (nPort << 8));
    address.nAddress = 0x0100007F;  // 127.0.0.1 in network order on a little-endian machine
    return address;
}

uint16_t BindLoopback(VSocketReader& reader, uint16_t nPort)
{
    const ZUSocketAddress address = LoopbackAddress(nPort);
    if (!reader.Bind(&address))
        return 0;
    uint16_t nBound = 0;
    uint32_t nAddress = 0;
    return reader.GetLocalAddress(&nAddress, &nBound) ? nBound : 0;
}

uint16_t FreePort(bool bUDP)
{
    CSocketReaderPtr pProbe = NewSocketReader(bUDP);
    return pProbe ? BindLoopback(*pProbe) : 0;
}

CSharingLog::CSharingLog() : m_nListener(zu::CLog::Get()->AddListener(zu::LOG_SHARING_PLUGINS)) {}

CSharingLog::~CSharingLog()
{
    zu::CLog::Get()->RemoveListener(m_nListener);
}

std::vector<std::string> CSharingLog::Messages(const std::string& operation)
{
    for (const std::u16string& line : zu::CLog::Get()->DrainListener(m_nListener))
        m_Lines.push_back(Utf8(line));
    std::vector<std::string> messages;
    const std::string marker = ": " + operation + ": ";
    for (const std::string& line : m_Lines) {
        const size_t nAt = line.find(marker);
        if (nAt == std::string::npos)
            continue;
        std::string message = line.substr(nAt + marker.size());
        while (!message.empty() && (message.back() == '\n' || message.back() == '\r'))
            message.pop_back();
        messages.push_back(message);
    }
    return messages;
}

std::u16string Text16(const ZUCHAR* psz)
{
    std::u16string text;
    while (psz && *psz)
        text.push_back(static_cast<char16_t>(*psz++));
    return text;
}

}  // namespace zutest
