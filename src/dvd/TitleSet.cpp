#include "dvd/TitleSet.h"

namespace zu::dvd {

CTitleSet::CTitleSet(std::u16string path, int nNumber) : CIfoFile(std::move(path)), m_nNumber(nNumber)
{
    m_bLoaded = Load() && Parse();
}

bool CTitleSet::Parse()
{
    m_PgcOffsets.clear();
    if (!ReadVtsHeader(m_Data, 0, m_Header))
        return false;
    const int64_t nTable = static_cast<int64_t>(m_Header.nPgcTableSector) * kSectorBytes;
    STableHeader table;
    if (!ReadTableHeader(m_Data, nTable, table) || table.nCount == 0)
        return false;
    for (int64_t i = 0; i < table.nCount; ++i) {
        const int64_t nRelative = 8 + 8 * i;
        if (nRelative > table.nEnd)
            break;
        SPgcPointer pointer;
        if (ReadPgcPointer(m_Data, nTable + nRelative, pointer))
            m_PgcOffsets.push_back(nTable + pointer.nOffset);
    }
    return !m_PgcOffsets.empty();
}

}  // namespace zu::dvd
