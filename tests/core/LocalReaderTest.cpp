#include "TestSupport.h"

#include "core/LocalReader.h"
#include "platform/File.h"
#include "platform/System.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

using namespace zutest;

namespace {

CReaderPtr LocalReader(const std::u16string& path)
{
    return CReaderPtr(GetLocalReader(Z(path)));
}

}  // namespace

TEST(LocalReaderTest, ReadsSeeksAndWritesAFile)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"data.bin");
    const std::string bytes = PatternBytes(100000);
    WriteFile(path, bytes);

    CReaderPtr reader = LocalReader(path);
    EXPECT_EQ(reader->GetLength(), 100000) << "length of a closed file comes from its name";
    ASSERT_EQ(reader->Open(), 1);
    EXPECT_EQ(reader->Open(), 1) << "a second Open succeeds without reopening";
    EXPECT_EQ(reader->IsReadOnly(), 0);
    std::string all;
    for (std::string chunk; !(chunk = ReadUpTo(*reader, 4093)).empty();)
        all += chunk;
    EXPECT_EQ(all, bytes);

    EXPECT_EQ(reader->SetPosition(-10, ZU_SEEK_END), 99990);
    EXPECT_EQ(ReadUpTo(*reader, 32), bytes.substr(99990)) << "a short count only at the end of the file";
    EXPECT_EQ(reader->SetPosition(5, ZU_SEEK_BEGIN), 5);
    EXPECT_EQ(reader->SetPosition(5, ZU_SEEK_CURRENT), 10);

    EXPECT_EQ(reader->Write("WXYZ", 4), 4u);
    EXPECT_EQ(reader->GetPosition(), 14);
    EXPECT_EQ(reader->SetEndOfFile(), 1);
    EXPECT_EQ(reader->GetLength(), 14);
    reader->Close();
    EXPECT_EQ(ReadFile(path), bytes.substr(0, 10) + "WXYZ");
}

TEST(LocalReaderTest, PendingPositionAppliesAtOpenAndSurvivesAFailedOpen)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"late.bin");
    CReaderPtr reader = LocalReader(path);
    EXPECT_EQ(reader->SetPosition(1000, ZU_SEEK_BEGIN), 1000);
    EXPECT_EQ(reader->Open(), 0) << "the file does not exist yet";

    WriteFile(path, PatternBytes(5000));
    ASSERT_EQ(reader->Open(), 1);
    EXPECT_EQ(reader->GetPosition(), 1000);
    reader->Close();

    CReaderPtr fromEnd = LocalReader(path);
    fromEnd->SetPosition(-100, ZU_SEEK_END);
    ASSERT_EQ(fromEnd->Open(), 1);
    EXPECT_EQ(fromEnd->GetPosition(), 4900);

    // 0 means "none": a pending seek to the start is not applied, and nothing else moves the handle.
    CReaderPtr zero = LocalReader(path);
    zero->SetPosition(0, ZU_SEEK_END);
    ASSERT_EQ(zero->Open(), 1);
    EXPECT_EQ(zero->GetPosition(), 0);
}

TEST(LocalReaderTest, FallsBackToReadOnlyAccess)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"locked.bin");
    WriteFile(path, "read me");
    ASSERT_TRUE(zu::platform::SetFileReadOnly(path, true));

    // A file without write permission (as root too) opens read-only without being asked to.
    CReaderPtr reader = LocalReader(path);
    ASSERT_EQ(reader->Open(), 1);
    EXPECT_EQ(reader->IsReadOnly(), 1);
    EXPECT_EQ(reader->Write("x", 1), 0u);
    EXPECT_EQ(reader->SetEndOfFile(), 0);
    EXPECT_EQ(ReadUpTo(*reader, 16), "read me");
    reader->Close();
    EXPECT_EQ(ReadFile(path), "read me");

    // Asked for, read-only applies to a writable file as well.
    ASSERT_TRUE(zu::platform::SetFileReadOnly(path, false));
    CReaderPtr asked = LocalReader(path);
    asked->SetOptions(Z(u"READ_ONLY|1"));
    ASSERT_EQ(asked->Open(), 1);
    EXPECT_EQ(asked->IsReadOnly(), 1);
    EXPECT_EQ(asked->Write("x", 1), 0u);
    asked->Close();

    // So does another handle that denies shared writing.
    zu::platform::CFile holder;
    ASSERT_TRUE(holder.Open(path, zu::platform::FILE_ACCESS_READ, zu::platform::FILE_SHARE_READ_BIT,
                            zu::platform::FILE_OPEN_EXISTING));
    CReaderPtr held = LocalReader(path);
    ASSERT_EQ(held->Open(), 1);
    if (zu::platform::PathSeparator() != u'/') {  // POSIX files have no share modes to deny
        EXPECT_EQ(held->IsReadOnly(), 1);
    }
}

