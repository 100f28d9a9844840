// VMediaTranscoderReader (type 2 from GetMusicTranscoderReader, 3 from GetVideoTranscoderReader):
// a read-only stream of what an encoder makes of a source file while it is being made.
//
// Configure before Open: SetPosition(offset, ZU_SEEK_BEGIN) skips that many output bytes (it
// still answers -1), SetLengthHint(n) ends the output after n bytes of it (counted from the
// output's first byte), SetStartTime starts the output at that time of the source, exactly.
// Read blocks until its count is there or the output has ended, waking every 100 ms to look; a
// short count is the end. GetLength and GetPosition answer -1: the size is known only at the end,
// but GetInfo("Length Estimate") gives the provider's estimate in bytes as it goes. GetInfo
// ("Can Truncate") is "Yes" until Open; ("Transcoding") always "Yes". With SetDeleteOnClose the
// SOURCE file is deleted at Close. The reader cannot be opened again after Close.
//
// The providers that do the work are loaded at Open (see TranscodeProvider.h); a missing provider
// or encoder makes Open fail, and the log says which.
//
// A host reaches these operations through ZUReaderCast<VMediaTranscoderReader>.
#pragma once

#include <zureader/Reader.h>

class VMediaTranscoderReader : public VReader {
public:
    static bool HasType(uint32_t nType)
    {
        return nType == ZU_READER_MUSIC_TRANSCODER || nType == ZU_READER_VIDEO_TRANSCODER;
    }

    // The operations after VReader's, in slot order from 22.
    // Where the output starts in the source, in milliseconds; before Open.
    virtual void SetStartTime(uint32_t nMilliseconds) = 0;
    // A text passed through to the audio provider's encode call; the video form ignores it.
    virtual void SetEncodeArgument(const ZUCHAR* pszText) = 0;
};
