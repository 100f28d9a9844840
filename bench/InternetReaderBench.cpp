// Downloading a large file from nginx on loopback through the Internet reader (GetInternetReader)
// in requests of REQUEST_KIB (64 unless given), against the curl program fetching the same URL to
// /dev/null in the same run; prints both throughputs, their ratio and how far the process's
// resident memory grew while the reader read.
//
// Usage: bench_internet_reader [ROUNDS] [MIB] [PORTS_FILE] [REQUEST_KIB]
// Without PORTS_FILE (or with "-") the loopback servers are started (tests/servers/start.sh) in a
// temporary folder and stopped at the end; the file of MIB mebibytes (1024 unless given) is written
// into nginx's document root for the run.
#include <zureader/ZUReader.h>

#include "BenchServers.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
using zubench::CServers;
using zubench::kMiB;
using zubench::WriteFile;

// Resident memory of this process now and at its peak, in KiB.
long StatusField(const char* pszName)
{
    std::ifstream in("/proc/self/status");
    std::string line;
    while (std::getline(in, line)) {
        if (line.compare(0, std::strlen(pszName), pszName) == 0)
            return std::atol(line.c_str() + std::strlen(pszName));
    }
    return -1;
}

struct CResult {
    double mibPerSecond = 0;
    long rssGrowthKiB = 0;
    size_t bytes = 0;
};

CResult ReadThroughReader(const std::u16string& url, std::vector<char>& buffer)
{
    CResult result;
    const long rssBefore = StatusField("VmRSS:");
    const auto start = Clock::now();
    std::unique_ptr<VReader> reader(GetInternetReader(reinterpret_cast<const ZUCHAR*>(url.c_str())));
    reader->SetTimeout(30000);
    if (!reader->Open()) {
        std::fprintf(stderr, "Open failed\n");
        return result;
    }
    long rssHighest = rssBefore;
    uint32_t nRead = 0;
    size_t nReads = 0;
    while ((nRead = reader->Read(buffer.data(), static_cast<uint32_t>(buffer.size()))) != 0) {
        result.bytes += nRead;
        if (++nReads % 1024 == 0)
            rssHighest = std::max(rssHighest, StatusField("VmRSS:"));
    }
    reader->Close();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    result.mibPerSecond = result.bytes / seconds / kMiB;
    result.rssGrowthKiB = rssHighest - rssBefore;
    return result;
}

double ReadWithCurlProgram(const std::string& url, size_t& nBytes)
{
    const std::string command = "curl -s --noproxy '*' -o /dev/null -w '%{size_download} %{time_total}' '" + url + "'";
    FILE* pPipe = popen(command.c_str(), "r");
    if (!pPipe)
        return 0;
    double bytes = 0, seconds = 0;
    const int fields = std::fscanf(pPipe, "%lf %lf", &bytes, &seconds);
    pclose(pPipe);
    nBytes = static_cast<size_t>(bytes);
    return fields == 2 && seconds > 0 ? bytes / seconds / kMiB : 0;
}

}  // namespace

int main(int argc, char** argv)
{
    const int nRounds = argc > 1 ? std::atoi(argv[1]) : 3;
    const size_t nMiB = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 1024;
    CServers servers(argc > 3 && std::strcmp(argv[3], "-") != 0 ? argv[3] : "");
    const size_t nRequestBytes = (argc > 4 ? std::strtoul(argv[4], nullptr, 10) : 64) * 1024;
    if (servers.Value("NGINX_HTTP").empty() || servers.Value("NGINX_ROOT").empty()) {
        std::fprintf(stderr, "no loopback servers (tests/servers/start.sh)\n");
        return 1;
    }
    const std::string file = servers.Value("NGINX_ROOT") + "/bench-" + std::to_string(getpid()) + ".bin";
    if (!WriteFile(file, nMiB)) {
        std::fprintf(stderr, "cannot write %s\n", file.c_str());
        return 1;
    }
    const std::string url = "http://127.0.0.1:" + servers.Value("NGINX_HTTP") + file.substr(file.rfind('/'));
    const std::u16string url16(url.begin(), url.end());
    std::vector<char> buffer(nRequestBytes);

    std::printf("%zu MiB from %s, %zu KiB reads\n", nMiB, url.c_str(), nRequestBytes / 1024);
    // One unmeasured pass of each brings the file into the page cache and the libraries up.
    size_t nCurlBytes = 0;
    ReadWithCurlProgram(url, nCurlBytes);
    ReadThroughReader(url16, buffer);
    std::printf("%-6s %14s %12s %7s %16s\n", "round", "reader MiB/s", "curl MiB/s", "ratio", "RSS growth KiB");
    std::vector<double> ratios;
    for (int round = 1; round <= nRounds; ++round) {
        // Taking turns at going first, so that neither always meets the machine in the same state.
        double curl = round % 2 ? 0 : ReadWithCurlProgram(url, nCurlBytes);
        const CResult reader = ReadThroughReader(url16, buffer);
        if (round % 2)
            curl = ReadWithCurlProgram(url, nCurlBytes);
        if (reader.bytes != nMiB * kMiB || nCurlBytes != nMiB * kMiB)
            std::fprintf(stderr, "short download: reader %zu, curl %zu bytes\n", reader.bytes, nCurlBytes);
        ratios.push_back(curl > 0 ? reader.mibPerSecond / curl : 0.0);
        std::printf("%-6d %14.1f %12.1f %7.2f %16ld\n", round, reader.mibPerSecond, curl, ratios.back(),
                    reader.rssGrowthKiB);
    }
    std::sort(ratios.begin(), ratios.end());
    std::printf("median ratio %.2f, peak RSS %ld KiB\n", ratios[ratios.size() / 2], StatusField("VmHWM:"));
    std::remove(file.c_str());
    return 0;
}
