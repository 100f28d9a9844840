#include "TestSupport.h"

#include "host/ModuleTable.h"

#include <gtest/gtest.h>

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
