// Which registered encoder plug-in is found, and with which settings, between the per-user and the
// machine-wide stores.
#include "transcode/EncoderPlugins.h"

#include "host/Settings.h"
#include "platform/DynamicLibrary.h"
#include "platform/SettingsStore.h"
#include "transcode/TranscodeSupport.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace zu;
using namespace zu::transcode;
using namespace zutest;

namespace {

const std::u16string kEncoders = u"Plugins\\Encoders\\";

void Register(platform::VSettingsStore& store, const std::u16string& name, uint32_t nVersion,
              const std::u16string& path, uint32_t nIndex = 0)
{
    ASSERT_TRUE(store.WriteNumber(kEncoders + name, u"IVersion", nVersion));
    ASSERT_TRUE(store.WriteText(kEncoders + name, u"Path", path));
    ASSERT_TRUE(store.WriteNumber(kEncoders + name, u"Index", nIndex));
}

std::vector<std::u16string> Names(const std::vector<std::unique_ptr<CEncoderDescriptor>>& list)
{
    std::vector<std::u16string> names;
    for (const auto& pDescriptor : list)
        names.push_back(pDescriptor->GetName());
    std::sort(names.begin(), names.end());
    return names;
}

class EncoderPluginsTest : public ::testing::Test {
protected:
    CTranscodeScene m_Scene;
    platform::VSettingsStore& m_User = host::CSettings::Store();
    platform::VSettingsStore& m_Machine = host::CSettings::MachineStore();
};

TEST_F(EncoderPluginsTest, KeysAreChosenByVersionBetweenUserAndMachine)
{
    // The scene registered the simple WAV encoder for the user.
    Register(m_Machine, u"MachineOnly", 5, u"machine-only-module");
    Register(m_User, u"OldForUser", 4, u"user-old-module", 1);
    Register(m_Machine, u"OldForUser", 5, u"machine-module", 2);
    Register(m_User, u"Both", 5, u"user-module", 3);
    Register(m_Machine, u"Both", 5, u"machine-module", 4);
    Register(m_Machine, u"NoVersion", 5, u"x");
    ASSERT_TRUE(m_Machine.DeleteValue(kEncoders + u"NoVersion", u"IVersion"));
    Register(m_User, u"Six", 6, u"six-module");

    const auto list = CEncoderPlugins::BuildEncoderList();
    EXPECT_EQ((std::vector<std::u16string>{u"Both", u"MachineOnly", u"OldForUser", u"WAV"}), Names(list));
    EXPECT_EQ(u"machine-only-module", CEncoderPlugins::Find(list, u"MachineOnly")->GetModulePath());
    EXPECT_EQ(u"machine-module", CEncoderPlugins::Find(list, u"OldForUser")->GetModulePath());
    EXPECT_EQ(2u, CEncoderPlugins::Find(list, u"OldForUser")->GetIndex());
    EXPECT_EQ(u"user-module", CEncoderPlugins::Find(list, u"Both")->GetModulePath());
    EXPECT_EQ(nullptr, CEncoderPlugins::Find(list, u"Six"));

    std::vector<std::u16string> userOnly;
    CEncoderPlugins::EnumeratePlugins(u"Encoders", userOnly, false);
    std::sort(userOnly.begin(), userOnly.end());
    EXPECT_EQ((std::vector<std::u16string>{u"Both", u"OldForUser", u"Six", u"WAV"}), userOnly);
    EXPECT_FALSE(CEncoderPlugins::OpenPluginKey(u"Encoders", u"Six", 5, 5));
    EXPECT_TRUE(CEncoderPlugins::OpenPluginKey(u"Encoders", u"Six", 5, 6));
}

TEST_F(EncoderPluginsTest, ModulesWithoutTheEntryOrWithoutAFileMakeNoEncoder)
{
    // The simple player module exists but exports no "CreateEncoder".
    Register(m_User, u"NoEntry", 5, platform::LibraryFileName(u"ZUPlayer"));
    Register(m_User, u"NoFile", 5, m_Scene.Folder().File(u"missing-module"));
    auto list = CEncoderPlugins::BuildEncoderList();
    for (const char16_t* pszName : {u"NoEntry", u"NoFile"}) {
        std::u16string error;
        EXPECT_FALSE(CEncoderPlugins::CreateEncoderObject(*CEncoderPlugins::Find(list, pszName), 0, error));
        EXPECT_FALSE(error.empty()) << Utf8(pszName);
    }
    const std::u16string source = m_Scene.Folder().File(u"a.wav");
    WriteFile(source, WaveFile(ToneSteps(8000, 1), 8000));
    CReaderPtr pReader(GetMusicTranscoderReader(Z(u"NoEntry"), Z(u""), 0, Z(source), Z(u"wav")));
    EXPECT_FALSE(pReader->Open()) << "a plug-in without \"CreateEncoder\" fails the open, cleanly";
}

TEST_F(EncoderPluginsTest, StoredSettingsApplyWhenTheCallerGivesNone)
{
    // Gain 0 from the per-user key's sub-key: every sample comes out silent.
    auto list = CEncoderPlugins::BuildEncoderList();
    CEncoderDescriptor& wav = *CEncoderPlugins::Find(list, u"WAV");
    wav.m_SubKey = u"Quiet";
    ASSERT_TRUE(m_User.WriteText(kEncoders + u"WAV\\Quiet", u"Settings", u"Gain=0"));
    std::u16string error;
    auto pEncoder = CEncoderPlugins::CreateEncoderObject(wav, 0, error);
    ASSERT_TRUE(pEncoder) << Utf8(error);
    const std::u16string output = m_Scene.Folder().File(u"quiet.wav");
    ASSERT_TRUE(pEncoder->Begin(Z(output), 8000, 1));
    const std::vector<int16_t> samples = ToneSteps(8000, 1);
    ASSERT_TRUE(pEncoder->Write(samples.data(), 8000));
    ASSERT_TRUE(pEncoder->End());
    const std::vector<int16_t> written = WaveSamples(ReadFile(output));
    ASSERT_EQ(8000u, written.size());
    EXPECT_TRUE(std::all_of(written.begin(), written.end(), [](int16_t s) { return s == 0; }));
    // A text the caller gives wins over the stored one.
    wav.m_Settings = u"Gain=1";
    pEncoder = CEncoderPlugins::CreateEncoderObject(wav, 0, error);
    ASSERT_TRUE(pEncoder->Begin(Z(output), 8000, 1));
    ASSERT_TRUE(pEncoder->Write(samples.data(), 8000));
    ASSERT_TRUE(pEncoder->End());
    EXPECT_EQ(samples, WaveSamples(ReadFile(output)));
}

TEST_F(EncoderPluginsTest, EncodingSettingsHaveTheirDefaults)
{
    CEncodingSettings current;
    current.nConvertMode = 7;
    CEncodingSettings settings = CEncoderPlugins::ReadEncodingSettings(current);
    EXPECT_EQ(1u, settings.bEncodeOnTheFly);
    EXPECT_EQ(7u, settings.nConvertMode);
    EXPECT_EQ(95u, settings.nNormalizationLevel);
    EXPECT_EQ(u"Windows Media", settings.encoderName);
    EXPECT_EQ(0u, settings.bEnableNormalization);
    EXPECT_EQ(1u, settings.bDeleteWaveFiles);
    ASSERT_TRUE(host::CSettings::WriteText(u"Encoding", u"Encoder Name", u"MP3"));
    ASSERT_TRUE(host::CSettings::WriteNumber(u"Encoding", u"Encoder Normalization Level", 80));
    settings = CEncoderPlugins::ReadEncodingSettings(current);
    EXPECT_EQ(u"MP3", settings.encoderName);
    EXPECT_EQ(80u, settings.nNormalizationLevel);
}

TEST_F(EncoderPluginsTest, TheSystemsOwnMachineStoreListsItsKeys)
{
    // The registry on Windows; Linux has no machine-wide store of its own (a file under /etc).
    auto pStore = platform::OpenNativeMachineSettingsStore(u"ZUReader Tests", u"Plugins Listing");
    if (!pStore)
        GTEST_SKIP() << "this system has no native machine-wide settings store";
    ASSERT_TRUE(pStore->WriteNumber(u"Plugins\\Encoders\\One", u"IVersion", 5));
    ASSERT_TRUE(pStore->WriteNumber(u"Plugins\\Encoders\\Two\\Sub", u"IVersion", 5));
    auto names = pStore->ListSubsections(u"Plugins\\Encoders");
    std::sort(names.begin(), names.end());
    EXPECT_EQ((std::vector<std::u16string>{u"One", u"Two"}), names);
}

}  // namespace
