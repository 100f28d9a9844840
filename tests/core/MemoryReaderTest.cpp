#include "TestSupport.h"

#include "platform/Text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>

using namespace zutest;

namespace {

std::string ReadBytes(VReader& reader, uint32_t nCount)
{
    std::string bytes(nCount, '\0');
    bytes.resize(reader.Read(bytes.data(), nCount));
    return bytes;
}

std::string ReadRest(VReader& reader)
{
    return ReadBytes(reader, static_cast<uint32_t>(reader.GetLength() - reader.GetPosition()));
}

void ExpectEmpty(VReader* pReader, const char* pszWhy)
{
    ASSERT_NE(pReader, nullptr) << pszWhy;
    CReaderPtr reader(pReader);
    char byte;
    EXPECT_EQ(reader->GetLength(), 0) << pszWhy;
    EXPECT_EQ(reader->Read(&byte, 1), 0u) << pszWhy;
    EXPECT_EQ(reader->SetPosition(3, ZU_SEEK_BEGIN), 0) << pszWhy;
}

}  // namespace

TEST(MemoryReaderTest, ReadsAreCutAtTheEndAndSeeksAreClamped)
{
    const std::string bytes = PatternBytes(100);
    CReaderPtr reader(GetMemoryReader(bytes.data(), 100, 0));
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->GetType(), 11u);
    EXPECT_EQ(reader->GetLength(), 100);
    EXPECT_EQ(reader->GetPosition(), 0);

    EXPECT_EQ(ReadBytes(*reader, 30), bytes.substr(0, 30));
    EXPECT_EQ(ReadBytes(*reader, 100), bytes.substr(30)) << "a count past the end delivers the rest";
    EXPECT_EQ(reader->GetPosition(), 100);
    EXPECT_EQ(ReadBytes(*reader, 1), "") << "nothing at the end";
    EXPECT_EQ(reader->GetPosition(), 100) << "a read at the end leaves the position";

    EXPECT_EQ(reader->SetPosition(-5, ZU_SEEK_BEGIN), 0);
    EXPECT_EQ(reader->SetPosition(10, ZU_SEEK_END), 100);
    EXPECT_EQ(reader->SetPosition(-10, ZU_SEEK_END), 90);
    EXPECT_EQ(reader->SetPosition(-20, ZU_SEEK_CURRENT), 70);
    EXPECT_EQ(reader->SetPosition(500, ZU_SEEK_CURRENT), 100);
    EXPECT_EQ(reader->SetPosition(-500, ZU_SEEK_CURRENT), 0);
    EXPECT_EQ(reader->SetPosition(42, ZU_SEEK_BEGIN), 42);
    EXPECT_EQ(reader->SetPosition(7, 3), 42) << "an unknown origin keeps the position";
    EXPECT_EQ(ReadBytes(*reader, 3), bytes.substr(42, 3));

    // Far offsets saturate rather than overflow (the sanitizer build would trap on overflow).
    const int64_t nMax = std::numeric_limits<int64_t>::max();
    const int64_t nMin = std::numeric_limits<int64_t>::min();
    EXPECT_EQ(reader->SetPosition(nMax, ZU_SEEK_END), 100);
    EXPECT_EQ(reader->SetPosition(nMax, ZU_SEEK_CURRENT), 100);
    EXPECT_EQ(reader->SetPosition(nMin, ZU_SEEK_CURRENT), 0);
    EXPECT_EQ(reader->SetPosition(nMin, ZU_SEEK_END), 0);

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
    CReaderPtr copied(GetMemoryReader(buffer.data(), static_cast<int32_t>(buffer.size()), 1));
    ASSERT_TRUE(borrowed && copied);

    buffer.replace(0, 8, "CHANGED!");
    EXPECT_EQ(ReadRest(*borrowed), buffer) << "no copy: the reader sees the caller's bytes as they are now";
    EXPECT_EQ(ReadRest(*copied), before);

    auto pTemporary = std::make_unique<std::string>(before);
    CReaderPtr fromTemporary(GetMemoryReader(pTemporary->data(), static_cast<int32_t>(before.size()), 1));
    ASSERT_TRUE(fromTemporary);
    pTemporary.reset();
    EXPECT_EQ(ReadRest(*fromTemporary), before) << "the copy outlives the caller's buffer";
}

