// Reading an HTTP body through the Internet seam against the curl program fetching the same URL
// to /dev/null, in the same run. Usage: bench_internet_read URL [ROUNDS] [REQUEST_KIB]
// (URL as http://host:port/path). Prints MiB/s for both and their ratio per round.
#include "platform/Internet.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using namespace zu::platform;

namespace {

using Clock = std::chrono::steady_clock;

struct CTarget {
    std::u16string m_Host;
    uint16_t m_nPort = 80;
    std::u16string m_Object;
};

bool ParseUrl(const std::string& url, CTarget& target)
{
    const std::string prefix = "http://";
    if (url.compare(0, prefix.size(), prefix) != 0)
        return false;
    const size_t hostStart = prefix.size();
    const size_t pathStart = url.find('/', hostStart);
    const std::string hostPort = url.substr(hostStart, pathStart - hostStart);
    const size_t colon = hostPort.find(':');
    const std::string host = hostPort.substr(0, colon);
    if (colon != std::string::npos)
        target.m_nPort = static_cast<uint16_t>(std::atoi(hostPort.c_str() + colon + 1));
    const std::string object = pathStart == std::string::npos ? "/" : url.substr(pathStart);
    target.m_Host.assign(host.begin(), host.end());
    target.m_Object.assign(object.begin(), object.end());
    return true;
}

double ReadThroughSeam(const CTarget& target, size_t nRequest, std::vector<char>& buffer)
{
    const auto start = Clock::now();
    CInternetHandle session(OpenInternetSession(u"bench", INET_OPEN_TYPE_DIRECT, u"", u"", 0));
    CInternetHandle connection(
        ConnectInternet(session.Get(), target.m_Host, target.m_nPort, u"", u"", INET_SERVICE_HTTP, 0));
    CInternetHandle request(OpenHttpRequest(connection.Get(), u"GET", target.m_Object, u"", u"", u"*/*", 0));
    if (!SendHttpRequest(request.Get(), u"", nullptr, 0)) {
        std::fprintf(stderr, "request failed: %u\n", InternetLastError());
        return 0;
    }
    size_t nTotal = 0;
    uint32_t nRead = 0;
    while (ReadInternetFile(request.Get(), buffer.data(), static_cast<uint32_t>(nRequest), nRead) && nRead != 0)
        nTotal += nRead;
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    return nTotal / seconds / (1 << 20);
}

double ReadWithCurlProgram(const std::string& url)
{
    const std::string command = "curl -s --noproxy '*' -o /dev/null -w '%{size_download} %{time_total}' '" + url + "'";
    FILE* pPipe = popen(command.c_str(), "r");
    if (!pPipe)
        return 0;
    double bytes = 0, seconds = 0;
    const int fields = std::fscanf(pPipe, "%lf %lf", &bytes, &seconds);
    pclose(pPipe);
    return fields == 2 && seconds > 0 ? bytes / seconds / (1 << 20) : 0;
}

}  // namespace

int main(int argc, char** argv)
{
    CTarget target;
    if (argc < 2 || !ParseUrl(argv[1], target)) {
        std::fprintf(stderr, "usage: bench_internet_read http://host:port/path [ROUNDS] [REQUEST_KIB]\n");
        return 2;
    }
    const int nRounds = argc > 2 ? std::atoi(argv[2]) : 3;
    const size_t nRequest = (argc > 3 ? std::strtoul(argv[3], nullptr, 10) : 64) * 1024;
    std::vector<char> buffer(nRequest);
    std::printf("%-6s %12s %12s %7s\n", "round", "seam MiB/s", "curl MiB/s", "ratio");
    for (int round = 1; round <= nRounds; ++round) {
        const double seam = ReadThroughSeam(target, nRequest, buffer);
        const double curl = ReadWithCurlProgram(argv[1]);
        std::printf("%-6d %12.1f %12.1f %7.2f\n", round, seam, curl, curl > 0 ? seam / curl : 0.0);
    }
    return 0;
}
