// VSplitterReader (type 13, from GetSplitterReader): one long stream kept as a series of chunk files
// of a fixed size beside a small header file, read back as one stream. One instance writes (Create)
// while others, in this process or another, read the same recording as it grows (Open): a reader
// learns the length from the header and looks again at a chunk still being written at most once a
// second. The writer can let old chunks go, keeping marked ranges, so the files work as a rolling
// buffer of bounded size on disk.
//
// Files, for a header file "show.ts": chunks "show-0.ts.cnk", "show-1.ts.cnk", ...; a chunk still
// being filled carries ".tmp" after that until it is full or the writer closes. The header is 24
// bytes: "ZUSR", version 2 (32-bit), then the length and the chunk size (64-bit, little-endian).
// Recordings with a version-1 header (chunks without ".cnk") and older ones without the "ZUSR"
// part (the two numbers at offset 0) are read too. A reader never gets a byte the header has not
// announced, so a recording whose writer died is read up to what it last announced.
//
// Seeks from the end are refused (-1), and so is a seek into a chunk that was deleted. Paths that
// hold "://" name a recording on a server: it can be read, not written.
//
// A host reaches these operations through ZUReaderCast<VSplitterReader>.
#pragma once

#include <zureader/Reader.h>

enum : uint32_t { ZU_READER_SPLITTER = 13 };

class VSplitterReader : public VReader {
public:
    static bool HasType(uint32_t nType) { return nType == ZU_READER_SPLITTER; }

    // The operations after VReader's, in slot order from 22; all but the last two only while
    // writing (0 otherwise).
    // Chunks wholly before nPosition may go; with bDeleteNow they are deleted at once, otherwise at
    // the next deletion (a later call with bDeleteNow, or Close).
    virtual ZUBOOL SetFirstNeededPosition(int64_t nPosition, ZUBOOL bDeleteNow) = 0;
    // Keeps the chunks from the first needed position (as last set) up to the one holding
    // nPosition, whatever later calls let go; the first needed position starts anew.
    virtual ZUBOOL KeepRangeUpTo(int64_t nPosition) = 0;
    // On (the default): a chunk being filled is named with ".tmp" until it is full.
    virtual void SetTemporaryNames(ZUBOOL bTemporary) = 0;
    // On: Close deletes every full chunk that is not kept (the last, partial chunk stays).
    virtual void SetDeleteAllOnClose(ZUBOOL bDelete) = 0;
    // 1 while a writer has the recording open, in this process or another (this instance, when it
    // writes); a writer that died no longer counts. 0 for a recording on a server. Once it answers
    // 0, GetLength answers the recording's final length: a follower reads until this is 0 and then
    // the position has reached the length.
    virtual ZUBOOL IsBeingWritten() = 0;
};