TEST(MemoryReaderTest, NullOrNegativeInputGivesAnEmptyReader)
{
    const char bytes[] = "abc";
    ExpectEmpty(GetMemoryReader(bytes, 0, 1), "length 0, copied");
    ExpectEmpty(GetMemoryReader(bytes, 0, 0), "length 0, borrowed");
    ExpectEmpty(GetMemoryReader(bytes, -5, 1), "negative length, copied");
    ExpectEmpty(GetMemoryReader(bytes, -5, 0), "negative length, borrowed");
    ExpectEmpty(GetMemoryReader(nullptr, 10, 1), "null data, copied");
    ExpectEmpty(GetMemoryReader(nullptr, 10, 0), "null data, borrowed");
    ExpectEmpty(GetStringReader(nullptr, 0), "null text");
    ExpectEmpty(GetStringReader(Z(u""), 0), "empty text, UTF-8");
    ExpectEmpty(GetStringReader(Z(u""), 1), "empty text, ANSI");
}

// Open from the start, read-only, never remote; Close only toggles a flag that IsOpen ignores.
TEST(MemoryReaderTest, AnswersOfAReadOnlyReaderThatIsAlwaysOpen)
{
    char bytes[] = "0123456789";
    CReaderPtr reader(GetMemoryReader(bytes, 10, 0));
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->IsOpen(), 1);
    reader->Close();
    EXPECT_EQ(reader->IsOpen(), 1);
    EXPECT_EQ(ReadBytes(*reader, 4), "0123") << "the bytes outlive Close";
    EXPECT_EQ(reader->Open(), 1);
    EXPECT_EQ(reader->GetPosition(), 4) << "Open does not rewind";

    EXPECT_EQ(reader->IsReadOnly(), 1);
    EXPECT_EQ(reader->Write("zz", 2), 0u);
    EXPECT_EQ(reader->Create(), 0);
    EXPECT_EQ(reader->SetEndOfFile(), 0);
    EXPECT_EQ(std::string(bytes), "0123456789") << "nothing wrote into the caller's bytes";
    EXPECT_EQ(reader->SetLengthHint(5), 0);
    EXPECT_EQ(reader->GetLength(), 10);
    EXPECT_EQ(reader->IsLengthUnknown(), 0);
    EXPECT_EQ(reader->IsRemote(), 0);

    ZUBSTR info = reader->GetInfo(Z(u"Location"));
    ASSERT_NE(info, nullptr) << "an empty text, not a null one";
    EXPECT_EQ(info[0], 0);
    ZUFreeString(info);
}

TEST(MemoryReaderTest, StringReaderHoldsTheTextAsUtf8OrAnsiWithoutTerminator)
{
    std::u16string text = u"\u00E9t\u00E9 \U0001F600";
    CReaderPtr utf8(GetStringReader(Z(text), 0));
    ASSERT_TRUE(utf8);
    EXPECT_EQ(utf8->GetType(), 4u);
    text.assign(text.size(), u'x');  // the reader has its own copy
    EXPECT_EQ(ReadRest(*utf8), "\xC3\xA9t\xC3\xA9 \xF0\x9F\x98\x80");
    EXPECT_EQ(utf8->GetLength(), 10) << "no terminating zero";

    const std::u16string withLone = u"a" + std::u16string(1, char16_t(0xD800)) + u"b";
    CReaderPtr lone(GetStringReader(Z(withLone), 0));
    ASSERT_TRUE(lone);
    EXPECT_EQ(ReadRest(*lone), "a\xEF\xBF\xBD" "b");

    CReaderPtr oneLetter(GetStringReader(Z(u"\u00E9"), 0));
    ASSERT_TRUE(oneLetter);
    EXPECT_EQ(oneLetter->GetLength(), 2);

    if (zu::platform::AnsiCodePage() != 1252)
        GTEST_SKIP() << "the ANSI half needs Windows-1252 as the system's ANSI code page; this system uses "
                     << zu::platform::AnsiCodePage();
    CReaderPtr ansi(GetStringReader(Z(u"\u00E9t\u00E9 \u4E2D"), 1));
    ASSERT_TRUE(ansi);
    EXPECT_EQ(ansi->GetType(), 4u);
    EXPECT_EQ(ReadRest(*ansi), "\xE9t\xE9 ?") << "one byte per accented letter, ? outside the code page";
}
