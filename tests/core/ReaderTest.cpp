#include "FailingAllocations.h"
#include "TestSupport.h"

#include "buffering/BufferedReader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

using namespace zutest;

namespace {

// The smallest concrete reader: only what the interface requires, so the base behaviour shows.
class CBareReader : public VReader {
public:
    ZUBOOL Open() override { return m_bOpen = 1; }
    void Close() override { m_bOpen = 0; }
    uint32_t Read(void*, uint32_t) override { return 0; }
    uint32_t Write(const void*, uint32_t) override { return 0; }
    int64_t GetLength() override { return -1; }
    int64_t GetPosition() override { return -1; }
    int64_t SetPosition(int64_t, uint32_t) override { return -1; }
    ZUBOOL SetEndOfFile() override { return 0; }
    ZUBOOL IsLengthUnknown() override { return 1; }
    ZUBOOL IsRemote() override { return 0; }
    ZUBOOL IsOpen() override { return m_bOpen; }
    ZUBOOL IsReadOnly() override { return 1; }

    std::u16string Option(const std::u16string& key) const { return GetOption(key); }
    bool Flag(const std::u16string& key) const { return GetOptionFlag(key); }
    size_t OptionCount() const { return m_Options.size(); }
};

}  // namespace

TEST(ReaderTest, OptionsParseInPairsAndTheLastValueWins)
{
    CBareReader reader;
    reader.SetOptions(Z(u"READ_ONLY|1|USER_AGENT|Agent/1.0 (x|y"));
    EXPECT_EQ(reader.Option(u"READ_ONLY"), u"1");
    EXPECT_EQ(reader.Option(u"USER_AGENT"), u"Agent/1.0 (x") << "a value cannot hold the separator";
    EXPECT_EQ(reader.OptionCount(), 2u) << "the odd last field is ignored";

    reader.SetOptions(Z(u"READ_ONLY|0"));
    reader.SetOption(Z(u"NO_REDIRECT"), Z(u"1"));
    reader.SetOption(Z(u"NO_REDIRECT"), Z(u"2"));
    EXPECT_EQ(reader.Option(u"READ_ONLY"), u"0");
    EXPECT_EQ(reader.Option(u"NO_REDIRECT"), u"2");
    EXPECT_EQ(reader.Option(u"read_only"), u"") << "keys compare exactly";

    reader.SetOptions(nullptr);
    reader.SetOption(nullptr, Z(u"x"));
    reader.SetOption(Z(u"NULLVALUE"), nullptr);
    EXPECT_EQ(reader.Option(u"NULLVALUE"), u"");

    ZUBSTR info = reader.GetInfo(Z(u"Location"));
    ASSERT_NE(info, nullptr) << "an unknown item is an empty text, not a null one";
    EXPECT_EQ(info[0], 0);
    ZUFreeString(info);
}

TEST(ReaderTest, FlagOptionsReadTheIntegerValue)
{
    CBareReader reader;
    reader.SetOptions(Z(u"A|1|B|0|C|12|D| 3|E|-1|F|yes|G|00|H|0x1"));
    for (const char16_t* pszKey : {u"A", u"C", u"D", u"E"})
        EXPECT_TRUE(reader.Flag(pszKey)) << Utf8(pszKey);
    for (const char16_t* pszKey : {u"B", u"F", u"G", u"H", u"ABSENT"})
        EXPECT_FALSE(reader.Flag(pszKey)) << Utf8(pszKey) << ": 0x1, yes and 00 have the integer value 0";
}

namespace {

// One reader of each kind this library makes that can seek, over the same ten bytes, opened.
struct CSeekable {
    const char* pszName;
    CReaderPtr pReader;
};

std::vector<CSeekable> SeekableReaders(const CTempFolder& folder)
{
    const std::u16string path = folder.File(u"ten.bin");
    WriteFile(path, "0123456789");
    std::vector<CSeekable> readers;
    readers.push_back({"local", CReaderPtr(GetLocalReader(Z(path)))});
    readers.push_back({"memory", CReaderPtr(GetMemoryReader("0123456789", 10, 1))});
    readers.push_back({"string", CReaderPtr(GetStringReader(Z(u"0123456789"), 0))});
    readers.push_back({"truncating", CReaderPtr(GetTruncatingReader(GetLocalReader(Z(path)), 5))});
    readers.push_back({"circling", CReaderPtr(GetCirclingReader(GetLocalReader(Z(path))))});
    readers.push_back({"buffered", CReaderPtr(GetBufferedReader(GetLocalReader(Z(path))))});
    readers.push_back({"buffered over memory", CReaderPtr(GetBufferedReader(GetMemoryReader("0123456789", 10, 1)))});
    for (CSeekable& seekable : readers) {
        if (auto* pBuffered = ZUReaderCast<VBufferedReader>(seekable.pReader.get()))
            pBuffered->SetBufferInFile(0);
        EXPECT_EQ(seekable.pReader->Open(), 1) << seekable.pszName;
    }
    return readers;
}

}  // namespace

