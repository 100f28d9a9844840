// A player's way of reading a remote file, through the buffered Internet reader
// (GetBufferedInternetReader) and through FFmpeg's "cache:" protocol over the same URL in the same
// run: 64 KiB at the start, the last 1 MiB (an index at the end), back to the start and 32 MiB on,
// then 20 seeks to seeded places with 256 KiB read at each. The file (256 MiB unless given) is
// served by nginx at 4 MB/s a connection (its /slow/ location). For each, the bytes nginx sent
// (its access log) over the bytes the pattern needed, and the wall time.
// Then the download chunk: a whole-file read at loopback speed with 1 KiB and with 64 KiB chunks.
//
// Usage: bench_buffered_internet_reader [MIB] [PORTS_FILE] [CHUNK]   (CHUNK: the download chunk of
// the player pattern's reader, the reader's default unless given)
#include <zureader/ZUReader.h>

#include "BenchServers.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#ifdef ZU_BENCH_HAVE_AVFORMAT
extern "C" {
#  include <libavformat/avio.h>
}
#endif

namespace {

using Clock = std::chrono::steady_clock;
using zubench::kMiB;

struct CStep {
    int64_t nOffset;
    uint32_t nCount;
};

std::vector<CStep> PlayerPattern(int64_t nLength)
{
    std::vector<CStep> steps{{0, 64 * 1024}, {nLength - static_cast<int64_t>(kMiB), static_cast<uint32_t>(kMiB)}};
    for (int64_t nAt = 64 * 1024; nAt < 64 * 1024 + 32 * static_cast<int64_t>(kMiB); nAt += 256 * 1024)
        steps.push_back({nAt, 256 * 1024});
    std::mt19937_64 random(20261124);
    for (int i = 0; i < 20; ++i)
        steps.push_back({static_cast<int64_t>(random() % static_cast<uint64_t>(nLength - 256 * 1024)), 256 * 1024});
    return steps;
}

// The bytes the steps read, each counted once.
int64_t NeededBytes(std::vector<CStep> steps)
{
    std::sort(steps.begin(), steps.end(), [](const CStep& a, const CStep& b) { return a.nOffset < b.nOffset; });
    int64_t nTotal = 0;
    int64_t nCovered = 0;
    for (const CStep& step : steps) {
        const int64_t nEnd = step.nOffset + step.nCount;
        nTotal += std::max<int64_t>(0, nEnd - std::max(nCovered, step.nOffset));
        nCovered = std::max(nCovered, nEnd);
    }
    return nTotal;
}

// What nginx sent for the requests whose target holds tag: the sum of its body_bytes_sent.
int64_t BytesSent(const std::string& accessLog, const std::string& tag)
{
    std::ifstream in(accessLog);
    std::string line;
    int64_t nSent = 0;
    while (std::getline(in, line)) {
        if (line.find(tag) == std::string::npos)
            continue;
        const size_t nQuote = line.find("\" ", line.find(tag));
        int nStatus = 0;
        long long nBytes = 0;
        if (nQuote != std::string::npos && std::sscanf(line.c_str() + nQuote + 2, "%d %lld", &nStatus, &nBytes) == 2)
            nSent += nBytes;
    }
    return nSent;
}

// seek(offset) and read(buffer, count) of one client; false when either fails.
using CSeek = std::function<bool(int64_t)>;
using CRead = std::function<int64_t(unsigned char*, uint32_t)>;

bool RunPattern(const std::vector<CStep>& steps, const CSeek& seek, const CRead& read)
{
    std::vector<unsigned char> buffer(kMiB);
    for (const CStep& step : steps) {
        if (!seek(step.nOffset))
            return std::fprintf(stderr, "seek to %lld failed\n", static_cast<long long>(step.nOffset)), false;
        for (uint32_t nDone = 0; nDone < step.nCount;) {
            const int64_t nRead =
                read(buffer.data(), std::min<uint32_t>(step.nCount - nDone, static_cast<uint32_t>(buffer.size())));
            if (nRead <= 0)
                return std::fprintf(stderr, "read at %lld failed\n", static_cast<long long>(step.nOffset + nDone)), false;
            nDone += static_cast<uint32_t>(nRead);
        }
    }
    return true;
}

struct CRun {
    double seconds = 0;
    bool bOk = false;
};

CRun PatternThroughReader(const std::string& url, const std::vector<CStep>& steps, const std::u16string& options)
{
    CRun run;
    const auto start = Clock::now();
    const std::u16string url16(url.begin(), url.end());
    std::unique_ptr<VReader> reader(GetBufferedInternetReader(reinterpret_cast<const ZUCHAR*>(url16.c_str())));
    reader->SetOptions(reinterpret_cast<const ZUCHAR*>(options.c_str()));
    reader->SetTimeout(30000);
    if (!reader->Open())
        return std::fprintf(stderr, "Open failed\n"), run;
    run.bOk = RunPattern(
        steps, [&](int64_t nOffset) { return reader->SetPosition(nOffset, ZU_SEEK_BEGIN) == nOffset; },
        [&](unsigned char* p, uint32_t n) {
            const uint32_t nRead = reader->Read(p, n);
            return nRead == 0xFFFFFFFFu ? -1 : static_cast<int64_t>(nRead);
        });
    reader->Close();
    run.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    return run;
}

#ifdef ZU_BENCH_HAVE_AVFORMAT
CRun PatternThroughFFmpegCache(const std::string& url, const std::vector<CStep>& steps)
{
    CRun run;
    const auto start = Clock::now();
    AVIOContext* pContext = nullptr;
    if (avio_open(&pContext, ("cache:" + url).c_str(), AVIO_FLAG_READ) < 0)
        return std::fprintf(stderr, "avio_open failed\n"), run;
    run.bOk = RunPattern(
        steps, [&](int64_t nOffset) { return avio_seek(pContext, nOffset, SEEK_SET) == nOffset; },
        [&](unsigned char* p, uint32_t n) { return static_cast<int64_t>(avio_read(pContext, p, static_cast<int>(n))); });
    avio_closep(&pContext);
    run.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    return run;
}
#endif

double SequentialMiBPerSecond(const std::string& url, const std::u16string& options, int64_t nLength)
{
    const std::vector<CStep> whole{{0, static_cast<uint32_t>(nLength)}};
    const CRun run = PatternThroughReader(url, whole, options);
    return run.bOk ? nLength / run.seconds / kMiB : 0;
}

}  // namespace

