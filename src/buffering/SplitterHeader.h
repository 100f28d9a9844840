// CSplitterHeader: a recording's header file: "ZUSR", a 32-bit version, then the record of two
// 64-bit numbers (the stream's length and the chunk size), little-endian. Version 2 is written,
// versions 1 and 2 are read, and a file without the magic holds the record at offset 0. The
// record is written and read whole under a range lock, so a reader in another process gets the
// old numbers or the new ones, never a mix. A header on a server (a URL) is fetched anew each time.
#pragma once

#include "platform/SharedRecordFile.h"

#include <cstdint>
#include <string>

class CSplitterHeader {
public:
    CSplitterHeader(const std::u16string& path, bool bUrl) : m_Path(path), m_bUrl(bUrl) {}

    // Makes the file anew as version 2 with the given numbers; fails, leaving the file as it is,
    // while another writer holds it.
    bool Create(int64_t nLength, int64_t nChunkSize);
    // Reads the numbers, learning the version (and so the chunk names' suffix) again.
    bool Read(int64_t& nLength, int64_t& nChunkSize);
    // Writes the numbers where the record of the header as last created or read sits.
    bool WriteRecord(int64_t nLength, int64_t nChunkSize);
    void Close() { m_File.Close(); }
    // Whether a writer holds the header open, here or in another process: the writer marks it at
    // Create, and the mark goes with its handle, however the writer ends. Always false for a URL.
    bool IsWriterPresent();

    // ".cnk" for version 2, empty for version 1 and headerless files.
    const std::u16string& GetSuffix() const { return m_Suffix; }

private:
    bool ReadLocal(unsigned char* pHeader, uint32_t& nHave);
    bool ReadUrl(unsigned char* pHeader, uint32_t& nHave);

    std::u16string m_Path;
    bool m_bUrl;
    zu::platform::CSharedRecordFile m_File;
    int64_t m_nRecordOffset = 8;
    std::u16string m_Suffix;
};
