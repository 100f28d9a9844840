#include "host/ModuleTable.h"

namespace zu::host {

CModuleTable& CModuleTable::Instance()
{
    static CModuleTable table;
    return table;
}

void CModuleTable::Register(const std::u16string& name, CRelease release)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    m_Entries.emplace(name, std::move(release));
}

bool CModuleTable::Contains(const std::u16string& name) const
{
    std::lock_guard<std::mutex> lock(m_Lock);
    return m_Entries.count(name) != 0;
}

bool CModuleTable::Release(const std::u16string& name)
{
    CRelease release;
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        const auto pEntry = m_Entries.find(name);
        if (pEntry == m_Entries.end())
            return false;
        release = std::move(pEntry->second);
        m_Entries.erase(pEntry);
    }
    // Released outside the lock: a release may unload a library that calls back into the table.
    if (release)
        release();
    return true;
}

}  // namespace zu::host
