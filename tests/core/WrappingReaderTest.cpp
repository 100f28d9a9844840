#include "TestSupport.h"

#include <zureader/WrappingReader.h>
#include "core/MemoryReader.h"
#include "platform/File.h"

#include <gtest/gtest.h>

using namespace zutest;

namespace {

// A memory reader that reports its own destruction and counts its closes.
class CWatchedReader : public CMemoryReader {
public:
    explicit CWatchedReader(bool& bDestroyed) : CMemoryReader(ZU_READER_MEMORY), m_bDestroyed(bDestroyed) {}
    ~CWatchedReader() override { m_bDestroyed = true; }
    void Close() override
    {
        ++m_nCloses;
        CMemoryReader::Close();
    }
    int m_nCloses = 0;

private:
    bool& m_bDestroyed;
};

}  // namespace

TEST(WrappingReaderTest, OperationsAndSettersReachTheChild)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"source.bin");
    const std::string bytes = PatternBytes(1000);
    WriteFile(path, bytes);
    VReader* pChild = GetLocalReader(Z(path));
    VWrappingReader wrapper(pChild, VWrappingReader::EChild::OWNED);
    wrapper.SetOptions(Z(u"READ_ONLY|1"));
    ASSERT_EQ(wrapper.Open(), 1);
    EXPECT_EQ(wrapper.IsReadOnly(), 1) << "the option was read by the child at Open";
    EXPECT_EQ(wrapper.Write("x", 1), 0u);
    EXPECT_EQ(wrapper.GetLength(), 1000);
    EXPECT_EQ(wrapper.IsLengthUnknown(), 0);
    EXPECT_EQ(wrapper.SetPosition(-100, ZU_SEEK_END), 900);
    EXPECT_EQ(ReadUpTo(wrapper, 50), bytes.substr(900, 50));
    EXPECT_EQ(pChild->GetPosition(), 950) << "positions are the child's own";
    wrapper.Close();
    EXPECT_EQ(pChild->IsOpen(), 0);

    const std::u16string made = folder.File(u"made.bin");
    VWrappingReader writer(GetLocalReader(Z(made)), VWrappingReader::EChild::OWNED);
    ASSERT_EQ(writer.Create(), 1);
    EXPECT_EQ(writer.Write("abcdef", 6), 6u);
    EXPECT_EQ(writer.SetPosition(2, ZU_SEEK_BEGIN), 2);
    EXPECT_EQ(writer.SetEndOfFile(), 1);
    EXPECT_EQ(writer.GetLength(), 2);
    writer.SetDeleteOnClose(1);
    writer.Close();
    EXPECT_EQ(zu::platform::FileSizeByName(made), -1) << "delete-on-close was set on the child";
}

TEST(WrappingReaderTest, OwnedChildIsDeletedAClosedOneOnlyClosedAndABorrowedOneLeftAlone)
{
    bool bOwnedDestroyed = false;
    bool bClosedDestroyed = false;
    bool bBorrowedDestroyed = false;
    CWatchedReader closed(bClosedDestroyed);
    CWatchedReader borrowed(bBorrowedDestroyed);
    {
        VWrappingReader owner(new CWatchedReader(bOwnedDestroyed), VWrappingReader::EChild::OWNED);
        VWrappingReader closer(&closed, VWrappingReader::EChild::CLOSED);
        VWrappingReader lender(&borrowed, VWrappingReader::EChild::BORROWED);
    }
    EXPECT_TRUE(bOwnedDestroyed);
    EXPECT_FALSE(bClosedDestroyed);
    EXPECT_FALSE(bBorrowedDestroyed);
    EXPECT_GE(closed.m_nCloses, 1);
    EXPECT_EQ(borrowed.m_nCloses, 0) << "the reader that lent it still reads it";
}

TEST(WrappingReaderTest, WithoutAChildThereIsNothingToRead)
{
    VWrappingReader wrapper(nullptr, VWrappingReader::EChild::OWNED);
    char byte;
    EXPECT_EQ(wrapper.Open(), 0);
    EXPECT_EQ(wrapper.Create(), 0);
    EXPECT_EQ(wrapper.Read(&byte, 1), 0u);
    EXPECT_EQ(wrapper.GetLength(), -1);
    EXPECT_EQ(wrapper.SetPosition(5, ZU_SEEK_BEGIN), -1);
    EXPECT_EQ(wrapper.IsLengthUnknown(), 1);
    ZUBSTR info = wrapper.GetInfo(Z(u"Location"));
    ASSERT_NE(info, nullptr) << "an empty text, not a null one";
    ZUFreeString(info);
    wrapper.SetOption(Z(u"READ_ONLY"), Z(u"1"));
    wrapper.Close();
}