// A target beyond what 64 bits hold is no place: every reader answers -1 and stays where it was,
// without the signed overflow that the sanitizer build traps.
TEST(ReaderTest, EverySeekBeyond64BitsAnswersMinusOne)
{
    CTempFolder folder;
    const int64_t nMax = std::numeric_limits<int64_t>::max();
    const int64_t nMin = std::numeric_limits<int64_t>::min();
    for (CSeekable& seekable : SeekableReaders(folder)) {
        VReader& reader = *seekable.pReader;
        ASSERT_EQ(reader.SetPosition(4, ZU_SEEK_BEGIN), 4) << seekable.pszName;
        for (const uint32_t nOrigin : {ZU_SEEK_CURRENT, ZU_SEEK_END}) {
            for (const int64_t nOffset : {nMax, nMin}) {
                EXPECT_EQ(reader.SetPosition(nOffset, nOrigin), -1)
                    << seekable.pszName << ", origin " << nOrigin << ", offset " << nOffset;
            }
        }
        EXPECT_EQ(reader.SetPosition(nMin, ZU_SEEK_BEGIN), -1) << seekable.pszName;
        EXPECT_EQ(reader.GetPosition(), 4) << seekable.pszName;
        EXPECT_EQ(ReadUpTo(reader, 1), "4") << seekable.pszName;
    }
}

namespace {

// Whether a call lets an exception out when memory runs out on the calling thread after the first
// nAllowed allocations.
template <class TCall>
bool ThrowsWithoutMemory(TCall call, int nAllowed = 0)
{
    try {
        const CFailingAllocations failing(nAllowed);
        call();
        return false;
    } catch (...) {
        return true;
    }
}

// A literal as the interface's text, without the temporary string that Z makes (an allocation of
// the test's own).
const ZUCHAR* W(const char16_t* pszText)
{
    return reinterpret_cast<const ZUCHAR*>(pszText);
}

}  // namespace

// Memory running out inside an export (a constructor behind new(std::nothrow) copying its path)
// or inside an operation (a std::u16string of an option) is answered as a failure: no exception
// reaches the host.
TEST(ReaderTest, NoExceptionLeavesAnExportOrAnOperationWhenMemoryRunsOut)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"a.bin");
    WriteFile(path, "abc");
    // The object itself is allowed; what its constructor allocates is not.
    VReader* pMade = reinterpret_cast<VReader*>(1);
    EXPECT_FALSE(ThrowsWithoutMemory([&] { pMade = GetLocalReader(Z(path)); }, 1));
    EXPECT_EQ(pMade, nullptr);
    EXPECT_FALSE(ThrowsWithoutMemory([&] { pMade = GetGenericReader(W(u"http://127.0.0.1:1/a")); }));
    EXPECT_EQ(pMade, nullptr);
    EXPECT_FALSE(ThrowsWithoutMemory([&] { pMade = GetStringReader(W(u"a text longer than a short string"), 0); }, 1));
    EXPECT_EQ(pMade, nullptr);
    VReader* pInner = GetLocalReader(Z(path));
    EXPECT_FALSE(ThrowsWithoutMemory([&] { pMade = GetBufferedReader(pInner); }));
    EXPECT_EQ(pMade, nullptr) << "the inner reader is deleted with the failed wrapper";

    CReaderPtr pLocal(GetLocalReader(Z(path)));
    CReaderPtr pBuffered(GetBufferedReader(GetLocalReader(Z(path))));
    auto& buffered = static_cast<VBufferedReader&>(*pBuffered);
    for (VReader* pReader : {pLocal.get(), pBuffered.get()}) {
        EXPECT_FALSE(ThrowsWithoutMemory([&] { pReader->SetOption(W(u"READ_ONLY"), W(u"1")); }));
        EXPECT_FALSE(ThrowsWithoutMemory([&] { pReader->SetOptions(W(u"USER_AGENT|probe|READ_ONLY|1")); }));
        ZUBOOL bOpened = 1;
        EXPECT_FALSE(ThrowsWithoutMemory([&] { bOpened = pReader->Open(); }));
        EXPECT_EQ(bOpened, 0);
        EXPECT_FALSE(ThrowsWithoutMemory([&] { pReader->Close(); }));
    }
    const std::u16string ringPath = folder.File(u"ring.dat");
    EXPECT_FALSE(ThrowsWithoutMemory([&] { buffered.SetBufferFile(Z(ringPath)); }));
    EXPECT_FALSE(ThrowsWithoutMemory([&] { ZUFreeString(buffered.GetStreamTitle()); }));

    // Memory back, the same readers work.
    EXPECT_EQ(pLocal->Open(), 1);
    EXPECT_EQ(ReadUpTo(*pLocal, 3), "abc");
    buffered.SetBufferInFile(0);
    EXPECT_EQ(buffered.Open(), 1);
    EXPECT_EQ(ReadUpTo(buffered, 3), "abc");
}
