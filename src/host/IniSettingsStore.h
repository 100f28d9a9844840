// A settings store kept in one INI-style UTF-8 file: "[section]" lines followed by "name=value"
// lines. Every write rewrites the whole file through a temporary file and a rename, so a reader in
// another process sees either the old or the new file, never half of one.
#pragma once

#include "platform/SettingsStore.h"

#include <map>
#include <mutex>

namespace zu::host {

class CIniSettingsStore final : public platform::VSettingsStore {
public:
    explicit CIniSettingsStore(std::u16string path);

    bool HasSection(const std::u16string& section) override;
    bool ReadText(const std::u16string& section, const std::u16string& name, std::u16string& value) override;
    bool ReadNumber(const std::u16string& section, const std::u16string& name, uint32_t& value) override;
    bool WriteText(const std::u16string& section, const std::u16string& name, const std::u16string& value) override;
    bool WriteNumber(const std::u16string& section, const std::u16string& name, uint32_t value) override;
    bool DeleteValue(const std::u16string& section, const std::u16string& name) override;
    std::vector<std::u16string> ListSubsections(const std::u16string& section) override;

    const std::u16string& GetPath() const { return m_Path; }

private:
    using CSection = std::map<std::string, std::string>;
    using CContents = std::map<std::string, CSection>;

    // Another process may have changed the file: every operation starts from what is on disk.
    CContents Load() const;
    bool Save(const CContents& contents) const;

    std::u16string m_Path;
    std::mutex m_Lock;
};

}  // namespace zu::host
