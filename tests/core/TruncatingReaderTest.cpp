#include "TestSupport.h"

#include "platform/File.h"

#include <gtest/gtest.h>

using namespace zutest;

namespace {

// A sparse file of that length: nothing is written, so 4 GiB cost no disk.
void MakeFileOfLength(const std::u16string& path, int64_t nLength)
{
    zu::platform::CFile file;
    ASSERT_TRUE(file.Open(path, zu::platform::FILE_ACCESS_READ | zu::platform::FILE_ACCESS_WRITE, 0,
                          zu::platform::FILE_CREATE_ALWAYS));
    ASSERT_EQ(file.Seek(nLength, ZU_SEEK_BEGIN), nLength);
    ASSERT_TRUE(file.SetEndOfFile());
}

}  // namespace

TEST(TruncatingReaderTest, EachReadAndTheLengthStopAtTheLimitButSeeksDoNot)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"source.bin");
    const std::string bytes = PatternBytes(1000);
    WriteFile(path, bytes);
    VReader* pInner = GetLocalReader(Z(path));
    CReaderPtr reader(GetTruncatingReader(pInner, 100));
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->Create(), 0) << "not passed on";
    EXPECT_EQ(reader->SetLengthHint(10), 0);
    ASSERT_EQ(reader->Open(), 1);
    EXPECT_EQ(reader->GetLength(), 100);
    EXPECT_EQ(ReadUpTo(*reader, 4096), bytes.substr(0, 100));
    EXPECT_EQ(ReadUpTo(*reader, 4096), bytes.substr(100, 100)) << "no count is kept across reads";
    EXPECT_EQ(reader->GetPosition(), 200);
    EXPECT_EQ(reader->SetPosition(950, ZU_SEEK_BEGIN), 950) << "seeks are not limited";
    EXPECT_EQ(ReadUpTo(*reader, 4096), bytes.substr(950));
    EXPECT_EQ(ReadUpTo(*reader, 30), "") << "the inner end still ends reads";
}

TEST(TruncatingReaderTest, LimitOfZeroOrUnknownInnerLength)
{
    const std::string bytes = PatternBytes(1000);
    VReader* pInner = GetMemoryReader(bytes.data(), 1000, 0);
    CReaderPtr empty(GetTruncatingReader(pInner, 0));
    char buffer[16];
    EXPECT_EQ(empty->Read(buffer, sizeof(buffer)), 0u);
    EXPECT_EQ(pInner->GetPosition(), 0) << "the inner reader is not asked at all";
    EXPECT_EQ(empty->GetLength(), 0);
    EXPECT_EQ(ReadUpTo(*CReaderPtr(GetTruncatingReader(GetMemoryReader(bytes.data(), 1000, 0), -1)), 16), "");

    CTempFolder folder;
    CReaderPtr unknown(GetTruncatingReader(GetLocalReader(Z(folder.File(u"missing.bin"))), 100));
    EXPECT_EQ(unknown->GetLength(), 100) << "an inner length of -1 reads as the limit";

    CReaderPtr larger(GetTruncatingReader(GetMemoryReader(bytes.data(), 40, 0), 100));
    EXPECT_EQ(larger->GetLength(), 40) << "a shorter inner stream keeps its own length";
}

TEST(TruncatingReaderTest, OnlyTheLowHalfOfAVeryLongInnerLengthMeetsTheLimit)
{
    CTempFolder folder;
    const int64_t nFourGiB = int64_t(1) << 32;
    const std::u16string path = folder.File(u"long.bin");
    MakeFileOfLength(path, nFourGiB + 50);
    CReaderPtr through(GetTruncatingReader(GetLocalReader(Z(path)), 100));
    EXPECT_EQ(through->GetLength(), nFourGiB + 50) << "low 32 bits 50 are within the limit";

    MakeFileOfLength(path, nFourGiB + 200);
    CReaderPtr cut(GetTruncatingReader(GetLocalReader(Z(path)), 100));
    EXPECT_EQ(cut->GetLength(), 100);
}
