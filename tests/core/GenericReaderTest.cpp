#include "TestSupport.h"

#include <gtest/gtest.h>

#include <string>

using namespace zutest;

namespace {

CReaderPtr Generic(const std::u16string& location)
{
    return CReaderPtr(GetGenericReader(Z(location)));
}

}  // namespace

TEST(GenericReaderTest, LocationsWithoutASchemeSeparatorAreLocalFiles)
{
    for (const std::u16string location : {u"C:\\music\\a.mp3", u"\\\\server\\share\\a.mp3", u"relative/a.mp3",
                                          u"/tmp/a.mp3", u"http:/only-one-slash", u"", u"a:b"}) {
        CReaderPtr pReader = Generic(location);
        ASSERT_TRUE(pReader) << Utf8(location);
        EXPECT_EQ(pReader->GetType(), ZU_READER_LOCAL) << Utf8(location);
        EXPECT_FALSE(pReader->IsOpen()) << "a factory only constructs";
    }

    // The reader it gives is the local file reader proper: it opens and reads the file.
    CTempFolder folder;
    WriteFile(folder.File(u"a.bin"), "generic");
    CReaderPtr pFile = Generic(folder.File(u"a.bin"));
    ASSERT_TRUE(pFile && pFile->Open());
    char text[16] = {};
    EXPECT_EQ(pFile->Read(text, sizeof(text)), 7u);
    EXPECT_STREQ(text, "generic");
}

TEST(GenericReaderTest, MediaServerSchemesBecomeHttpOnTheirPortAndOthersPassUnchanged)
{
    struct {
        const char16_t* pszLocation;
        const char16_t* pszURL;
    } const kCases[] = {
        {u"qxsp://host/x", u"http://host:8931/x"},
        {u"m01p://host/x", u"http://host:8931/x"},
        {u"m01p://h:99/x?y=1#z", u"http://h:99/x?y=1#z"},
        {u"qxsp://u:p@host/a/b?c=d", u"http://u:p@host:8931/a/b?c=d"},
        // Only the exact lower-case words are media-server schemes.
        {u"QXSP://host/x", u"QXSP://host/x"},
        {u"qxsps://host/x", u"qxsps://host/x"},
        // Every other URL reaches the Internet reader as written: no default port is spelt out.
        {u"http://host/x", u"http://host/x"},
        {u"https://host/x?q=1", u"https://host/x?q=1"},
        {u"ftp://u:p@host/f", u"ftp://u:p@host/f"},
        {u"gopher://host/x", u"gopher://host/x"},
    };
    for (const auto& entry : kCases) {
        CReaderPtr pReader = Generic(entry.pszLocation);
        ASSERT_TRUE(pReader) << Utf8(entry.pszLocation);
        EXPECT_EQ(pReader->GetType(), ZU_READER_INTERNET) << Utf8(entry.pszLocation);
        EXPECT_EQ(Info(*pReader, u"Location"), entry.pszURL) << Utf8(entry.pszLocation);
        EXPECT_FALSE(pReader->IsOpen()) << "a factory only constructs";
    }
}

TEST(GenericReaderTest, AUrlTheParserRejectsGivesNoReader)
{
    for (const std::u16string location : {u"h ttp://x", u" http://h/"})
        EXPECT_FALSE(Generic(location)) << Utf8(location);
}
