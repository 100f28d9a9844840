// The read-ahead reader (GetBufferedReader), as a host gets it, against what it should reach, in one
// run, each over the same page-cache-hot file in 1 MiB requests:
// 1. with its ring on the heap, against the least any read-ahead must do: one thread reading the
//    file into a ring of the same size while the caller copies out of it, handing over by spinning
//    on two counters (no locks, no waits, no reader interface);
// 2. with its default ring (a temporary file's memory), against the ring on the heap;
// 3. with its default ring, against FFmpeg's read-ahead: libavformat's "async:file:" protocol read
//    with avio_read (left out, with a line that says so, where libavformat was not found);
// 4. stripping Internet-radio metadata (a block every 16000 bytes) against the same audio plain,
//    both from memory;
// then the private memory (heap) that a filled 100 MiB ring takes, on the heap and in its file.
// Usage: bench_buffered_read [FILE_MIB] [ROUNDS] [ONLY]. Prints the best MiB/s of N rounds of both
// sides, their ratio and its target; ONLY runs just the comparisons whose name holds that text.
#include <zureader/BufferedReader.h>
#include <zureader/TextConversion.h>
#include <zureader/ZUReader.h>

#if ZU_BENCH_HAVE_AVFORMAT
extern "C" {
#include <libavformat/avio.h>
}
#endif

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr uint32_t kRequest = 1 << 20;
constexpr uint32_t kRingSize = 64 << 20;
constexpr size_t kHugePage = 2 << 20;

struct CReaderDelete {
    void operator()(VReader* pReader) const { delete pReader; }
};
using CReaderPtr = std::unique_ptr<VReader, CReaderDelete>;

const ZUCHAR* Z(const std::u16string& text)
{
    return reinterpret_cast<const ZUCHAR*>(text.c_str());
}

double MiBPerSecond(size_t nBytes, Clock::time_point start)
{
    return nBytes / std::chrono::duration<double>(Clock::now() - start).count() / (1 << 20);
}

void CheckCount(const char* pszWho, size_t nMoved, size_t nExpected)
{
    if (nMoved != nExpected)
        std::fprintf(stderr, "%s moved %zu bytes, expected %zu\n", pszWho, nMoved, nExpected);
}

// MiB/s of opening the reader and reading it to its end; the reader is deleted here.
double Drain(VReader* pReader, std::vector<char>& buffer, size_t nExpected)
{
    CReaderPtr reader(pReader);
    const auto start = Clock::now();
    if (!reader || !reader->Open())
        return std::fprintf(stderr, "open failed\n"), 0;
    size_t nTotal = 0;
    while (uint32_t n = reader->Read(buffer.data(), kRequest))
        nTotal += n;
    reader->Close();
    const double speed = MiBPerSecond(nTotal, start);
    CheckCount("the reader", nTotal, nExpected);
    return speed;
}

VReader* LocalReader(const std::string& path)
{
    VReader* pReader = GetLocalReader(Z(zureader::Utf16FromUtf8(path)));
    pReader->SetOption(Z(u"READ_ONLY"), Z(u"1"));
    return pReader;
}

VBufferedReader* Buffered(VReader* pChild, bool bInFile, uint32_t nRingSize = kRingSize)
{
    auto* pReader = ZUReaderCast<VBufferedReader>(GetBufferedReader(pChild));
    pReader->SetBufferInFile(bInFile ? 1 : 0);
    pReader->SetBufferSize(nRingSize);
    return pReader;
}

VReader* MemoryReader(const std::string& bytes)
{
    return GetMemoryReader(bytes.data(), static_cast<int32_t>(bytes.size()), 0);
}

const char* g_pszOnly = "";

void Compare(const char* pszName, double target, int nRounds, const std::function<double()>& peer,
             const std::function<double()>& ours)
{
    if (!std::strstr(pszName, g_pszOnly))
        return;
    double bestPeer = 0;
    double bestOurs = 0;
    peer();  // warm up
    // Interleaved so that both see the same machine state.
    for (int round = 0; round < nRounds; ++round) {
        bestPeer = std::max(bestPeer, peer());
        bestOurs = std::max(bestOurs, ours());
    }
    const double ratio = bestOurs / bestPeer;
    std::printf("%-50s %10.0f %10.0f %8.3f %7.2f %s\n", pszName, bestPeer, bestOurs, ratio, target,
                ratio >= target ? "met" : "SHORT");
}

// Private memory for the ideal pipeline's ring, in huge pages as the heap ring's is.
struct CHugeBlock {
    explicit CHugeBlock(size_t nBytes) : m_pData(static_cast<unsigned char*>(std::aligned_alloc(kHugePage, nBytes)))
    {
        if (m_pData)
            madvise(m_pData, nBytes, MADV_HUGEPAGE);
    }
    ~CHugeBlock() { std::free(m_pData); }
    unsigned char* const m_pData;
};

