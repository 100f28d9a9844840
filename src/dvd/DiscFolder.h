// The files of a DVD-Video folder: where a title set's information file is, which VOB files belong
// to an information file, and how many sectors a whole disc folder holds.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zu::dvd {

class CVobFileSet;

// n = 0: the folder's VIDEO_TS.IFO; n from 1: its VTS_nn_0.IFO. folder ends in a separator. Empty
// when the file does not exist (names compare case-blind).
std::u16string InformationFilePath(const std::u16string& folder, int n);

// Hands the VOB files of an information file, from part nFirstPart on (1 leaves out the menu VOB),
// to fileSet, with the menu VOB's sectors when part 0 was listed. False when the file is no
// information file, a VOB's size is not a whole number of sectors, or fileSet refuses the list.
bool ListTitleVobs(const std::u16string& ifoPath, CVobFileSet& fileSet, int nFirstPart);

struct SDiscCount {
    int64_t nSectors = 0;
    std::vector<std::u16string> files;  // the information files met
};
// The sectors of every VOB of a disc folder (the folder holding VIDEO_TS, with its separator).
SDiscCount CountDiscSectors(const std::u16string& discFolder);

}  // namespace zu::dvd
