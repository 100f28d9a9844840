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
    }
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
        {u"qxsp://u@h/", u"http://u:@h:8931/"},
        {u"m01p://user:pw@[::1]:8443/a/b;c?k=v&w#f", u"http://user:pw@[::1]:8443/a/b;c?k=v&w#f"},
        // Only the exact lower-case words are media-server schemes.
        {u"QXSP://host/x", u"QXSP://host/x"},
        {u"qxsps://host/x", u"qxsps://host/x"},
        // Every other URL reaches the Internet reader as written: no default port is spelt out.
        {u"http://host/x", u"http://host/x"},
        {u"ftp://u:p@host/f", u"ftp://u:p@host/f"},
    };
    for (const auto& entry : kCases) {
        CReaderPtr pReader = Generic(entry.pszLocation);
        ASSERT_TRUE(pReader) << Utf8(entry.pszLocation);
        EXPECT_EQ(pReader->GetType(), ZU_READER_INTERNET) << Utf8(entry.pszLocation);
        EXPECT_EQ(Info(*pReader, u"Location"), entry.pszURL) << Utf8(entry.pszLocation);
    }
}

TEST(GenericReaderTest, AUrlTheParserRejectsGivesNoReader)
{
    for (const std::u16string location : {u"h ttp://x", u" http://h/"})
        EXPECT_FALSE(Generic(location)) << Utf8(location);
}
