// Recording throughput, each against a peer measured in the same run:
// - the splitter reader writing GIB GiB in 64 MiB chunks against dd(1) writing the same bytes
//   (zeros) in 1 MiB blocks to one file;
// - the shared buffering reader's writer against a plain local file writer, with one and with four
//   readers following the writer through their own shared views.
// Usage: bench_recording [GIB] [SHARED_MIB]. Prints MiB/s for each and the ratios; GIB 0 measures
// the shared buffering reader alone.
#include <zureader/TextConversion.h>
#include <zureader/ZUReader.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kMiB = 1 << 20;
constexpr int64_t kChunkSize = 64 * static_cast<int64_t>(kMiB);

const ZUCHAR* Z(const std::u16string& text)
{
    return reinterpret_cast<const ZUCHAR*>(text.c_str());
}

double Seconds(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Creates, writes nMiB MiB of zeros in 1 MiB pieces and closes.
double WriterMiBs(VReader& writer, size_t nMiB)
{
    std::vector<char> buffer(kMiB, 0);
    const auto start = Clock::now();
    writer.Create();
    for (size_t i = 0; i < nMiB; ++i)
        writer.Write(buffer.data(), kMiB);
    writer.Close();
    return nMiB / Seconds(start);
}

double SplitterMiBs(const std::string& folder, size_t nMiB)
{
    const std::u16string header = zureader::Utf16FromUtf8(folder + "/rec.ts");
    std::unique_ptr<VReader> pWriter(GetSplitterReader(Z(header), kChunkSize, 0));
    const double nMiBs = WriterMiBs(*pWriter, nMiB);
    std::system(("rm -f '" + folder + "'/rec*").c_str());
    return nMiBs;
}

double DdMiBs(const std::string& folder, size_t nMiB)
{
    const std::string file = folder + "/dd.bin";
    const std::string command = "dd if=/dev/zero of='" + file + "' bs=1M count=" + std::to_string(nMiB) + " status=none";
    const auto start = Clock::now();
    if (std::system(command.c_str()) != 0)
        return 0;
    const double seconds = Seconds(start);
    unlink(file.c_str());
    return nMiB / seconds;
}

// Each reader follows until it has read every byte; the time is the writer's and the readers'.
double SharedMiBs(const std::string& folder, size_t nMiB, int nReaders)
{
    const std::u16string path = zureader::Utf16FromUtf8(folder + "/shared.bin");
    std::unique_ptr<VReader> pWriter(GetSharedBufferingReader(Z(path), 1, 16 * kMiB, kMiB, nullptr, nullptr));
    std::vector<std::unique_ptr<VReader>> readers;
    for (int i = 0; i < nReaders; ++i)
        readers.emplace_back(GetSharedBufferingReader(Z(path), 0, 0, 0, nullptr, nullptr));
    const int64_t nTotal = static_cast<int64_t>(nMiB * kMiB);
    const auto start = Clock::now();
    std::vector<std::thread> threads;
    for (auto& pReader : readers)
        threads.emplace_back([&pReader, nTotal] {
            std::vector<char> buffer(256 << 10);
            int64_t nRead = 0;
            while (nRead < nTotal) {
                const uint32_t n = pReader->Read(buffer.data(), static_cast<uint32_t>(buffer.size()));
                nRead += n;
                if (n == 0)
                    std::this_thread::yield();
            }
        });
    std::vector<char> buffer(kMiB, 1);
    for (size_t i = 0; i < nMiB; ++i)
        pWriter->Write(buffer.data(), kMiB);
    for (auto& thread : threads)
        thread.join();
    readers.clear();
    pWriter.reset();  // the last view writes the rest
    const double seconds = Seconds(start);
    unlink((folder + "/shared.bin").c_str());
    return nMiB / seconds;
}

double LocalWriterMiBs(const std::string& folder, size_t nMiB)
{
    const std::u16string path = zureader::Utf16FromUtf8(folder + "/local.bin");
    std::unique_ptr<VReader> pWriter(GetLocalReader(Z(path)));
    const double nMiBs = WriterMiBs(*pWriter, nMiB);
    unlink((folder + "/local.bin").c_str());
    return nMiBs;
}

}  // namespace

int main(int argc, char** argv)
{
    const size_t nGiB = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 2;
    const size_t nSharedMiB = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 512;
    char pattern[] = "/tmp/zureader-bench-XXXXXX";
    if (!mkdtemp(pattern))
        return std::perror("mkdtemp"), 1;
    const std::string folder = pattern;

    // Interleaved rounds, best of three, so that both see the same machine state. 0 GiB leaves
    // the splitter out.
    double dd = 0;
    double splitter = 0;
    for (int round = 0; round < 3 && nGiB > 0; ++round) {
        dd = std::max(dd, DdMiBs(folder, nGiB * 1024));
        splitter = std::max(splitter, SplitterMiBs(folder, nGiB * 1024));
    }
    if (nGiB > 0)
        std::printf("%zu GiB, best of 3: dd %.0f MiB/s, splitter in 64 MiB chunks %.0f MiB/s, ratio %.3f\n", nGiB, dd,
                    splitter, splitter / dd);

    // The local writer's speed swings with the system's write-back, so it too gets interleaved
    // rounds, best of three.
    const int readerCounts[] = {1, 4};
    double local = 0;
    double shared[2] = {0, 0};
    for (int round = 0; round < 3; ++round) {
        local = std::max(local, LocalWriterMiBs(folder, nSharedMiB));
        for (int i = 0; i < 2; ++i)
            shared[i] = std::max(shared[i], SharedMiBs(folder, nSharedMiB, readerCounts[i]));
    }
    for (int i = 0; i < 2; ++i)
        std::printf("%zu MiB, best of 3: local file writer %.0f MiB/s, shared buffering writer with %d reader%s "
                    "following %.0f MiB/s, ratio %.3f\n",
                    nSharedMiB, local, readerCounts[i], readerCounts[i] == 1 ? "" : "s", shared[i], shared[i] / local);
    rmdir(folder.c_str());
    return 0;
}
