// CCircleBuffer transfers against memcpy. Each chunk is written into the ring and read back out
// (query, then transfer, with the ring's lock on, as the read-ahead worker and its reader do). The
// peer makes the very same copies with memcpy alone: the same sizes at the same offsets of a plain
// array of the ring's capacity, split in two at its end, so the ratio is what the ring's lock and
// bookkeeping cost. Then the heap that a filled 100 MiB ring takes, on the heap and in a mapped file.
// Usage: bench_circle_buffer [MIB_PER_ROUND] [ROUNDS]. Prints MiB/s for both and their ratio.
#include "buffering/CircleBuffer.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// Not a multiple of any chunk size, so transfers keep meeting the end of the memory and split.
constexpr uint32_t kCapacity = (8u << 20) + 4099;

double MiBPerSecond(size_t nBytes, Clock::time_point start)
{
    return nBytes / std::chrono::duration<double>(Clock::now() - start).count() / (1 << 20);
}

double ThroughRing(CCircleBuffer& ring, size_t nTotal, uint32_t nChunk, const char* pSource, char* pDestination)
{
    const auto start = Clock::now();
    for (size_t nDone = 0; nDone < nTotal; nDone += nChunk) {
        ring.Write(pSource, std::min(ring.GetFree(false), nChunk));
        ring.Read(pDestination, std::min(ring.GetUsed(false), nChunk));
    }
    return MiBPerSecond(nTotal, start);
}

// One copy into (bIn) or out of the array at nOffset, in two parts when it runs past the end.
void CopyAt(std::vector<char>& staging, size_t nOffset, char* pOutside, size_t nCount, bool bIn)
{
    const size_t nFirst = std::min(nCount, staging.size() - nOffset);
    if (bIn) {
        std::memcpy(staging.data() + nOffset, pOutside, nFirst);
        std::memcpy(staging.data(), pOutside + nFirst, nCount - nFirst);
    } else {
        std::memcpy(pOutside, staging.data() + nOffset, nFirst);
        std::memcpy(pOutside + nFirst, staging.data(), nCount - nFirst);
    }
}

double ThroughArray(std::vector<char>& staging, size_t nTotal, uint32_t nChunk, const char* pSource, char* pDestination)
{
    const auto start = Clock::now();
    size_t nOffset = 0;
    for (size_t nDone = 0; nDone < nTotal; nDone += nChunk) {
        CopyAt(staging, nOffset, const_cast<char*>(pSource), nChunk, true);
        CopyAt(staging, nOffset, pDestination, nChunk, false);
        nOffset = (nOffset + nChunk) % staging.size();
    }
    return MiBPerSecond(nTotal, start);
}

// The process's private resident memory (heap and anonymous mappings), which a mapped file's pages
// are not part of.
size_t HeapInUse()
{
    std::FILE* pStatus = std::fopen("/proc/self/status", "r");
    if (!pStatus)
        return 0;
    char line[256];
    size_t nKiB = 0;
    while (std::fgets(line, sizeof line, pStatus))
        if (std::sscanf(line, "RssAnon: %zu kB", &nKiB) == 1)
            break;
    std::fclose(pStatus);
    return nKiB << 10;
}

// Private memory taken by a ring of that many bytes while it is made, filled and drained once.
size_t HeapOfFilledRing(uint32_t nCapacity, bool bFileBacked)
{
    const size_t nBefore = HeapInUse();
    CCircleBuffer ring(nCapacity, true, bFileBacked);
    if (!ring.HasMemory())
        return 0;
    std::vector<char> chunk(1 << 20, 'x');
    size_t nPeak = HeapInUse() - nBefore;
    for (uint32_t nDone = 0; nDone + chunk.size() < nCapacity; nDone += static_cast<uint32_t>(chunk.size()))
        ring.Write(chunk.data(), static_cast<uint32_t>(chunk.size()));
    nPeak = std::max(nPeak, HeapInUse() - nBefore);
    while (ring.Read(chunk.data(), std::min<uint32_t>(ring.GetUsed(false), static_cast<uint32_t>(chunk.size()))) > 0)
        ;
    return std::max(nPeak, HeapInUse() - nBefore) - chunk.size();
}

}  // namespace

int main(int argc, char** argv)
{
    const size_t nTotal = (argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 512) << 20;
    const int nRounds = argc > 2 ? std::atoi(argv[2]) : 5;
    std::vector<char> source(1 << 20);
    std::vector<char> destination(1 << 20);
    for (size_t i = 0; i < source.size(); ++i)
        source[i] = static_cast<char>(i * 131 + 7);
    std::vector<char> staging(kCapacity);

    std::printf("%zu MiB written and read back per round, ring of %u bytes, best of %d rounds\n", nTotal >> 20,
                kCapacity, nRounds);
    std::printf("%8s %10s %14s %14s %8s\n", "chunk", "ring", "memcpy MiB/s", "ring MiB/s", "ratio");
    for (bool bFileBacked : {false, true}) {
        CCircleBuffer ring(kCapacity, true, bFileBacked);
        if (!ring.HasMemory())
            return std::fprintf(stderr, "no memory for the ring\n"), 1;
        for (uint32_t nChunk : {4u << 10, 64u << 10, 1u << 20}) {
            double bestArray = 0;
            double bestRing = 0;
            ThroughRing(ring, nTotal / 4, nChunk, source.data(), destination.data());  // touch every page
            ThroughArray(staging, nTotal / 4, nChunk, source.data(), destination.data());
            for (int round = 0; round < nRounds; ++round) {
                bestArray = std::max(bestArray, ThroughArray(staging, nTotal, nChunk, source.data(), destination.data()));
                bestRing = std::max(bestRing, ThroughRing(ring, nTotal, nChunk, source.data(), destination.data()));
            }
            std::printf("%7uK %10s %14.0f %14.0f %8.3f\n", nChunk >> 10, bFileBacked ? "file" : "heap", bestArray,
                        bestRing, bestRing / bestArray);
        }
        if (std::memcmp(destination.data(), source.data(), destination.size()) != 0)
            return std::fprintf(stderr, "bytes came out wrong\n"), 1;
    }

    const uint32_t nLarge = 100u << 20;
    std::printf("private memory taken by a filled 100 MiB ring: %zu KiB on the heap, %zu KiB in a mapped file\n",
                HeapOfFilledRing(nLarge, false) >> 10, HeapOfFilledRing(nLarge, true) >> 10);
    return 0;
}
