// VDVDReader (type 12, from GetDVDReader): one title of a DVD-Video folder read as a stream of
// 2048-byte MPEG program-stream packs: the title's video and one of its audio streams, the audio
// always as sub-stream 0x80. The reader is made from a rip description (ZUDescribeDVD writes one for
// a folder), whose "DVDVideoInfo" section names the disc's VIDEO_TS.IFO and marks the title
// ("SelectedForRip") and audio stream ("SelectedAudioStream") to read; with no title marked, the
// longest is read.
//
// Positions count every sector of the title, the packs left out included, so a Read that comes
// short is the title's end, while GetPosition may then lie before GetLength (the description's
// "TotalBytes"). SetPosition rounds down to a whole pack and answers where reading resumes; a
// position in a gap between the title's cells resumes at the next cell.
//
// A host reaches these operations through ZUReaderCast<VDVDReader>.
#pragma once

#include <zureader/Reader.h>

enum : uint32_t { ZU_READER_DVD = 12 };

class VDVDReader : public VReader {
public:
    static bool HasType(uint32_t nType) { return nType == ZU_READER_DVD; }

    // The operations after VReader's, in slot order from 22.
    // The number on the disc of the title being read (1-based over the whole disc), 0 when closed.
    virtual int32_t GetTitleNumber() = 0;
    // The part of the title's sectors passed, 0.0 to 1.0 (0.0 when closed); it moves at most once a
    // second, so a host may ask after every Read.
    virtual double GetProgress() = 0;
};
