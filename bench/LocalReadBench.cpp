// The local reader (GetLocalReader) against plain read(2) on the same page-cache-hot file, at three
// request sizes. Usage: bench_local_read [FILE_MIB] [ROUNDS]. Prints MiB/s for both and their ratio
// per size.
#include <zureader/TextConversion.h>
#include <zureader/ZUReader.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double ReadWithSystemCall(const std::string& path, size_t nRequest, std::vector<char>& buffer)
{
    const auto start = Clock::now();
    const int fd = open(path.c_str(), O_RDONLY);
    size_t nTotal = 0;
    ssize_t n;
    while ((n = read(fd, buffer.data(), nRequest)) > 0)
        nTotal += static_cast<size_t>(n);
    close(fd);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    return nTotal / seconds / (1 << 20);
}

double ReadWithReader(const std::string& path, size_t nRequest, std::vector<char>& buffer)
{
    const auto start = Clock::now();
    const std::u16string wide = zureader::Utf16FromUtf8(path);
    const std::unique_ptr<VReader> reader(GetLocalReader(reinterpret_cast<const ZUCHAR*>(wide.c_str())));
    reader->SetOption(reinterpret_cast<const ZUCHAR*>(u"READ_ONLY"), reinterpret_cast<const ZUCHAR*>(u"1"));
    reader->Open();
    size_t nTotal = 0;
    while (uint32_t n = reader->Read(buffer.data(), static_cast<uint32_t>(nRequest)))
        nTotal += n;
    reader->Close();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    return nTotal / seconds / (1 << 20);
}

}  // namespace

int main(int argc, char** argv)
{
    const size_t nFileMiB = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 256;
    const int nRounds = argc > 2 ? std::atoi(argv[2]) : 7;
    char pattern[] = "/tmp/zureader-bench-XXXXXX";
    const int fd = mkstemp(pattern);
    std::vector<char> buffer(1 << 20);
    for (size_t i = 0; i < buffer.size(); ++i)
        buffer[i] = static_cast<char>(i * 131 + 7);
    for (size_t i = 0; i < nFileMiB; ++i) {
        if (write(fd, buffer.data(), buffer.size()) != static_cast<ssize_t>(buffer.size()))
            return std::perror("write"), 1;
    }
    close(fd);
    const std::string path = pattern;

    std::printf("%zu MiB page-cache-hot file, best of %d rounds\n", nFileMiB, nRounds);
    std::printf("%10s %14s %14s %8s\n", "request", "read(2) MiB/s", "reader MiB/s", "ratio");
    for (size_t nRequest : {size_t(4) << 10, size_t(64) << 10, size_t(1) << 20}) {
        double bestSystem = 0;
        double bestReader = 0;
        ReadWithSystemCall(path, nRequest, buffer);  // warm the cache
        // Interleaved so that both see the same machine state.
        for (int round = 0; round < nRounds; ++round) {
            bestSystem = std::max(bestSystem, ReadWithSystemCall(path, nRequest, buffer));
            bestReader = std::max(bestReader, ReadWithReader(path, nRequest, buffer));
        }
        std::printf("%9zuK %14.0f %14.0f %8.3f\n", nRequest >> 10, bestSystem, bestReader, bestReader / bestSystem);
    }
    unlink(path.c_str());
    return 0;
}
