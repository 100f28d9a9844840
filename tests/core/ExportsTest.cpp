#include "TestSupport.h"

#include "host/ModuleTable.h"

#include <zureader/ZUReader.h>

#include <gtest/gtest.h>

#include <memory>

using zu::host::CModuleTable;

TEST(ExportsTest, StartUpPairNestsAndOnlyTheLastTearDownReleases)
{
    CModuleTable& table = CModuleTable::Instance();
    int nReleased = 0;
    table.Release(u"ZUReader");
    table.Register(u"ZUReader", [&] { ++nReleased; });

    EXPECT_EQ(ZUReaderInitialize(0), 1);
    EXPECT_EQ(ZUReaderInitialize(0), 1);
    EXPECT_EQ(ZUReaderInitialize(1), 1) << "a non-zero flag does nothing";
    EXPECT_EQ(ZUReaderUninitialize(0), 1);
    EXPECT_EQ(ZUReaderUninitialize(1), 1);
    EXPECT_TRUE(table.Contains(u"ZUReader"));
    EXPECT_EQ(ZUReaderUninitialize(0), 1);
    EXPECT_FALSE(table.Contains(u"ZUReader"));
    EXPECT_EQ(nReleased, 1);

    // A tear-down without a start-up drives the count below 1 and releases at once.
    table.Register(u"ZUReader", [&] { ++nReleased; });
    EXPECT_EQ(ZUReaderUninitialize(0), 1);
    EXPECT_EQ(nReleased, 2);
    ZUReaderInitialize(0);  // back to a count of 0 for whoever runs next
    table.Register(u"ZUReader");
}

// Without RTTI across the library's boundary the type code decides what a host may cast to: every
// decorator is a wrapping reader, each family only itself, and nothing else passes.
TEST(ExportsTest, ReaderCastFollowsTheTypeCode)
{
    const char bytes[] = "0123456789";
    std::unique_ptr<VReader> pBuffered(GetBufferedReader(GetMemoryReader(bytes, 10, 1)));
    std::unique_ptr<VReader> pCircling(GetCirclingReader(GetMemoryReader(bytes, 10, 1)));
    std::unique_ptr<VReader> pTruncating(GetTruncatingReader(GetMemoryReader(bytes, 10, 1), 5));
    std::unique_ptr<VReader> pMemory(GetMemoryReader(bytes, 10, 1));

    EXPECT_EQ(ZUReaderCast<VBufferedReader>(pBuffered.get()), pBuffered.get());
    EXPECT_EQ(ZUReaderCast<VCirclingReader>(pCircling.get()), pCircling.get());
    for (VReader* pDecorator : {pBuffered.get(), pCircling.get(), pTruncating.get()}) {
        VWrappingReader* pWrapping = ZUReaderCast<VWrappingReader>(pDecorator);
        ASSERT_EQ(pWrapping, pDecorator);
        EXPECT_EQ(pWrapping->GetChildReader()->GetType(), ZU_READER_MEMORY);
    }
    EXPECT_EQ(ZUReaderCast<VBufferedReader>(pCircling.get()), nullptr);
    EXPECT_EQ(ZUReaderCast<VCirclingReader>(pBuffered.get()), nullptr);
    EXPECT_EQ(ZUReaderCast<VBufferedReader>(pTruncating.get()), nullptr);
    EXPECT_EQ(ZUReaderCast<VWrappingReader>(pMemory.get()), nullptr);
    EXPECT_EQ(ZUReaderCast<VBufferedReader>(nullptr), nullptr);
}
