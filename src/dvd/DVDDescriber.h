// The rip description of a disc folder, so that a host needs no information-file parser of its
// own to drive the DVD reader: every title with its number, duration in whole seconds (the sum of
// its chapters' entry cells, which is what the reader delivers), "TotalBytes" (its sectors times
// 2048, the figure the reader's positions use) and its audio streams as display texts
// ("English (AC3, 2 ch)"); the longest title selected, with its first audio stream.
#pragma once

#include <cstdint>
#include <string>

namespace zu::dvd {

struct SDVDChapter;

// folder is a VIDEO_TS folder or the folder holding one; empty text when it holds no readable disc.
std::u16string DescribeDVD(const std::u16string& folder);

// A chapter's playback time in milliseconds, from its BCD hours, minutes, seconds and frames (the
// frame rate in the frame byte's top bits: 25 or 30 per second).
int64_t PlaybackMilliseconds(const uint8_t* pTime);

}  // namespace zu::dvd
