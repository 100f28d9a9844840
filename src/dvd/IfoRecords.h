// The records of DVD-Video information files that the disc model reads, each copied out of the
// file's bytes with its big-endian fields turned to numbers. A record that does not lie wholly
// inside the bytes (a negative offset included) is not read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zu::dvd {

using CBytes = std::vector<uint8_t>;

constexpr int64_t kSectorBytes = 2048;

uint16_t BigEndian16(const uint8_t* p);
uint32_t BigEndian32(const uint8_t* p);
// True when nSize bytes at nOffset lie wholly inside data.
bool InsideBytes(const CBytes& data, int64_t nOffset, size_t nSize);
// Copies nSize bytes at nOffset into pRecord; false when they are not all inside data.
bool CopyRecord(const CBytes& data, int64_t nOffset, size_t nSize, uint8_t* pRecord);

struct SVmgHeader {
    static constexpr size_t kSize = 348;
    uint16_t nTitleSets = 0;
    uint32_t nTitleTableSector = 0;
};
// False also when the identifier is not "DVDVIDEO-VMG".
bool ReadVmgHeader(const CBytes& data, int64_t nOffset, SVmgHeader& header);

struct SVtsHeader {
    static constexpr size_t kSize = 816;
    uint32_t nChapterTableSector = 0;
    uint32_t nPgcTableSector = 0;
    // In disc order: the counts' low bytes are the second ones.
    uint8_t video[2] = {};
    uint8_t audioCount[2] = {};
    uint8_t audio[8][8] = {};
    uint8_t subpictureCount[2] = {};
    uint8_t subpicture[32][6] = {};
    int AudioCount() const { return audioCount[1]; }
    int SubpictureCount() const { return subpictureCount[1]; }
};
// False also when the identifier is not "DVDVIDEO-VTS" or a stream count is out of range.
bool ReadVtsHeader(const CBytes& data, int64_t nOffset, SVtsHeader& header);

struct STableHeader {
    static constexpr size_t kSize = 8;
    uint16_t nCount = 0;
    uint32_t nEnd = 0;  // the offset of the table's last byte from its start
};
bool ReadTableHeader(const CBytes& data, int64_t nOffset, STableHeader& header);
// A table header whose count is 1 to 99 and whose end lies past the header, below 4 MiB.
bool ReadChapterTableHeader(const CBytes& data, int64_t nOffset, STableHeader& header);

struct STitlePointer {
    static constexpr size_t kSize = 12;
    uint16_t nChapters = 0;
    uint8_t nTitleSet = 0;
    uint8_t nTitle = 0;  // within its title set
    uint32_t nStartSector = 0;
};
bool ReadTitlePointer(const CBytes& data, int64_t nOffset, STitlePointer& pointer);

struct SPgcPointer {
    static constexpr size_t kSize = 8;
    uint16_t nParentalMask = 0;
    uint32_t nOffset = 0;  // from the program chain table's start
};
bool ReadPgcPointer(const CBytes& data, int64_t nOffset, SPgcPointer& pointer);

struct SProgramChain {
    static constexpr size_t kSize = 236;
    uint8_t nPrograms = 0;
    uint8_t nCells = 0;
    uint16_t nProgramMap = 0;    // offsets from the chain's start
    uint16_t nCellPlayback = 0;
};
bool ReadProgramChain(const CBytes& data, int64_t nOffset, SProgramChain& chain);

struct SCellPlayback {
    static constexpr size_t kSize = 24;
    uint8_t playbackTime[4] = {};  // BCD hours, minutes, seconds, frames, as stored
    uint32_t nFirstStart = 0;      // first VOBU start sector
    uint32_t nFirstIlvuEnd = 0;
    uint32_t nLastStart = 0;       // last VOBU start sector
    uint32_t nLastEnd = 0;         // last VOBU end sector
};
bool ReadCellPlayback(const CBytes& data, int64_t nOffset, SCellPlayback& cell);

}  // namespace zu::dvd
