#include "DiscBuilder.h"

#include "TestSupport.h"

#include "platform/File.h"
#include "platform/System.h"

#include <cstring>

namespace zutest::dvd {

namespace {

void Put16(std::string& bytes, size_t nOffset, uint32_t nValue)
{
    if (bytes.size() < nOffset + 2)
        bytes.resize(nOffset + 2);
    bytes[nOffset] = static_cast<char>(nValue >> 8);
    bytes[nOffset + 1] = static_cast<char>(nValue);
}

void Put32(std::string& bytes, size_t nOffset, uint32_t nValue)
{
    Put16(bytes, nOffset, nValue >> 16);
    Put16(bytes, nOffset + 2, nValue & 0xFFFF);
}

void PutBytes(std::string& bytes, size_t nOffset, const std::string& text)
{
    if (bytes.size() < nOffset + text.size())
        bytes.resize(nOffset + text.size());
    bytes.replace(nOffset, text.size(), text);
}

uint8_t Bcd(int nValue)
{
    return static_cast<uint8_t>(nValue / 10 << 4 | nValue % 10);
}

std::string SectorPadded(std::string bytes)
{
    bytes.resize((bytes.size() + 2047) / 2048 * 2048);
    return bytes;
}

// Chains laid out one after another after the table's search pointers.
void WritePgcTable(std::string& file, const STitleSetModel& model)
{
    const size_t nChains = model.chains.size();
    size_t nChain = 8 + 8 * nChains;
    Put16(file, kPgcTable, static_cast<uint32_t>(nChains));
    for (size_t i = 0; i < nChains; ++i) {
        const SProgramChain& chain = model.chains[i];
        Put32(file, kPgcTable + 8 + 8 * i, 0x81000000u + static_cast<uint32_t>(i));
        Put32(file, kPgcTable + 8 + 8 * i + 4, static_cast<uint32_t>(nChain));
        const size_t nAt = kPgcTable + nChain;
        file.resize(std::max(file.size(), nAt + 236));
        file[nAt + 2] = static_cast<char>(chain.programs.size());
        file[nAt + 3] = static_cast<char>(chain.cells.size());
        const size_t nMap = 236;
        const size_t nCells = nMap + (chain.programs.size() + 1) / 2 * 2;
        Put16(file, nAt + 0xE6, static_cast<uint32_t>(nMap));
        Put16(file, nAt + 0xE8, static_cast<uint32_t>(nCells));
        PutBytes(file, nAt + nMap, std::string(chain.programs.begin(), chain.programs.end()));
        for (size_t c = 0; c < chain.cells.size(); ++c) {
            const size_t nCell = nAt + nCells + 24 * c;
            const SCell& cell = chain.cells[c];
            PutBytes(file, nCell + 4, std::string{0, 0, static_cast<char>(Bcd(cell.seconds)), 0x40});
            Put32(file, nCell + 8, cell.nFirst);
            Put32(file, nCell + 0x10, cell.nLast);
            Put32(file, nCell + 0x14, cell.nLast);
        }
        nChain += nCells + 24 * chain.cells.size();
    }
    Put32(file, kPgcTable + 4, static_cast<uint32_t>(nChain - 1));
}

void WriteChapterTable(std::string& file, const STitleSetModel& model)
{
    const size_t nTitles = model.titles.size();
    Put16(file, kChapterTable, static_cast<uint32_t>(nTitles));
    size_t nEntry = 8 + 4 * nTitles;
    for (size_t t = 0; t < nTitles; ++t) {
        Put32(file, kChapterTable + 8 + 4 * t, static_cast<uint32_t>(nEntry));
        for (const auto& chapter : model.titles[t]) {
            Put16(file, kChapterTable + nEntry, chapter.first);
            Put16(file, kChapterTable + nEntry + 2, chapter.second);
            nEntry += 4;
        }
    }
    Put32(file, kChapterTable + 4, static_cast<uint32_t>(nEntry - 1));
}

}  // namespace

std::string TitleSetFile(const STitleSetModel& model)
{
    std::string file(6144, '\0');
    PutBytes(file, 0, "DVDVIDEO-VTS");
    Put32(file, 0xC8, kChapterTable / 2048);
    Put32(file, 0xCC, kPgcTable / 2048);
    file[0x200] = 0x51;  // PAL, 4:3
    Put16(file, 0x202, static_cast<uint32_t>(model.audioLanguages.size()));
    for (size_t i = 0; i < model.audioLanguages.size(); ++i) {
        const size_t nBlock = 0x204 + 8 * i;
        file[nBlock] = 0x04;  // AC-3 coding bits 0, language present
        file[nBlock + 1] = 0x01;  // 48 kHz, two channels
        PutBytes(file, nBlock + 2, model.audioLanguages[i]);
    }
    Put16(file, 0x254, static_cast<uint32_t>(model.nSubpictures));
    for (int i = 0; i < model.nSubpictures; ++i)
        PutBytes(file, 0x256 + 6 * i + 2, "fr");
    WriteChapterTable(file, model);
    WritePgcTable(file, model);
    return SectorPadded(file);
}

std::string ManagerFile(const std::vector<STitleSetModel>& sets)
{
    std::string file(4096, '\0');
    PutBytes(file, 0, "DVDVIDEO-VMG");
    Put16(file, 0x3E, static_cast<uint32_t>(sets.size()));
    Put32(file, 0xC4, kTitleTable / 2048);
    size_t nTitles = 0;
    for (size_t s = 0; s < sets.size(); ++s) {
        for (size_t t = 0; t < sets[s].titles.size(); ++t) {
            const size_t nAt = kTitleTable + 8 + 12 * nTitles++;
            Put16(file, nAt + 2, static_cast<uint32_t>(sets[s].titles[t].size()));
            file[nAt + 6] = static_cast<char>(s + 1);
            file[nAt + 7] = static_cast<char>(t + 1);
        }
    }
    Put16(file, kTitleTable, static_cast<uint32_t>(nTitles));
    Put32(file, kTitleTable + 4, static_cast<uint32_t>(8 + 12 * nTitles - 1));
    return SectorPadded(file);
}

std::string Pack(uint8_t nStream, uint8_t nSubStream, uint32_t nMark)
{
    std::string pack(2048, '\x55');
    PutBytes(pack, 0, std::string{0, 0, 1, static_cast<char>(nStream == 0 ? 0xB9 : 0xBA)});
    pack[13] = static_cast<char>(0xF8);  // no pack stuffing
    PutBytes(pack, 14, std::string{0, 0, 1, static_cast<char>(nStream)});
    Put16(pack, 18, 2048 - 14 - 6);
    if (nStream == 0xBD) {
        pack[22] = static_cast<char>(0x81);
        pack[14 + 8] = 5;  // header data length
        pack[kSubStreamOffset] = static_cast<char>(nSubStream);
    }
    Put32(pack, 2044, nMark);
    return pack;
}

uint32_t MarkOf(const std::string& pack)
{
    const auto* p = reinterpret_cast<const uint8_t*>(pack.data()) + 2044;
    return static_cast<uint32_t>(p[0]) << 24 | p[1] << 16 | p[2] << 8 | p[3];
}

uint8_t StreamAtSector(uint32_t nSector)
{
    static const uint8_t kStreams[] = {0xE0, 0x80, 0x81, 0xBB};
    return kStreams[nSector % 4];
}

std::u16string WriteDisc(const std::u16string& root, const std::vector<STitleSetModel>& sets, uint32_t nSectors)
{
    const std::u16string folder = root + u"VIDEO_TS" + zu::platform::PathSeparator();
    zu::platform::MakeFolder(root + u"VIDEO_TS");
    WriteFile(folder + u"VIDEO_TS.IFO", ManagerFile(sets));
    for (size_t s = 0; s < sets.size(); ++s) {
        const std::string number = (s + 1 < 10 ? "0" : "") + std::to_string(s + 1);
        const std::u16string base = folder + u"VTS_" + std::u16string(number.begin(), number.end());
        WriteFile(base + u"_0.IFO", TitleSetFile(sets[s]));
        std::string vob;
        for (uint32_t n = 0; n < nSectors; ++n) {
            const uint8_t nStream = StreamAtSector(n);
            vob += nStream == 0xE0 || nStream == 0xBB ? Pack(nStream, 0, n) : Pack(0xBD, nStream, n);
        }
        WriteFile(base + u"_1.VOB", vob);
    }
    return folder;
}

}  // namespace zutest::dvd
