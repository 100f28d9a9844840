// The socket readers against peers, one run each.
//   bench_socket_read tcp [MIB] [ROUNDS]
//     TCP on loopback: a socat listener sends MIB MiB of a page-cache-hot file to each connection;
//     CTCPSocketReader::Read takes them, once connected by Connect (the system's buffers) and once
//     by ConnectTo (its 8224-byte receive buffer), against socat piping the same bytes to
//     /dev/null. Prints MiB/s of each, best of ROUNDS, and the ratios.
//   bench_socket_read multicast [SECONDS] [MBIT]
//     A sender thread paces 1316-byte datagrams at MBIT Mbit/s (100 by default) to a multicast
//     group for SECONDS (30 by default); the UDP reader receives them once with an 8 MiB receive
//     buffer and once with the system's default. Prints the loss of each. It runs in a network
//     namespace of its own (made for the process, needs root) whose loopback routes multicast,
//     so that the machine's routes are left alone.
#include <zureader/ZUReader.h>

#include <sched.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr size_t kMiB = 1 << 20;
constexpr uint32_t kDatagram = 1316;
constexpr char kGroup[] = "239.255.42.42";
constexpr uint16_t kGroupPort = 5700;

const ZUCHAR* Z(const char16_t* psz)
{
    return reinterpret_cast<const ZUCHAR*>(psz);
}

double Seconds(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A free TCP port on 127.0.0.1 (the system's choice, released at once).
uint16_t FreePort()
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t nLength = sizeof(address);
    bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address));
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &nLength);
    close(fd);
    return ntohs(address.sin_port);
}

// bSized: through ConnectTo, with its 8192/8224-byte buffers; otherwise through Connect, which
// leaves the system's buffers, so that Read's own cost shows.
double ReadWithReader(uint16_t nPort, bool bSized, std::vector<char>& buffer, size_t& nTotal)
{
    const auto start = Clock::now();
    std::unique_ptr<VReader> pReader(GetSocketReader(0));
    VSocketReader* pSocket = ZUReaderCast<VSocketReader>(pReader.get());
    nTotal = 0;
    ZUSocketAddress address{};
    address.nFamily = AF_INET;
    address.nPort = htons(nPort);
    address.nAddress = htonl(INADDR_LOOPBACK);
    const bool bConnected =
        pSocket && (bSized ? pSocket->ConnectTo(Z(u"127.0.0.1"), nPort) == 0 : pSocket->Connect(&address) == 0);
    if (!bConnected || !pReader->Open())
        return 0;
    while (uint32_t n = pReader->Read(buffer.data(), static_cast<uint32_t>(buffer.size())))
        nTotal += n;
    return nTotal / Seconds(start) / kMiB;
}

int RunTcp(size_t nMiB, int nRounds)
{
    char path[] = "/tmp/zureader-socket-bench-XXXXXX";
    const int fd = mkstemp(path);
    std::vector<char> buffer(kMiB);
    for (size_t i = 0; i < buffer.size(); ++i)
        buffer[i] = static_cast<char>(i * 131 + 7);
    for (size_t i = 0; i < nMiB; ++i)
        if (write(fd, buffer.data(), buffer.size()) != static_cast<ssize_t>(buffer.size()))
            return 1;
    close(fd);
    const uint16_t nPort = FreePort();
    const std::string listener = "socat -U TCP4-LISTEN:" + std::to_string(nPort) +
                                 ",bind=127.0.0.1,reuseaddr,fork FILE:" + path + " & echo $! > " + path + ".pid";
    std::system(listener.c_str());
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    double bestOurs = 0, bestSized = 0, bestSocat = 0;
    size_t nTotal = 0, nSizedTotal = 0;
    for (int i = 0; i < nRounds; ++i) {
        bestOurs = std::max(bestOurs, ReadWithReader(nPort, false, buffer, nTotal));
        bestSized = std::max(bestSized, ReadWithReader(nPort, true, buffer, nSizedTotal));
        const auto start = Clock::now();
        const std::string command = "socat -u TCP4:127.0.0.1:" + std::to_string(nPort) + " OPEN:/dev/null";
        if (std::system(command.c_str()) == 0)
            bestSocat = std::max(bestSocat, nMiB / Seconds(start));
    }
    std::system(("kill $(cat " + std::string(path) + ".pid)").c_str());
    unlink(path);
    unlink((std::string(path) + ".pid").c_str());
    const double ratio = bestSocat > 0 ? bestOurs / bestSocat : 0.0;
    std::printf("tcp %zu MiB: socat %.0f MiB/s; reader after Connect %.0f MiB/s (ratio %.2f), after ConnectTo's "
                "8 KiB buffers %.0f MiB/s (ratio %.2f)\n",
                nMiB, bestSocat, bestOurs, ratio, bestSized, bestSocat > 0 ? bestSized / bestSocat : 0.0);
    return nTotal == nMiB * kMiB && nSizedTotal == nMiB * kMiB ? 0 : 1;
}