double IdealPipeline(const std::string& path, std::vector<char>& buffer, size_t nExpected)
{
    const CHugeBlock ring(kRingSize);
    if (!ring.m_pData)
        return 0;
    std::atomic<size_t> nWritten{0};
    std::atomic<size_t> nTaken{0};
    std::atomic<bool> bEnded{false};
    const auto start = Clock::now();
    std::thread producer([&] {
        const int fd = open(path.c_str(), O_RDONLY);
        for (size_t nAt = 0;;) {
            while (nAt + kRequest - nTaken.load(std::memory_order_acquire) >= kRingSize)
                std::this_thread::yield();
            const ssize_t nRead = read(fd, ring.m_pData + nAt % kRingSize, kRequest);
            if (nRead <= 0)
                break;
            nWritten.store(nAt += nRead, std::memory_order_release);
        }
        close(fd);
        bEnded.store(true, std::memory_order_release);
    });
    size_t nAt = 0;
    for (;;) {
        const bool bLast = bEnded.load(std::memory_order_acquire);
        const size_t nHeld = nWritten.load(std::memory_order_acquire) - nAt;
        if (nHeld < kRequest && !bLast) {
            std::this_thread::yield();
            continue;
        }
        if (nHeld == 0)
            break;
        // Chunks never straddle the ring's end: the ring is a whole number of them.
        const size_t nCopy = std::min<size_t>(nHeld, kRequest);
        std::memcpy(buffer.data(), ring.m_pData + nAt % kRingSize, nCopy);
        nTaken.store(nAt += nCopy, std::memory_order_release);
    }
    producer.join();
    const double speed = MiBPerSecond(nAt, start);
    CheckCount("the pipeline", nAt, nExpected);
    return speed;
}

#if ZU_BENCH_HAVE_AVFORMAT
double FfmpegAsync(const std::string& path, std::vector<char>& buffer, size_t nExpected)
{
    const auto start = Clock::now();
    AVIOContext* pContext = nullptr;
    if (avio_open(&pContext, ("async:file:" + path).c_str(), AVIO_FLAG_READ) < 0)
        return std::fprintf(stderr, "avio_open failed\n"), 0;
    size_t nTotal = 0;
    for (int n; (n = avio_read(pContext, reinterpret_cast<unsigned char*>(buffer.data()), kRequest)) > 0;)
        nTotal += static_cast<size_t>(n);
    avio_closep(&pContext);
    const double speed = MiBPerSecond(nTotal, start);
    CheckCount("async:", nTotal, nExpected);
    return speed;
}
#endif

void CompareWithFfmpeg(int nRounds, const std::string& path, std::vector<char>& buffer, size_t nFileBytes)
{
    const char* pszName = "read-ahead (file ring) vs FFmpeg async:";
    if (!std::strstr(pszName, g_pszOnly))
        return;
#if ZU_BENCH_HAVE_AVFORMAT
    Compare(pszName, 1.0, nRounds, [&] { return FfmpegAsync(path, buffer, nFileBytes); },
            [&] { return Drain(Buffered(LocalReader(path), true), buffer, nFileBytes); });
#else
    std::printf("%-50s left out: libavformat was not found when the build was configured\n", pszName);
#endif
}

// The audio with a metadata block after every interval: titles and empty blocks by turns.
std::string WithMetadata(const std::string& audio, size_t nInterval)
{
    std::string stream;
    stream.reserve(audio.size() + audio.size() / nInterval * 64);
    for (size_t nAt = 0, nBlock = 0; nAt < audio.size(); nAt += nInterval, ++nBlock) {
        stream.append(audio, nAt, nInterval);
        if (nAt + nInterval > audio.size())
            break;
        if (nBlock % 2) {
            stream += '\0';
            continue;
        }
        std::string text = "StreamTitle='Song number " + std::to_string(nBlock) + "';";
        text.resize((text.size() + 15) / 16 * 16, '\0');
        stream += static_cast<char>(text.size() / 16);
        stream += text;
    }
    return stream;
}

void CompareIcyStripping(int nRounds, size_t nBytes, std::vector<char>& buffer)
{
    const char* pszName = "ICY stripping (16000) vs the same audio plain";
    if (!std::strstr(pszName, g_pszOnly))
        return;
    std::string audio(nBytes, '\0');
    for (size_t i = 0; i < audio.size(); ++i)
        audio[i] = static_cast<char>((i * 2654435761u) >> 13);
    // The station's header leads the stream, as a memory child has no response headers to ask.
    const std::string radio = "ICY 200 OK\r\nicy-name:Bench\r\nicy-metaint:16000\r\n\r\n" + WithMetadata(audio, 16000);
    Compare(pszName, 0.95, nRounds, [&] { return Drain(Buffered(MemoryReader(audio), false), buffer, audio.size()); },
            [&] {
                VBufferedReader* pReader = Buffered(MemoryReader(radio), false);
                pReader->EnableIcyMetadata();
                return Drain(pReader, buffer, audio.size());
            });
}

