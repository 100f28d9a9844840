// CVobFileSet: a title set's VOB files read as one space of 2048-byte sectors.
//
// Title sectors (those the cell tables name) map to absolute sectors (counted from the first
// file's start) as base + title sector. Title reading lists no menu VOB, so base is -1 and title
// sector s is read from absolute sector s - 1. Discs have long been ripped with that mapping and
// it is kept wherever it lands on a sector; a disc whose first cell starts at title sector 0 (as
// dvdauthor writes them) would have it land before the first sector, and there the first sector
// is read instead.
#pragma once

#include "platform/File.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zu::dvd {

class CVobFileSet {
public:
    struct SFile {
        std::u16string path;
        int32_t nSectors = 0;
    };
    enum class ERead { PACK, END, FAILED };

    // Takes the files in order; nMenuSectors is the menu VOB's sector count when it was listed
    // (-1 otherwise). False, with the list emptied, when a file no longer exists or none is given.
    bool Assign(std::vector<SFile> files, int32_t nMenuSectors);
    bool IsOpen() const { return !m_Files.empty(); }
    // Closes the open file; the list stays.
    void Close();

    // Moves to a title sector (held to the sector space) and answers the title sector reached:
    // the old one when the file there cannot be opened.
    int32_t Seek(int32_t nTitleSector);
    int32_t TitleSector() const { return m_nTitleSector; }
    int32_t TotalSectors() const { return m_nTotalSectors; }
    int32_t Base() const { return m_nBase; }

    // Reads the next sector into pPack (2048 bytes) and moves past it. Sectors come from the files
    // in runs of kRunSectors: one system read per sector would cost more than the reading itself.
    ERead ReadPack(uint8_t* pPack);

    static constexpr int32_t kRunSectors = 128;

private:
    int64_t AbsoluteSector(int32_t nTitleSector) const;
    // The file holding an absolute sector, opened; -1 when there is none or it cannot be opened.
    int FileOf(int64_t nAbsolute);
    // Reads the run of sectors from nAbsolute on, within its file; false when it cannot be read.
    bool FillRun(int nFile, int64_t nAbsolute);

    std::vector<SFile> m_Files;
    std::vector<int64_t> m_Starts;  // each file's first absolute sector
    int32_t m_nTotalSectors = 0;
    int32_t m_nBase = -1;
    int m_nCurrentFile = -1;
    int32_t m_nTitleSector = 0;
    zu::platform::CFile m_File;
    std::vector<uint8_t> m_Run;
    int64_t m_nRunFirst = 0;  // the absolute sector of m_Run's first
    int64_t m_nRunCount = 0;
};

}  // namespace zu::dvd
