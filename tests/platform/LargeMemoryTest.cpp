#include "platform/LargeMemory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

using zu::platform::CLargeMemory;

TEST(LargeMemoryTest, BlocksAreZeroedWritableToTheirLastByteAndGivenBack)
{
    CLargeMemory memory;
    EXPECT_FALSE(memory.Allocate(0));
    EXPECT_EQ(memory.Data(), nullptr);
    // Sizes below, at and above the 2 MiB that decides how the block is cut out.
    for (size_t nBytes : {size_t{10}, size_t{2} << 20, (size_t{5} << 20) + 12345}) {
        ASSERT_TRUE(memory.Allocate(nBytes)) << nBytes;
        ASSERT_EQ(memory.Size(), nBytes);
        unsigned char* pData = memory.Data();
        EXPECT_TRUE(std::all_of(pData, pData + nBytes, [](unsigned char c) { return c == 0; })) << nBytes;
        std::memset(pData, 0x5a, nBytes);
        EXPECT_EQ(pData[nBytes - 1], 0x5a);
    }
    memory.Release();
    EXPECT_EQ(memory.Data(), nullptr);
    EXPECT_EQ(memory.Size(), 0u);
    memory.Release();  // twice is harmless
}