// The process's private resident memory (heap and anonymous mappings), which a mapped file's pages
// are not part of, in KiB.
long PrivateKiB()
{
    std::FILE* pStatus = std::fopen("/proc/self/status", "r");
    if (!pStatus)
        return 0;
    char line[256];
    long nKiB = 0;
    while (std::fgets(line, sizeof line, pStatus)) {
        if (std::sscanf(line, "RssAnon: %ld kB", &nKiB) == 1)
            break;
    }
    std::fclose(pStatus);
    return nKiB;
}

// Prints the private memory a read-ahead reader of the file takes once its worker has filled its
// ring of nRingBytes as far as it goes (or read the whole file, when that is smaller): once the
// bytes buffered have stopped growing.
void PrintPrivateKiBOfFilledRing(const std::string& path, uint32_t nRingBytes, bool bInFile)
{
    const long nBefore = PrivateKiB();
    VBufferedReader* pReader = Buffered(LocalReader(path), bInFile, nRingBytes);
    CReaderPtr reader(pReader);
    if (!reader->Open())
        return (void)std::fprintf(stderr, "open failed\n");
    const auto deadline = Clock::now() + std::chrono::seconds(60);
    uint32_t nBuffered = 0;
    for (uint32_t nSeen = 1; nBuffered != nSeen && Clock::now() < deadline;) {
        nSeen = nBuffered;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        pReader->GetBufferState(nullptr, &nBuffered, nullptr, nullptr);
    }
    const long nTaken = PrivateKiB() - nBefore;
    std::printf("private memory a filled %u MiB ring takes %s: %ld KiB (%u bytes buffered)\n", nRingBytes >> 20,
                bInFile ? "in its file" : "on the heap", nTaken, nBuffered);
    reader->Close();
}

std::string WriteFile(size_t nMiB, const std::vector<char>& block)
{
    char pattern[] = "/tmp/zureader-bench-XXXXXX";
    const int fd = mkstemp(pattern);
    if (fd < 0)
        return {};
    for (size_t i = 0; i < nMiB; ++i) {
        if (write(fd, block.data(), block.size()) != static_cast<ssize_t>(block.size()))
            return close(fd), unlink(pattern), std::string();
    }
    close(fd);
    return pattern;
}

}  // namespace

int main(int argc, char** argv)
{
    const size_t nFileMiB = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 256;
    const int nRounds = argc > 2 ? std::atoi(argv[2]) : 5;
    g_pszOnly = argc > 3 ? argv[3] : "";
    std::vector<char> buffer(kRequest);
    for (size_t i = 0; i < buffer.size(); ++i)
        buffer[i] = static_cast<char>(i * 131 + 7);
    const std::string path = WriteFile(nFileMiB, buffer);
    if (path.empty())
        return std::perror("cannot write the file"), 1;
    const size_t nFileBytes = nFileMiB << 20;

    std::printf("%zu MiB file, best of %d rounds, %u KiB requests, %u MiB ring\n", nFileMiB, nRounds, kRequest >> 10,
                kRingSize >> 20);
    std::printf("%-50s %10s %10s %8s %7s\n", "", "peer MiB/s", "ours MiB/s", "ratio", "target");
    Compare("read-ahead (heap ring) vs ideal pipeline", 0.9, nRounds,
            [&] { return IdealPipeline(path, buffer, nFileBytes); },
            [&] { return Drain(Buffered(LocalReader(path), false), buffer, nFileBytes); });
    Compare("read-ahead (file ring) vs read-ahead (heap ring)", 0.8, nRounds,
            [&] { return Drain(Buffered(LocalReader(path), false), buffer, nFileBytes); },
            [&] { return Drain(Buffered(LocalReader(path), true), buffer, nFileBytes); });
    CompareWithFfmpeg(nRounds, path, buffer, nFileBytes);
    CompareIcyStripping(nRounds, nFileBytes, buffer);
    if (std::strstr("private memory", g_pszOnly)) {
        constexpr uint32_t kLarge = 100u << 20;
        PrintPrivateKiBOfFilledRing(path, kLarge, false);
        PrintPrivateKiBOfFilledRing(path, kLarge, true);
    }
    unlink(path.c_str());
    return 0;
}
