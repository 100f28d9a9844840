#include "TestSupport.h"

#include "platform/Text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>

using namespace zutest;

namespace {

std::string ReadRest(VReader& reader)
{
    return ReadUpTo(reader, static_cast<uint32_t>(reader.GetLength() - reader.GetPosition()));
}

}  // namespace

TEST(MemoryReaderTest, ReadsAreCutAtTheEndAndSeeksAreClamped)
{
    const std::string bytes = PatternBytes(100);
    CReaderPtr reader(GetMemoryReader(bytes.data(), 100, 0));
    EXPECT_EQ(ReadUpTo(*reader, 30), bytes.substr(0, 30));
    EXPECT_EQ(ReadUpTo(*reader, 100), bytes.substr(30)) << "a count past the end delivers the rest";
    EXPECT_EQ(ReadUpTo(*reader, 1), "") << "nothing at the end";
    EXPECT_EQ(reader->GetPosition(), 100) << "a read at the end leaves the position";

    EXPECT_EQ(reader->SetPosition(-5, ZU_SEEK_BEGIN), 0);
    EXPECT_EQ(reader->SetPosition(10, ZU_SEEK_END), 100);
    EXPECT_EQ(reader->SetPosition(-10, ZU_SEEK_END), 90);
    EXPECT_EQ(reader->SetPosition(-20, ZU_SEEK_CURRENT), 70);
    EXPECT_EQ(reader->SetPosition(500, ZU_SEEK_CURRENT), 100);
    EXPECT_EQ(reader->SetPosition(-500, ZU_SEEK_CURRENT), 0);
    EXPECT_EQ(reader->SetPosition(42, ZU_SEEK_BEGIN), 42);
    EXPECT_EQ(reader->SetPosition(7, 3), 42) << "an unknown origin keeps the position";
    EXPECT_EQ(ReadUpTo(*reader, 3), bytes.substr(42, 3));

    // Far offsets that stay within 64 bits are clamped; the edges of 64 bits are every reader's
    // overflow test.
    const int64_t nMax = std::numeric_limits<int64_t>::max();
    EXPECT_EQ(reader->SetPosition(nMax - 100, ZU_SEEK_END), 100);
    EXPECT_EQ(reader->SetPosition(-nMax, ZU_SEEK_CURRENT), 0);

    EXPECT_EQ(reader->SetPosition(-1, ZU_SEEK_END), 99);
    char buffer[4];
    EXPECT_EQ(reader->Read(buffer, 0xFFFFFFFFu), 1u) << "the largest count is cut, not wrapped";
    EXPECT_EQ(buffer[0], bytes[99]);
}

TEST(MemoryReaderTest, CopySurvivesTheCallersBufferAndNoCopyFollowsIt)
{
    std::string buffer = "original bytes";
    const std::string before = buffer;
    CReaderPtr borrowed(GetMemoryReader(buffer.data(), static_cast<int32_t>(buffer.size()), 0));
    auto pTemporary = std::make_unique<std::string>(before);
    CReaderPtr copied(GetMemoryReader(pTemporary->data(), static_cast<int32_t>(before.size()), 1));
    buffer.replace(0, 8, "CHANGED!");
    pTemporary.reset();
    EXPECT_EQ(ReadRest(*borrowed), buffer) << "no copy: the reader sees the caller's bytes as they are now";
    EXPECT_EQ(ReadRest(*copied), before) << "the copy outlives the caller's buffer";
}

TEST(MemoryReaderTest, NullOrNegativeInputGivesAnEmptyReader)
{
    const char bytes[] = "abc";
    VReader* const empties[] = {GetMemoryReader(bytes, 0, 1),       GetMemoryReader(bytes, 0, 0),
                                GetMemoryReader(bytes, -5, 1),      GetMemoryReader(bytes, -5, 0),
                                GetMemoryReader(nullptr, 10, 1),    GetMemoryReader(nullptr, 10, 0),
                                GetStringReader(nullptr, 0),        GetStringReader(Z(u""), 0),
                                GetStringReader(Z(u""), 1)};
    for (VReader* pReader : empties) {
        ASSERT_NE(pReader, nullptr);
        CReaderPtr reader(pReader);
        EXPECT_EQ(reader->GetLength(), 0);
        EXPECT_EQ(ReadUpTo(*reader, 1), "");
        EXPECT_EQ(reader->SetPosition(3, ZU_SEEK_BEGIN), 0);
    }
}

// Close only toggles a flag that IsOpen ignores: the bytes stay readable, and nothing writes them.
TEST(MemoryReaderTest, AlwaysOpenAndReadOnly)
{
    char bytes[] = "0123456789";
    CReaderPtr reader(GetMemoryReader(bytes, 10, 0));
    reader->Close();
    EXPECT_EQ(reader->IsOpen(), 1);
    EXPECT_EQ(ReadUpTo(*reader, 4), "0123") << "the bytes outlive Close";
    EXPECT_EQ(reader->Open(), 1);
    EXPECT_EQ(reader->GetPosition(), 4) << "Open does not rewind";

    EXPECT_EQ(reader->IsReadOnly(), 1);
    EXPECT_EQ(reader->Write("zz", 2), 0u);
    EXPECT_EQ(reader->Create(), 0);
    EXPECT_EQ(reader->SetEndOfFile(), 0);
    EXPECT_EQ(std::string(bytes), "0123456789") << "nothing wrote into the caller's bytes";
}

TEST(MemoryReaderTest, StringReaderHoldsTheTextAsUtf8OrAnsiWithoutTerminator)
{
    std::u16string text = u"\u00E9t\u00E9 \U0001F600";
    CReaderPtr utf8(GetStringReader(Z(text), 0));
    text.assign(text.size(), u'x');  // the reader has its own copy
    EXPECT_EQ(utf8->GetLength(), 10) << "no terminating zero";
    EXPECT_EQ(ReadRest(*utf8), "\xC3\xA9t\xC3\xA9 \xF0\x9F\x98\x80");

    if (zu::platform::AnsiCodePage() != 1252)
        GTEST_SKIP() << "the ANSI half needs Windows-1252 as the system's ANSI code page; this system uses "
                     << zu::platform::AnsiCodePage();
    CReaderPtr ansi(GetStringReader(Z(u"\u00E9t\u00E9 \u4E2D"), 1));
    EXPECT_EQ(ReadRest(*ansi), "\xE9t\xE9 ?") << "one byte per accented letter, ? outside the code page";
}
