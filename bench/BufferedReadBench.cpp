// The read-ahead reader against what it wraps, in one run:
// 1. VBufferedReader over a CLocalReader of a page-cache-hot file against the bare CLocalReader,
//    1 MiB requests, with the ring on the heap and in its default mapped temporary file.
// 2. An Internet-radio stream with a metadata block every 16000 bytes, stripped on the way,
//    against the same audio without metadata, both from memory through the read-ahead reader.
// Usage: bench_buffered_read [FILE_MIB] [ROUNDS] [ONLY]. Prints MiB/s of both sides and their ratio;
// ONLY runs just the comparisons whose name holds that text.
#include "buffering/BufferedReader.h"
#include "core/LocalReader.h"
#include "core/MemoryReader.h"
#include "platform/LargeMemory.h"
#include "platform/Text.h"

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
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr uint32_t kRequest = 1 << 20;
constexpr uint32_t kRingSize = 64 << 20;

const ZUCHAR* Z(const std::u16string& text)
{
    return reinterpret_cast<const ZUCHAR*>(text.c_str());
}

// MiB/s of reading the reader to its end; the reader is opened and deleted here.
double Drain(VReader* pReader, std::vector<char>& buffer, size_t nExpected)
{
    std::unique_ptr<VReader> reader(pReader);
    const auto start = Clock::now();
    if (!reader->Open())
        return std::fprintf(stderr, "open failed\n"), 0;
    size_t nTotal = 0;
    while (uint32_t n = reader->Read(buffer.data(), kRequest))
        nTotal += n;
    reader->Close();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    if (nTotal != nExpected)
        std::fprintf(stderr, "read %zu bytes, expected %zu\n", nTotal, nExpected);
    return nTotal / seconds / (1 << 20);
}

VReader* LocalReader(const std::u16string& path)
{
    auto* pReader = new CLocalReader(Z(path));
    pReader->SetOption(Z(u"READ_ONLY"), Z(u"1"));
    return pReader;
}

VBufferedReader* Buffered(VReader* pChild, bool bInFile, uint32_t nRingSize = kRingSize)
{
    auto* pReader = new VBufferedReader(pChild);
    pReader->SetBufferInFile(bInFile ? 1 : 0);
    pReader->SetBufferSize(nRingSize);
    return pReader;
}

VReader* MemoryReader(const std::string& bytes)
{
    auto* pReader = new CMemoryReader(ZU_READER_MEMORY);
    pReader->Borrow(bytes.data(), static_cast<int32_t>(bytes.size()));
    return pReader;
}

const char* g_pszOnly = "";

void Compare(const char* pszName, int nRounds, const std::function<double()>& peer,
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
    std::printf("%-44s %10.0f %10.0f %8.3f\n", pszName, bestPeer, bestOurs, bestOurs / bestPeer);
}

// The least a read-ahead must do, as raw as it gets: one thread reads the file into a ring of the
// same size in the same chunks, the caller copies out of it, and the two hand over by spinning on
// two counters: no locks, no waits, no reader interface.
double IdealPipeline(const char* pszPath, std::vector<char>& buffer, size_t nExpected)
{
    const size_t nChunk = kRequest;
    zu::platform::CLargeMemory memory;  // the ring's own kind of memory
    if (!memory.Allocate(kRingSize))
        return 0;
    unsigned char* const pRing = memory.Data();
    std::atomic<size_t> nWritten{0};
    std::atomic<size_t> nTaken{0};
    std::atomic<bool> bEnded{false};
    const auto start = Clock::now();
    std::thread producer([&] {
        const int fd = open(pszPath, O_RDONLY);
        for (size_t nAt = 0;;) {
            while (nAt + nChunk - nTaken.load(std::memory_order_acquire) >= kRingSize)
                std::this_thread::yield();
            const ssize_t nRead = read(fd, pRing + nAt % kRingSize, nChunk);
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
        std::memcpy(buffer.data(), pRing + nAt % kRingSize, nCopy);
        nTaken.store(nAt += nCopy, std::memory_order_release);
    }
    producer.join();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    if (nAt != nExpected)
        std::fprintf(stderr, "pipeline moved %zu bytes, expected %zu\n", nAt, nExpected);
    return nAt / seconds / (1 << 20);
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

}  // namespace

int main(int argc, char** argv)
{
    const size_t nFileMiB = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 256;
    const int nRounds = argc > 2 ? std::atoi(argv[2]) : 5;
    g_pszOnly = argc > 3 ? argv[3] : "";
    std::vector<char> buffer(kRequest);
    for (size_t i = 0; i < buffer.size(); ++i)
        buffer[i] = static_cast<char>(i * 131 + 7);

    char pattern[] = "/tmp/zureader-bench-XXXXXX";
    const int fd = mkstemp(pattern);
    for (size_t i = 0; i < nFileMiB; ++i) {
        if (write(fd, buffer.data(), buffer.size()) != static_cast<ssize_t>(buffer.size()))
            return std::perror("write"), 1;
    }
    close(fd);
    const std::u16string path = zu::platform::Utf16FromUtf8(pattern);
    const size_t nFileBytes = nFileMiB << 20;

    std::printf("best of %d rounds, %u KiB requests, %u MiB ring\n", nRounds, kRequest >> 10, kRingSize >> 20);
    std::printf("%-44s %10s %10s %8s\n", "", "peer MiB/s", "ours MiB/s", "ratio");
    Compare("read-ahead (heap ring) vs bare local reader", nRounds,
            [&] { return Drain(LocalReader(path), buffer, nFileBytes); },
            [&] { return Drain(Buffered(LocalReader(path), false), buffer, nFileBytes); });
    Compare("read-ahead (file ring) vs bare local reader", nRounds,
            [&] { return Drain(LocalReader(path), buffer, nFileBytes); },
            [&] { return Drain(Buffered(LocalReader(path), true), buffer, nFileBytes); });
    // What any read-ahead can reach here: the same two copies on two threads with nothing else.
    Compare("read-ahead (heap ring) vs ideal pipeline", nRounds,
            [&] { return IdealPipeline(pattern, buffer, nFileBytes); },
            [&] { return Drain(Buffered(LocalReader(path), false), buffer, nFileBytes); });
    unlink(pattern);
    if (!std::strstr("ICY stripping", g_pszOnly))
        return 0;

    std::string audio(nFileBytes, '\0');
    for (size_t i = 0; i < audio.size(); ++i)
        audio[i] = static_cast<char>((i * 2654435761u) >> 13);
    // The station's header leads the stream, as a memory child has no response headers to ask.
    const std::string radio = "ICY 200 OK\r\nicy-name:Bench\r\nicy-metaint:16000\r\n\r\n" + WithMetadata(audio, 16000);
    Compare("ICY stripping (16000) vs the same audio plain", nRounds,
            [&] { return Drain(Buffered(MemoryReader(audio), false), buffer, audio.size()); },
            [&] {
                VBufferedReader* pReader = Buffered(MemoryReader(radio), false);
                pReader->EnableIcyMetadata();
                return Drain(pReader, buffer, audio.size());
            });
    return 0;
}