TEST(LocalReaderTest, CreateMakesNonAsciiFoldersTruncatesAndDeletesOnClose)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"Müsik \u65e5\u672c \U0001F3B5") + zu::platform::PathSeparator() +
                                u"b" + zu::platform::PathSeparator() + u"Grüße.bin";
    CReaderPtr writer = LocalReader(path);
    ASSERT_EQ(writer->Create(), 1);
    EXPECT_EQ(writer->Write("0123456789", 10), 10u);
    writer->Close();

    CReaderPtr reader = LocalReader(path);
    EXPECT_EQ(reader->GetLength(), 10);
    ASSERT_EQ(reader->Open(), 1);
    EXPECT_EQ(ReadUpTo(*reader, 20), "0123456789");
    reader->Close();

    CReaderPtr again = LocalReader(path);
    ASSERT_EQ(again->Create(), 1);
    EXPECT_EQ(again->GetLength(), 0) << "Create truncates an existing file";
    again->SetDeleteOnClose(1);
    again->Close();
    EXPECT_EQ(zu::platform::FileSizeByName(path), -1) << "deleted on close";
    EXPECT_EQ(again->SetEndOfFile(), static_cast<ZUBOOL>(0xFFFFFFFFu)) << "all bits set while closed";
}

TEST(LocalReaderTest, BadLocationsFailCleanly)
{
    CTempFolder folder;
    const std::u16string missingFolder = folder.File(u"no") + zu::platform::PathSeparator() + u"file.bin";
    const std::u16string bad[] = {u"", folder.Path(), folder.File(u"missing.bin"), missingFolder};
    for (const std::u16string& path : bad) {
        CReaderPtr reader = LocalReader(path);
        EXPECT_EQ(reader->Open(), 0) << Utf8(path);
        EXPECT_EQ(ReadUpTo(*reader, 1), "");
        EXPECT_EQ(reader->Write("x", 1), 0u);
        EXPECT_EQ(reader->GetLength(), -1);
    }
    CReaderPtr null(GetLocalReader(nullptr));
    EXPECT_EQ(null->Open(), 0);
    EXPECT_EQ(null->Create(), 0);
}

TEST(LocalReaderTest, ConcurrentReadAndSeekStayConsistent)
{
    // A worker reads while a client seeks: each Read must deliver bytes that are contiguous in the
    // file, which holds only if Read and SetPosition exclude each other.
    CTempFolder folder;
    const std::u16string path = folder.File(u"shared.bin");
    std::string bytes(1 << 20, '\0');
    for (size_t i = 0; i < bytes.size(); i += 4) {
        const uint32_t value = static_cast<uint32_t>(i / 4);
        memcpy(&bytes[i], &value, 4);
    }
    WriteFile(path, bytes);
    CReaderPtr reader = LocalReader(path);
    ASSERT_EQ(reader->Open(), 1);

    std::thread seeker([&] {
        for (int i = 0; i < 2000; ++i)
            reader->SetPosition((i * 4096) % (1 << 20), ZU_SEEK_BEGIN);
    });
    int nBroken = 0;
    uint32_t words[256];
    for (int i = 0; i < 2000; ++i) {
        const uint32_t n = reader->Read(words, sizeof(words));
        for (uint32_t w = 1; w < n / 4; ++w)
            nBroken += words[w] != words[w - 1] + 1;
        if (n == 0)
            reader->SetPosition(0, ZU_SEEK_BEGIN);
    }
    seeker.join();
    EXPECT_EQ(nBroken, 0);
}