int main(int argc, char** argv)
{
    const size_t nMiB = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 256;
    zubench::CServers servers(argc > 2 && std::strcmp(argv[2], "-") != 0 ? argv[2] : "");
    if (servers.Value("NGINX_HTTP").empty()) {
        std::fprintf(stderr, "no loopback servers (tests/servers/start.sh)\n");
        return 1;
    }
    const std::string name = "/bench-seek-" + std::to_string(getpid()) + ".bin";
    const std::string file = servers.Value("NGINX_ROOT") + name;
    if (!zubench::WriteFile(file, nMiB))
        return std::fprintf(stderr, "cannot write %s\n", file.c_str()), 1;
    const std::string host = "http://127.0.0.1:" + servers.Value("NGINX_HTTP");
    const std::string log = servers.Value("NGINX_ACCESS_LOG");
    const int64_t nLength = static_cast<int64_t>(nMiB * kMiB);
    const std::vector<CStep> steps = PlayerPattern(nLength);
    const int64_t nNeeded = NeededBytes(steps);
    std::printf("player pattern over %zu MiB at 4 MB/s a connection: %zu reads, %.1f MiB needed\n", nMiB, steps.size(),
                nNeeded / double(kMiB));
    std::printf("%-34s %10s %12s %10s\n", "", "wall s", "sent MiB", "sent/need");

    const std::string ourTag = "ours-" + std::to_string(getpid());
    const std::string chunk = argc > 3 ? argv[3] : "";
    const std::u16string chunkOption = chunk.empty() ? u"" : u"DOWNLOAD_CHUNK|" + std::u16string(chunk.begin(), chunk.end());
    const CRun ours = PatternThroughReader(host + "/slow" + name + "?" + ourTag, steps, chunkOption);
    sleep(1);  // nginx logs a request once its connection is closed
    const int64_t nOurs = BytesSent(log, ourTag);
    std::printf("%-34s %10.2f %12.1f %10.3f%s\n", "buffered Internet reader", ours.seconds, nOurs / double(kMiB),
                nOurs / double(nNeeded), ours.bOk ? "" : "  (FAILED)");
#ifdef ZU_BENCH_HAVE_AVFORMAT
    const std::string peerTag = "ffmpeg-" + std::to_string(getpid());
    const CRun peer = PatternThroughFFmpegCache(host + "/slow" + name + "?" + peerTag, steps);
    sleep(1);
    const int64_t nPeer = BytesSent(log, peerTag);
    std::printf("%-34s %10.2f %12.1f %10.3f%s\n", "FFmpeg cache:", peer.seconds, nPeer / double(kMiB),
                nPeer / double(nNeeded), peer.bOk ? "" : "  (FAILED)");
    std::printf("wall time ours / cache: %.3f (target at most 1.0); bytes sent / needed: %.3f (target at most 1.2)\n",
                ours.seconds / peer.seconds, nOurs / double(nNeeded));
#else
    std::printf("FFmpeg cache: left out: libavformat was not found when the build was configured\n");
#endif

    // The download chunk, on a whole-file read at loopback speed (best of three each).
    for (const uint32_t nChunk : {1024u, 16384u, 65536u}) {
        const std::string digits = std::to_string(nChunk);
        const std::u16string option = u"DOWNLOAD_CHUNK|" + std::u16string(digits.begin(), digits.end());
        double dBest = 0;
        for (int nRound = 0; nRound < 3; ++nRound)
            dBest = std::max(dBest, SequentialMiBPerSecond(host + name, option, nLength));
        std::printf("whole file, %5u-byte download chunk: %8.1f MiB/s\n", nChunk, dBest);
    }
    std::remove(file.c_str());
    return 0;
}
