// The table of sibling libraries loaded into the application, each entry with what releases it.
// The library's own entry is released by the last ZUReaderUninitialize.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace zu::host {

class CModuleTable {
public:
    using CRelease = std::function<void()>;

    static CModuleTable& Instance();

    // Adds an entry, or keeps the existing one of that name.
    void Register(const std::u16string& name, CRelease release = {});
    bool Contains(const std::u16string& name) const;
    // Runs the entry's release and removes it; false when there was no such entry.
    bool Release(const std::u16string& name);

private:
    mutable std::mutex m_Lock;
    std::map<std::u16string, CRelease> m_Entries;
};

}  // namespace zu::host