// Paces numbered datagrams to the group until told to stop; the count sent is returned.
uint64_t SendPaced(double seconds, double mbit, const std::atomic<bool>& stop)
{
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    in_addr loopback{};
    loopback.s_addr = htonl(INADDR_LOOPBACK);
    setsockopt(fd, IPPROTO_IP, IP_MULTICAST_IF, &loopback, sizeof(loopback));
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(kGroupPort);
    inet_pton(AF_INET, kGroup, &to.sin_addr);
    const double perSecond = mbit * 1e6 / 8 / kDatagram;
    std::vector<char> datagram(kDatagram);
    uint64_t nSent = 0;
    const auto start = Clock::now();
    for (double elapsed = 0; elapsed < seconds && !stop; elapsed = Seconds(start)) {
        for (; nSent < elapsed * perSecond; ++nSent) {
            std::memcpy(datagram.data(), &nSent, sizeof(nSent));
            sendto(fd, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof(to));
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    close(fd);
    return nSent;
}

void ReceiveMulticast(double seconds, double mbit, int32_t nBufferBytes)
{
    std::unique_ptr<VReader> pReader(GetSocketReader(1));
    VSocketReader* pSocket = ZUReaderCast<VSocketReader>(pReader.get());
    pSocket->SetReuseAddress();
    if (nBufferBytes > 0)
        pSocket->SetReceiveBufferSize(nBufferBytes);
    pSocket->SetReceiveTimeout(1000);
    if (!pSocket->BindTo(Z(u"0.0.0.0"), kGroupPort) || !pSocket->JoinMulticast(Z(u"239.255.42.42"), nullptr) ||
        !pReader->Open()) {
        std::printf("multicast: cannot receive the group\n");
        return;
    }
    std::atomic<bool> stop{false};
    uint64_t nSent = 0;
    std::thread sender([&] { nSent = SendPaced(seconds, mbit, stop); });
    std::vector<char> buffer(65536);
    uint64_t nReceived = 0, nHighest = 0;
    // The reader keeps reading until a second of silence after the sender ends.
    while (uint32_t n = pReader->Read(buffer.data(), static_cast<uint32_t>(buffer.size()))) {
        uint64_t nNumber = 0;
        std::memcpy(&nNumber, buffer.data(), sizeof(nNumber));
        nHighest = std::max(nHighest, nNumber);
        nReceived += n == kDatagram;
    }
    stop = true;
    sender.join();
    const double loss = nSent ? 100.0 * (nSent - std::min(nSent, nReceived)) / nSent : 100.0;
    std::printf("multicast %.0f Mbit/s for %.0f s, %s receive buffer: sent %llu, received %llu, loss %.3f%%\n",
                mbit, seconds, nBufferBytes > 0 ? "8 MiB" : "default", static_cast<unsigned long long>(nSent),
                static_cast<unsigned long long>(nReceived), loss);
}

int RunMulticast(double seconds, double mbit)
{
    if (unshare(CLONE_NEWNET) != 0 || std::system("ip link set lo up && ip route add 224.0.0.0/4 dev lo") != 0) {
        std::printf("multicast: no network namespace of its own (needs root); not measured\n");
        return 1;
    }
    ReceiveMulticast(seconds, mbit, 8 << 20);
    ReceiveMulticast(seconds, mbit, 0);
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc > 1 ? argv[1] : "tcp";
    ZUReaderInitialize(0);
    int nStatus = 2;
    if (mode == "tcp")
        nStatus = RunTcp(argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 1024, argc > 3 ? std::atoi(argv[3]) : 3);
    else if (mode == "multicast")
        nStatus = RunMulticast(argc > 2 ? std::atof(argv[2]) : 30, argc > 3 ? std::atof(argv[3]) : 100);
    else
        std::fprintf(stderr, "usage: bench_socket_read tcp [MIB] [ROUNDS] | multicast [SECONDS] [MBIT]\n");
    ZUReaderUninitialize(0);
    return nStatus;
}
