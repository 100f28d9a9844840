#include "TestSupport.h"

#include "host/Base64.h"
#include "host/Settings.h"

#include <gtest/gtest.h>

using namespace zutest;
using zu::host::CBase64;
using zu::host::CSettings;

TEST(Base64Test, RoundTripsAndBreaksLongLinesBeforeTheNextGroup)
{
    EXPECT_EQ(CBase64::Encode("f"), "Zg==");
    EXPECT_EQ(CBase64::Encode("fo"), "Zm8=");
    EXPECT_EQ(CBase64::Encode("foo"), "Zm9v");

    // 48 bytes fill one 64-character line exactly; the 49th byte starts a new line.
    const std::string forty8(48, 'a');
    EXPECT_EQ(CBase64::Encode(forty8, 64).find('\n'), std::string::npos);
    const std::string encoded = CBase64::Encode(forty8 + "b", 64);
    ASSERT_EQ(encoded.size(), 64u + 1 + 4);
    EXPECT_EQ(encoded[64], '\n');

    const std::string bytes = PatternBytes(1000);
    std::string decoded;
    ASSERT_TRUE(CBase64::Decode(CBase64::Encode(bytes, 64), decoded));
    EXPECT_EQ(decoded, bytes);
    EXPECT_FALSE(CBase64::Decode("Zm9v!", decoded));
    EXPECT_FALSE(CBase64::Decode("Zg=a", decoded));
}

TEST(ProtectedSettingsTest, SealedValuesOpenOnlyWithTheirSeed)
{
    CScopedHome home;
    const std::u16string seed = u"Network Password Salt Value";
    ASSERT_TRUE(CSettings::WriteProtectedText(u"Internet Authorization", u"host:80:WWW", u"user|pässword", seed));
    EXPECT_EQ(CSettings::ReadProtectedText(u"Internet Authorization", u"host:80:WWW", seed), u"user|pässword");

    const std::u16string stored = CSettings::ReadText(u"Internet Authorization", u"host:80:WWW");
    EXPECT_FALSE(stored.empty());
    EXPECT_EQ(stored.find(u"user"), std::u16string::npos) << "the store never holds the plain text";
    EXPECT_EQ(CSettings::ReadProtectedText(u"Internet Authorization", u"host:80:WWW", u"another seed"), u"");

    CSettings::WriteText(u"Internet Authorization", u"tampered", stored.substr(0, stored.size() - 4) + u"AAAA");
    EXPECT_EQ(CSettings::ReadProtectedText(u"Internet Authorization", u"tampered", seed), u"");
}
