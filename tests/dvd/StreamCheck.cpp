#include "StreamCheck.h"

#include <gtest/gtest.h>

#include <random>

namespace zutest::dvd {

std::vector<SPackAt> ReadPacks(VReader& reader)
{
    std::vector<SPackAt> packs;
    for (;;) {
        std::string pack = ReadUpTo(reader, 2048);
        if (pack.size() != 2048) {
            EXPECT_EQ(pack.size(), 0u) << "the title is whole packs";
            return packs;
        }
        // The position after a pack is the end of the sector it came from.
        packs.push_back(SPackAt{reader.GetPosition() / 2048 - 1, std::move(pack)});
    }
}

std::string StreamFrom(const std::vector<SPackAt>& packs, int64_t nPosition)
{
    std::string stream;
    for (const SPackAt& pack : packs) {
        if (pack.nIndex >= nPosition / 2048)
            stream += pack.bytes;
    }
    return stream;
}

void CheckRandomAccess(VReader& reader, const std::vector<SPackAt>& packs, uint32_t nSeed, int nOperations)
{
    const int64_t nLength = reader.GetLength();
    ASSERT_GT(nLength, 0);
    std::mt19937 random(nSeed);
    std::string expected = StreamFrom(packs, reader.SetPosition(0, ZU_SEEK_BEGIN));
    size_t nCursor = 0;
    for (int i = 0; i < nOperations; ++i) {
        if (random() % 3 == 0) {
            const int64_t nTarget = static_cast<int64_t>(random() % static_cast<uint64_t>(nLength));
            const int64_t nReached = reader.SetPosition(nTarget, ZU_SEEK_BEGIN);
            ASSERT_EQ(nReached, nTarget / 2048 * 2048) << "operation " << i;
            expected = StreamFrom(packs, nReached);
            nCursor = 0;
        } else {
            const uint32_t nCount = 1 + random() % 20000;
            const std::string got = ReadUpTo(reader, nCount);
            const std::string want = expected.substr(nCursor, nCount);
            ASSERT_EQ(got.size(), want.size()) << "operation " << i << ", a read of " << nCount;
            ASSERT_TRUE(got == want) << "operation " << i << ", a read of " << nCount << " at " << nCursor;
            nCursor += got.size();
        }
    }
}

}  // namespace zutest::dvd
