#include "TestSupport.h"

#include "host/IniSettingsStore.h"
#include "host/Settings.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace zutest;
using zu::host::CIniSettingsStore;

TEST(IniSettingsStoreTest, ValuesSurviveAReopenWithAwkwardTexts)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"nested") + u"/settings.ini";
    {
        CIniSettingsStore store(path);
        EXPECT_FALSE(store.HasSection(u"Debug")) << "no file yet";
        EXPECT_TRUE(store.WriteNumber(u"Debug", u"Type", 0x7FFFFFFF));
        EXPECT_TRUE(store.WriteText(u"Internet Authorization", u"host=1", u"line1\nline2 [x] a=b \\ Grüße"));
        EXPECT_TRUE(store.WriteText(u"[odd]", u"name", u"v"));
    }
    CIniSettingsStore store(path);
    EXPECT_TRUE(store.HasSection(u"Debug"));
    uint32_t number = 0;
    EXPECT_TRUE(store.ReadNumber(u"Debug", u"Type", number));
    EXPECT_EQ(number, 0x7FFFFFFFu);
    std::u16string text;
    EXPECT_TRUE(store.ReadText(u"Internet Authorization", u"host=1", text));
    EXPECT_EQ(text, u"line1\nline2 [x] a=b \\ Grüße");
    EXPECT_TRUE(store.ReadText(u"[odd]", u"name", text));
    EXPECT_EQ(text, u"v");
    EXPECT_FALSE(store.ReadText(u"Debug", u"Missing", text));
    EXPECT_FALSE(store.ReadText(u"Missing", u"Type", text));

    EXPECT_TRUE(store.DeleteValue(u"Debug", u"Type"));
    EXPECT_FALSE(store.ReadNumber(u"Debug", u"Type", number));
    EXPECT_FALSE(store.DeleteValue(u"Debug", u"Type"));

    size_t nFiles = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(folder.File(u"nested"))))
        ++nFiles;
    EXPECT_EQ(nFiles, 1u) << "atomic writes leave no temporary file behind";
}

TEST(IniSettingsStoreTest, NumbersAcceptTheirUsualSpellingsOnly)
{
    CTempFolder folder;
    CIniSettingsStore store(folder.File(u"s.ini"));
    const std::pair<const char16_t*, int64_t> cases[] = {
        {u"12", 12}, {u"0x1F", 31}, {u"-1", 0xFFFFFFFF}, {u"4294967295", 0xFFFFFFFF},
        {u"4294967296", -1}, {u"12abc", -1}, {u"", -1}, {u"text", -1}};
    for (const auto& [pszText, nExpected] : cases) {
        store.WriteText(u"N", u"v", pszText);
        uint32_t number = 77;
        const bool bRead = store.ReadNumber(u"N", u"v", number);
        EXPECT_EQ(bRead, nExpected >= 0) << Utf8(pszText);
        if (bRead) {
            EXPECT_EQ(number, static_cast<uint32_t>(nExpected)) << Utf8(pszText);
        }
    }
}

TEST(IniSettingsStoreTest, SettingsFollowTheHomeOverride)
{
    CScopedHome home;
    EXPECT_TRUE(zu::host::CSettings::WriteText(u"Sec", u"Name", u"value"));
    EXPECT_EQ(ReadFile(home.Path() + u"settings.ini"), "[Sec]\nName=value\n\n");
    EXPECT_EQ(zu::host::CSettings::ReadNumber(u"Sec", u"Absent", 5), 5u);
    {
        CScopedHome other;
        EXPECT_FALSE(zu::host::CSettings::HasSection(u"Sec"));
    }
    EXPECT_EQ(zu::host::CSettings::ReadText(u"Sec", u"Name"), u"value");
}
