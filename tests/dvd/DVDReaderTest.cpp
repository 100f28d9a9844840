#include "RipperSupport.h"
#include "StreamCheck.h"

#include <zureader/ZUReader.h>

#include <gtest/gtest.h>

using namespace zutest;
using namespace zutest::dvd;

namespace {

CReaderPtr OpenTitle(const CMarkedDisc& disc, int nTitle, int nAudio)
{
    CReaderPtr reader(GetDVDReader(Z(disc.DescriptionText(nTitle, nAudio))));
    EXPECT_TRUE(reader && reader->Open());
    return reader;
}

}  // namespace

TEST(DVDReaderTest, ClosedAndOpenReader)
{
    const CMarkedDisc disc;
    CReaderPtr reader(GetDVDReader(Z(disc.DescriptionText(1, 1))));
    ASSERT_TRUE(reader);
    VDVDReader* pDvd = ZUReaderCast<VDVDReader>(reader.get());
    ASSERT_NE(pDvd, nullptr);
    EXPECT_EQ(reader->GetType(), 12u);
    EXPECT_EQ(reader->GetLength(), 0) << "closed: 0, not -1";
    EXPECT_EQ(reader->GetPosition(), 0);
    EXPECT_EQ(reader->SetPosition(4096, ZU_SEEK_BEGIN), 0);
    EXPECT_EQ(ReadUpTo(*reader, 100), "");
    EXPECT_EQ(pDvd->GetTitleNumber(), 0);
    EXPECT_EQ(reader->IsOpen(), 1);
    EXPECT_EQ(reader->IsReadOnly(), 1);
    EXPECT_EQ(reader->IsLengthUnknown(), 0);
    EXPECT_EQ(reader->Write("x", 1), 0u);
    EXPECT_EQ(Info(*reader, u"Location"), u"");

    ASSERT_EQ(reader->Open(), 1);
    EXPECT_EQ(reader->GetLength(), 20 * 2048) << "the description's TotalBytes";
    EXPECT_EQ(pDvd->GetTitleNumber(), 2);
    EXPECT_EQ(pDvd->GetProgress(), 0.0);
    const std::vector<SPackAt> packs = ReadPacks(*reader);
    EXPECT_EQ(packs.size(), ExpectedMarks(MarkedRegions(1), 1).size());
    EXPECT_EQ(ReadUpTo(*reader, 10), "") << "at the end";
    reader->Close();
    EXPECT_EQ(reader->GetPosition(), 0);
    EXPECT_EQ(ReadUpTo(*reader, 10), "");
    ASSERT_EQ(reader->Open(), 1) << "a closed reader opens again";
    EXPECT_EQ(ReadUpTo(*reader, 2048), packs[0].bytes);

    EXPECT_EQ(ZUReaderCast<VDVDReader>(nullptr), nullptr);
    CReaderPtr memory(GetMemoryReader("x", 1, 1));
    EXPECT_EQ(ZUReaderCast<VDVDReader>(memory.get()), nullptr);
    CReaderPtr broken(GetDVDReader(Z(u"[DVDVideoInfo\n")));
    ASSERT_TRUE(broken);
    EXPECT_EQ(broken->Open(), 0) << "a description that does not parse names no disc";
    CReaderPtr none(GetDVDReader(nullptr));
    ASSERT_TRUE(none);
    EXPECT_EQ(none->Open(), 0);
}

TEST(DVDReaderTest, PendingBytesAndSeeks)
{
    const CMarkedDisc disc;
    CReaderPtr reader = OpenTitle(disc, 0, 0);
    const std::vector<SPackAt> packs = ReadPacks(*reader);
    const std::string stream = StreamFrom(packs, 0);
    reader->SetPosition(0, ZU_SEEK_BEGIN);

    EXPECT_EQ(ReadUpTo(*reader, 5000), stream.substr(0, 5000)) << "three packs";
    EXPECT_EQ(reader->GetPosition(), 3 * 2048) << "the 1144 bytes pending are not subtracted";
    EXPECT_EQ(ReadUpTo(*reader, 1144), stream.substr(5000, 1144)) << "the rest of the third pack";
    EXPECT_EQ(ReadUpTo(*reader, 100), stream.substr(6144, 100));
    EXPECT_EQ(reader->SetPosition(0, ZU_SEEK_BEGIN), 0);
    EXPECT_EQ(ReadUpTo(*reader, 2048), stream.substr(0, 2048)) << "the seek dropped what was pending";

    EXPECT_EQ(reader->Open(), 1) << "open already: nothing made again";
    EXPECT_EQ(ReadUpTo(*reader, 2048), stream.substr(2048, 2048));

    const int64_t nLength = reader->GetLength();
    EXPECT_EQ(reader->SetPosition(-100, ZU_SEEK_END), (nLength - 100) / 2048 * 2048);
    EXPECT_EQ(reader->SetPosition(100, ZU_SEEK_END), (nLength - 100) / 2048 * 2048) << "the sign is ignored";
    EXPECT_EQ(reader->SetPosition(5000, ZU_SEEK_BEGIN), 4096);
    EXPECT_EQ(reader->SetPosition(3000, ZU_SEEK_CURRENT), 6144);
    EXPECT_EQ(ReadUpTo(*reader, 2048), StreamFrom(packs, 6144).substr(0, 2048));
}

TEST(DVDReaderTest, RandomSeeksAndReadsAgreeWithASequentialRead)
{
    const CMarkedDisc disc;
    for (int nTitle = 0; nTitle < 3; ++nTitle) {
        CReaderPtr reader = OpenTitle(disc, nTitle, nTitle % 2);
        const std::vector<SPackAt> packs = ReadPacks(*reader);
        CheckRandomAccess(*reader, packs, 1000 + nTitle, 500);
    }
}
