#include "dvd/IfoRecords.h"

#include <cstring>

namespace zu::dvd {

uint16_t BigEndian16(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] << 8 | p[1]);
}

uint32_t BigEndian32(const uint8_t* p)
{
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 | static_cast<uint32_t>(p[2]) << 8 |
           p[3];
}

bool InsideBytes(const CBytes& data, int64_t nOffset, size_t nSize)
{
    return nOffset >= 0 && nOffset <= static_cast<int64_t>(data.size()) &&
           static_cast<int64_t>(data.size()) - nOffset >= static_cast<int64_t>(nSize);
}

bool CopyRecord(const CBytes& data, int64_t nOffset, size_t nSize, uint8_t* pRecord)
{
    if (!InsideBytes(data, nOffset, nSize))
        return false;
    std::memcpy(pRecord, data.data() + nOffset, nSize);
    return true;
}

bool ReadVmgHeader(const CBytes& data, int64_t nOffset, SVmgHeader& header)
{
    uint8_t raw[SVmgHeader::kSize];
    if (!CopyRecord(data, nOffset, sizeof raw, raw) || std::memcmp(raw, "DVDVIDEO-VMG", 12) != 0)
        return false;
    header.nTitleSets = BigEndian16(raw + 0x3E);
    header.nTitleTableSector = BigEndian32(raw + 0xC4);
    return true;
}

bool ReadVtsHeader(const CBytes& data, int64_t nOffset, SVtsHeader& header)
{
    uint8_t raw[SVtsHeader::kSize];
    if (!CopyRecord(data, nOffset, sizeof raw, raw) || std::memcmp(raw, "DVDVIDEO-VTS", 12) != 0)
        return false;
    // Menu audio, menu sub-picture, title audio and title sub-picture counts (low bytes).
    if (raw[0x103] >= 9 || raw[0x155] >= 2 || raw[0x203] >= 9 || raw[0x255] >= 33)
        return false;
    header.nChapterTableSector = BigEndian32(raw + 0xC8);
    header.nPgcTableSector = BigEndian32(raw + 0xCC);
    std::memcpy(header.video, raw + 0x200, sizeof header.video);
    std::memcpy(header.audioCount, raw + 0x202, sizeof header.audioCount);
    std::memcpy(header.audio, raw + 0x204, sizeof header.audio);
    std::memcpy(header.subpictureCount, raw + 0x254, sizeof header.subpictureCount);
    std::memcpy(header.subpicture, raw + 0x256, sizeof header.subpicture);
    return true;
}

bool ReadTableHeader(const CBytes& data, int64_t nOffset, STableHeader& header)
{
    uint8_t raw[STableHeader::kSize];
    if (!CopyRecord(data, nOffset, sizeof raw, raw))
        return false;
    header.nCount = BigEndian16(raw);
    header.nEnd = BigEndian32(raw + 4);
    return true;
}

bool ReadChapterTableHeader(const CBytes& data, int64_t nOffset, STableHeader& header)
{
    return ReadTableHeader(data, nOffset, header) && header.nCount >= 1 && header.nCount <= 99 && header.nEnd > 8 &&
           header.nEnd < 0x400000;
}

bool ReadTitlePointer(const CBytes& data, int64_t nOffset, STitlePointer& pointer)
{
    uint8_t raw[STitlePointer::kSize];
    if (!CopyRecord(data, nOffset, sizeof raw, raw))
        return false;
    pointer.nChapters = BigEndian16(raw + 2);
    pointer.nTitleSet = raw[6];
    pointer.nTitle = raw[7];
    pointer.nStartSector = BigEndian32(raw + 8);
    return true;
}

bool ReadPgcPointer(const CBytes& data, int64_t nOffset, SPgcPointer& pointer)
{
    uint8_t raw[SPgcPointer::kSize];
    if (!CopyRecord(data, nOffset, sizeof raw, raw))
        return false;
    pointer.nParentalMask = BigEndian16(raw + 2);
    pointer.nOffset = BigEndian32(raw + 4);
    return true;
}

bool ReadProgramChain(const CBytes& data, int64_t nOffset, SProgramChain& chain)
{
    uint8_t raw[SProgramChain::kSize];
    if (!CopyRecord(data, nOffset, sizeof raw, raw))
        return false;
    chain.nPrograms = raw[2];
    chain.nCells = raw[3];
    chain.nProgramMap = BigEndian16(raw + 0xE6);
    chain.nCellPlayback = BigEndian16(raw + 0xE8);
    return true;
}

bool ReadCellPlayback(const CBytes& data, int64_t nOffset, SCellPlayback& cell)
{
    uint8_t raw[SCellPlayback::kSize];
    if (!CopyRecord(data, nOffset, sizeof raw, raw))
        return false;
    std::memcpy(cell.playbackTime, raw + 4, sizeof cell.playbackTime);
    cell.nFirstStart = BigEndian32(raw + 8);
    cell.nFirstIlvuEnd = BigEndian32(raw + 0x0C);
    cell.nLastStart = BigEndian32(raw + 0x10);
    cell.nLastEnd = BigEndian32(raw + 0x14);
    return true;
}

}  // namespace zu::dvd
