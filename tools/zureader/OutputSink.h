// Where a command's bytes go: standard output (switched to binary), or a file written through the
// library's own file reader.
#pragma once

#include "ReaderPtr.h"

#include <cstdint>
#include <string>

namespace zucli {

class CCommandLine;

class COutputSink {
public:
    // The path given with -o or --output; empty for standard output.
    static std::u16string PathFrom(const CCommandLine& line);

    // An empty path means standard output. False when the file cannot be created.
    bool Open(const std::u16string& path);
    bool Write(const void* pData, uint32_t nCount);
    // Closes the file or flushes standard output; false when the last bytes could not be written.
    bool Finish();
    bool IsStandardOutput() const { return !m_pFile; }
    // "standard output" or the file's name, for messages.
    std::string Name() const;

private:
    CReaderPtr m_pFile;
    std::u16string m_Path;
};

}  // namespace zucli
