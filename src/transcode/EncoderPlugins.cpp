#include "transcode/EncoderPlugins.h"

#include "host/Settings.h"
#include "host/SiblingLibraries.h"
#include "platform/DynamicLibrary.h"
#include "platform/File.h"

#include <algorithm>

namespace zu::transcode {
namespace {

constexpr uint32_t kAbsentVersion = 0xFFFFFFFFu;

uint32_t VersionIn(platform::VSettingsStore& store, const std::u16string& section)
{
    uint32_t nVersion = kAbsentVersion;
    return store.ReadNumber(section, u"IVersion", nVersion) ? nVersion : kAbsentVersion;
}

bool InRange(uint32_t nVersion, uint32_t nLowest, uint32_t nHighest)
{
    return nVersion != kAbsentVersion && nVersion >= nLowest && nVersion <= nHighest;
}

}  // namespace

const char16_t* const CEncoderPlugins::kEncoderCategory = u"Encoders";
const char16_t* const CEncoderPlugins::kEncodingSection = u"Encoding";

std::u16string CEncoderPlugins::CategorySection(const std::u16string& category)
{
    return u"Plugins\\" + category;
}

void CEncoderPlugins::EnumeratePlugins(const std::u16string& category, std::vector<std::u16string>& names,
                                       bool bIncludeMachine)
{
    for (auto& name : host::CSettings::Store().ListSubsections(CategorySection(category)))
        names.push_back(std::move(name));
    if (!bIncludeMachine)
        return;
    for (auto& name : host::CSettings::MachineStore().ListSubsections(CategorySection(category)))
        if (std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(std::move(name));
}

CEncoderPlugins::CPluginKey CEncoderPlugins::OpenPluginKey(const std::u16string& category,
                                                           const std::u16string& name, uint32_t nLowest,
                                                           uint32_t nHighest)
{
    const std::u16string section = CategorySection(category) + u"\\" + name;
    for (platform::VSettingsStore* pStore : {&host::CSettings::Store(), &host::CSettings::MachineStore()})
        if (InRange(VersionIn(*pStore, section), nLowest, nHighest))
            return {pStore, section};
    return {};
}

std::vector<std::unique_ptr<CEncoderDescriptor>> CEncoderPlugins::BuildEncoderList()
{
    std::vector<std::u16string> names;
    EnumeratePlugins(kEncoderCategory, names, true);
    std::vector<std::unique_ptr<CEncoderDescriptor>> list;
    for (const auto& name : names) {
        const CPluginKey key = OpenPluginKey(kEncoderCategory, name, kEncoderVersion, kEncoderVersion);
        if (!key)
            continue;
        std::u16string path;
        key.pStore->ReadText(key.section, u"Path", path);
        uint32_t nIndex = 0;
        key.pStore->ReadNumber(key.section, u"Index", nIndex);
        list.push_back(std::make_unique<CEncoderDescriptor>(name, path, nIndex));
    }
    return list;
}

CEncoderDescriptor* CEncoderPlugins::Find(const std::vector<std::unique_ptr<CEncoderDescriptor>>& list,
                                          const std::u16string& name)
{
    for (const auto& pDescriptor : list)
        if (pDescriptor->GetName() == name)
            return pDescriptor.get();
    return nullptr;
}

TProviderPtr<VAudioEncoder> CEncoderPlugins::CreateEncoderObject(CEncoderDescriptor& descriptor, uint32_t nArgument,
                                                                 std::u16string& error)
{
    std::u16string settings = descriptor.m_Settings;
    if (settings.empty()) {
        std::u16string section = CategorySection(kEncoderCategory) + u"\\" + descriptor.GetName();
        if (!descriptor.m_SubKey.empty())
            section += u"\\" + descriptor.m_SubKey;
        settings = host::CSettings::ReadText(section, u"Settings");
    }
    return descriptor.CreateEncoder(settings, nArgument, error);
}

CEncodingSettings CEncoderPlugins::ReadEncodingSettings(const CEncodingSettings& current)
{
    CEncodingSettings settings;
    settings.bEncodeOnTheFly = host::CSettings::ReadNumber(kEncodingSection, u"Encode On The Fly", 1);
    settings.nConvertMode = host::CSettings::ReadNumber(kEncodingSection, u"Convert Mode", current.nConvertMode);
    settings.nNormalizationLevel = host::CSettings::ReadNumber(kEncodingSection, u"Encoder Normalization Level", 95);
    settings.encoderName = host::CSettings::ReadText(kEncodingSection, u"Encoder Name", current.encoderName);
    settings.bEnableNormalization = host::CSettings::ReadNumber(kEncodingSection, u"Encoder Enable Normalization", 0);
    settings.bDeleteWaveFiles = host::CSettings::ReadNumber(kEncodingSection, u"Delete Wave Files", 1);
    if (settings.encoderName.empty())
        settings.encoderName = u"Windows Media";
    return settings;
}

bool CEncoderPlugins::RegisterEncoder(const std::u16string& name, const std::u16string& modulePath, uint32_t nIndex,
                                      bool bMachineWide)
{
    platform::VSettingsStore& store = bMachineWide ? host::CSettings::MachineStore() : host::CSettings::Store();
    const std::u16string section = CategorySection(kEncoderCategory) + u"\\" + name;
    return store.WriteNumber(section, u"IVersion", kEncoderVersion) && store.WriteText(section, u"Path", modulePath) &&
           store.WriteNumber(section, u"Index", nIndex);
}

uint32_t CEncoderPlugins::RegisterInstalledEncoders(bool bMachineWide)
{
    struct CShipped {
        const char16_t* pszModule;
        const char16_t* pszName;
        uint32_t nIndex;
    };
    // The FFmpeg module (Linux) holds four encoders; the simple module one.
    static const CShipped kShipped[] = {{u"ZUEncoders", u"MP3", 0},    {u"ZUEncoders", u"AAC", 1},
                                        {u"ZUEncoders", u"FLAC", 2},   {u"ZUEncoders", u"WAV", 3},
                                        {u"ZUWaveEncoder", u"WAV", 0}};
    uint32_t nRegistered = 0;
    for (const CShipped& shipped : kShipped) {
        const std::u16string file = platform::LibraryFileName(shipped.pszModule);
        if (platform::FileSizeByName(host::CSiblingLibraries::ProviderFolder() + file) < 0)
            continue;
        if (!RegisterEncoder(shipped.pszName, file, shipped.nIndex, bMachineWide))
            return nRegistered;
        ++nRegistered;
    }
    return nRegistered;
}

}  // namespace zu::transcode
