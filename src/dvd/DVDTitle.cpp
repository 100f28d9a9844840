#include "dvd/DVDTitle.h"

#include "dvd/TitleSet.h"

#include <cstring>

namespace zu::dvd {

bool CDVDTitle::Init(const STitlePointer& pointer, const CTitleSet& titleSet)
{
    m_nTitleSet = pointer.nTitleSet;
    m_nTitle = pointer.nTitle;
    m_pTitleSet = &titleSet;
    MakeAttributes(titleSet.Header());
    MakeChapters(titleSet);
    MakeRegions();
    return !m_Chapters.empty();
}

void CDVDTitle::MakeAttributes(const SVtsHeader& header)
{
    m_Video.assign(1, CStreamAttributes::Video(header.video));
    m_Audio.clear();
    m_Subpictures.clear();
    for (int i = 0; i < header.AudioCount(); ++i)
        m_Audio.push_back(CStreamAttributes::Audio(header.audio[i], i));
    for (int i = 0; i < header.SubpictureCount(); ++i)
        m_Subpictures.push_back(CStreamAttributes::Subpicture(header.subpicture[i], i));
}

void CDVDTitle::MakeChapters(const CTitleSet& titleSet)
{
    m_Chapters.clear();
    const CBytes& data = titleSet.Data();
    const int64_t nTable = static_cast<int64_t>(titleSet.Header().nChapterTableSector) * kSectorBytes;
    STableHeader table;
    if (!ReadChapterTableHeader(data, nTable, table) || m_nTitle < 1 || m_nTitle > table.nCount)
        return;
    uint8_t raw[4];
    if (!CopyRecord(data, nTable + 8 + 4 * (m_nTitle - 1), 4, raw))
        return;
    const int64_t nStart = BigEndian32(raw);
    int64_t nEnd = table.nEnd;
    if (m_nTitle < table.nCount) {
        if (!CopyRecord(data, nTable + 8 + 4 * m_nTitle, 4, raw))
            return;
        nEnd = static_cast<int64_t>(BigEndian32(raw)) - 1;
    }
    const int64_t nEntries = (nEnd - nStart + 1) / 4;
    // Entries lie at rising offsets: past the file's end none can be read any more, however many
    // the table's offsets promise (up to a billion).
    for (int64_t k = 0; k < nEntries && CopyRecord(data, nTable + nStart + 4 * k, 4, raw); ++k) {
        SDVDChapter chapter;
        chapter.nChapterNumber = static_cast<int>(k + 1);
        if (MakeChapter(titleSet, BigEndian16(raw), BigEndian16(raw + 2), chapter))
            m_Chapters.push_back(chapter);
    }
}

// Only the program's entry cell counts: later cells of the same program are not part of it.
bool CDVDTitle::MakeChapter(const CTitleSet& titleSet, int nPgc, int nProgram, SDVDChapter& chapter) const
{
    const std::vector<int64_t>& offsets = titleSet.PgcOffsets();
    if (nPgc < 1 || nPgc > static_cast<int>(offsets.size()))
        return false;
    const CBytes& data = titleSet.Data();
    const int64_t nChain = offsets[nPgc - 1];
    SProgramChain chain;
    if (!ReadProgramChain(data, nChain, chain) || nProgram < 1 || nProgram > chain.nPrograms)
        return false;
    uint8_t map[256];
    if (!CopyRecord(data, nChain + chain.nProgramMap, chain.nPrograms, map))
        return false;
    const int nEntryCell = map[nProgram - 1];
    if (nEntryCell < 1 || nEntryCell > chain.nCells ||
        !InsideBytes(data, nChain + chain.nCellPlayback, SCellPlayback::kSize * chain.nCells))
        return false;
    SCellPlayback cell;
    if (!ReadCellPlayback(data, nChain + chain.nCellPlayback + SCellPlayback::kSize * (nEntryCell - 1), cell))
        return false;
    std::memcpy(chapter.playbackTime, cell.playbackTime, sizeof chapter.playbackTime);
    chapter.nPgcNumber = nPgc;
    chapter.nProgramNumber = nProgram;
    chapter.nFirstSector = cell.nFirstStart;
    chapter.nSectorCount = cell.nLastEnd - cell.nFirstStart + 1;
    return true;
}

void CDVDTitle::MakeRegions()
{
    m_Regions.clear();
    const SDVDChapter* pPrevious = nullptr;
    for (const SDVDChapter& chapter : m_Chapters) {
        if (!pPrevious || chapter.nFirstSector != pPrevious->nFirstSector + pPrevious->nSectorCount)
            m_Regions.push_back(SDVDRegion{chapter.nFirstSector, 0});
        m_Regions.back().nSectorCount += chapter.nSectorCount;
        pPrevious = &chapter;
    }
}

bool CDVDTitle::GetRegion(int nIndex, uint32_t& nFirst, uint32_t& nLast) const
{
    nFirst = nLast = 0;
    if (nIndex < 0 || nIndex >= static_cast<int>(m_Regions.size()))
        return false;
    nFirst = m_Regions[nIndex].nFirstSector;
    nLast = nFirst + m_Regions[nIndex].nSectorCount - 1;
    return true;
}

const CStreamAttributes* CDVDTitle::GetStreamAttributes(int nKind, int nIndex) const
{
    const std::vector<CStreamAttributes>* pList = nKind == CStreamAttributes::VIDEO   ? &m_Video
                                                  : nKind == CStreamAttributes::AUDIO ? &m_Audio
                                                  : nKind == CStreamAttributes::SUBPICTURE ? &m_Subpictures
                                                                                           : nullptr;
    if (!pList || nIndex < 0 || nIndex >= static_cast<int>(pList->size()))
        return nullptr;
    return &(*pList)[nIndex];
}

}  // namespace zu::dvd
