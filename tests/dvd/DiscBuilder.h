// Byte-level builders of DVD-Video folders for the DVD tests: information files laid out the way
// discs lay them out, with every field the parser reads set from a small model, and VOB files of
// marked packs. Tests change single bytes of what a builder makes to show each rejection rule.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zutest::dvd {

struct SCell {
    uint32_t nFirst = 0;  // first VOBU start sector
    uint32_t nLast = 0;   // last VOBU end sector
    uint8_t seconds = 1;  // playback time, BCD seconds (25 frames a second)
};

struct SProgramChain {
    std::vector<uint8_t> programs;  // the entry cell of each program (1-based)
    std::vector<SCell> cells;
};

struct STitleSetModel {
    std::vector<SProgramChain> chains;
    // Per title in the set: its chapters as (program chain number, program number).
    std::vector<std::vector<std::pair<uint16_t, uint16_t>>> titles;
    std::vector<std::string> audioLanguages{"en", "de"};  // one audio stream each
    int nSubpictures = 1;
};

// Byte offsets the rejection tests change.
enum : size_t {
    kVtsAudioCountLow = 0x203,
    kVtsSubpictureCountLow = 0x255,
    kVtsMenuAudioCountLow = 0x103,
    kVtsMenuSubpictureCountLow = 0x155,
    kChapterTable = 2048,  // the chapter search pointer table's start in a title set's file
    kPgcTable = 4096,      // the program chain table's start
    kTitleTable = 2048,    // the title search pointer table's start in VIDEO_TS.IFO
};

// VTS_nn_0.IFO for a title set.
std::string TitleSetFile(const STitleSetModel& model);
// VIDEO_TS.IFO listing every title of the sets in order (title set number, title number).
std::string ManagerFile(const std::vector<STitleSetModel>& sets);

// A 2048-byte pack: a pack header, then one packet of the stream (with the sub-stream for 0xBD),
// and nMark in its last four bytes. A stream id 0 makes a pack without a pack start code.
std::string Pack(uint8_t nStream, uint8_t nSubStream, uint32_t nMark);
// The sub-stream id a pack of Pack(0xBD, ...) carries (where the filter rewrites it).
constexpr size_t kSubStreamOffset = 14 + 9 + 5;
uint32_t MarkOf(const std::string& pack);

// Writes VIDEO_TS/ with the information files and, per title set, VTS_nn_1.VOB of nSectors packs
// marked with their absolute sector: video, then audio 0, audio 1 and a navigation pack in turn.
// Answers the VIDEO_TS folder with its separator.
std::u16string WriteDisc(const std::u16string& root, const std::vector<STitleSetModel>& sets, uint32_t nSectors);
// What WriteDisc puts at an absolute sector: 0xE0, 0x80, 0x81 (audio) or 0xBB (navigation).
uint8_t StreamAtSector(uint32_t nSector);

}  // namespace zutest::dvd
