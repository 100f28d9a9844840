#include "dvd/VideoManager.h"

#include "dvd/DiscFolder.h"
#include "platform/System.h"

namespace zu::dvd {

std::u16string CVideoManager::Folder() const
{
    const size_t nSeparator = m_Path.find_last_of(u"/\\");
    return nSeparator == std::u16string::npos ? std::u16string() : m_Path.substr(0, nSeparator + 1);
}

bool CVideoManager::Parse()
{
    m_TitleSets.clear();
    m_Titles.clear();
    SVmgHeader header;
    m_bLoaded = Load() && ReadVmgHeader(m_Data, 0, header);
    if (!m_bLoaded)
        return false;
    LoadTitleSets(header.nTitleSets);
    LoadTitles(header);
    return !m_Titles.empty();
}

// A title set that does not load stays in the list, unloaded, and ends the scan.
void CVideoManager::LoadTitleSets(int nCount)
{
    for (int n = 1; n <= nCount; ++n) {
        m_TitleSets.push_back(std::make_unique<CTitleSet>(InformationFilePath(Folder(), n), n));
        if (!m_TitleSets.back()->IsLoaded())
            break;
    }
}

// One title that cannot be made empties the list: a disc with a broken title opens with none.
void CVideoManager::LoadTitles(const SVmgHeader& header)
{
    const int64_t nTable = static_cast<int64_t>(header.nTitleTableSector) * kSectorBytes;
    STableHeader table;
    if (!ReadTableHeader(m_Data, nTable, table))
        return;
    for (int i = 0; i < table.nCount; ++i) {
        STitlePointer pointer;
        if (!ReadTitlePointer(m_Data, nTable + 8 + 12 * i, pointer) || pointer.nTitleSet == 0 ||
            pointer.nTitleSet > m_TitleSets.size())
            continue;
        m_Titles.push_back(std::make_unique<CDVDTitle>());
        if (!m_Titles.back()->Init(pointer, *m_TitleSets[pointer.nTitleSet - 1])) {
            m_Titles.clear();
            return;
        }
    }
}

}  // namespace zu::dvd
