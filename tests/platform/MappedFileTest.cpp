#include "TestSupport.h"

#include "platform/File.h"
#include "platform/MappedFile.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace zutest;
using zu::platform::CMappedFile;
using zu::platform::EMappedFileFailure;
using zu::platform::EMappedFileName;

TEST(MappedFileTest, ViewIsTheFileAndANewMappingReplacesIt)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"ring.dat");
    const size_t nBytes = 65536 + 123;  // not a whole number of pages
    const std::string pattern = PatternBytes(nBytes);
    {
        CMappedFile mapping;
        ASSERT_TRUE(mapping.Create(path, nBytes));
        ASSERT_NE(mapping.Data(), nullptr);
        EXPECT_EQ(mapping.Size(), nBytes);
        EXPECT_EQ(zu::platform::FileSizeByName(path), static_cast<int64_t>(nBytes)) << "length set at once";
        EXPECT_EQ(std::string(reinterpret_cast<char*>(mapping.Data()), nBytes), std::string(nBytes, '\0'));
        std::memcpy(mapping.Data(), pattern.data(), nBytes);
    }
    EXPECT_EQ(ReadFile(path), pattern) << "bytes written through the view are the file's after unmapping";

    CMappedFile mapping;
    ASSERT_TRUE(mapping.Create(path, 10));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(mapping.Data()), 10), std::string(10, '\0'))
        << "an existing file is replaced, not reused";
    mapping.Data()[9] = 'x';
    mapping.Close();
    EXPECT_EQ(mapping.Data(), nullptr);
    EXPECT_EQ(ReadFile(path), std::string(9, '\0') + "x");
}

TEST(MappedFileTest, FailureLeavesNothingMapped)
{
    CTempFolder folder;
    CMappedFile mapping;
    EXPECT_FALSE(mapping.Create(folder.File(u"missing folder/x/ring.dat"), 4096));
    EXPECT_EQ(mapping.Data(), nullptr);
    EXPECT_EQ(mapping.Size(), 0u);
    EXPECT_FALSE(mapping.Create(folder.File(u"empty.dat"), 0)) << "nothing to map";
    EXPECT_EQ(mapping.Data(), nullptr);
    EXPECT_FALSE(mapping.Create(u"", 4096));

    ASSERT_TRUE(mapping.Create(folder.File(u"ok.dat"), 4096));
    EXPECT_FALSE(mapping.Create(folder.File(u"missing folder/ring.dat"), 4096));
    EXPECT_EQ(mapping.Data(), nullptr) << "a failed Create drops the view held before";
}

// A name that is taken, by a file or by a link (even one whose target is missing), fails a
// new-only Create and is left exactly as it was.
TEST(MappedFileTest, NewOnlyNeverReusesOrFollowsWhatHoldsTheName)
{
    CTempFolder folder;
    WriteFile(folder.File(u"existing.dat"), "kept");
    CMappedFile mapping;
    EXPECT_FALSE(mapping.Create(folder.File(u"existing.dat"), 4096, EMappedFileName::NewOnly));
    EXPECT_EQ(mapping.LastFailure(), EMappedFileFailure::NameTaken);
    EXPECT_EQ(ReadFile(folder.File(u"existing.dat")), "kept");

    const std::u16string link = folder.File(u"link.dat");
    const std::u16string dangling = folder.File(u"dangling.dat");
    if (!MakeSymbolicLink(folder.File(u"existing.dat"), link) ||
        !MakeSymbolicLink(folder.File(u"target-that-is-missing"), dangling))
        GTEST_SKIP() << "this system makes no symbolic links here";
    EXPECT_FALSE(mapping.Create(link, 4096, EMappedFileName::NewOnly));
    EXPECT_EQ(mapping.LastFailure(), EMappedFileFailure::NameTaken);
    EXPECT_EQ(ReadFile(folder.File(u"existing.dat")), "kept");
    EXPECT_FALSE(mapping.Create(dangling, 4096, EMappedFileName::NewOnly));
    EXPECT_EQ(zu::platform::FileSizeByName(folder.File(u"target-that-is-missing")), -1)
        << "a dangling link made its target";

    ASSERT_TRUE(mapping.Create(folder.File(u"new.dat"), 4096, EMappedFileName::NewOnly));
    EXPECT_EQ(mapping.LastFailure(), EMappedFileFailure::None);
    EXPECT_EQ(zu::platform::FileSizeByName(folder.File(u"new.dat")), 4096);
}
