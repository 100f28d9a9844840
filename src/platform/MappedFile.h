// Mapped-file seam: a file made at a fixed length and mapped whole for reading and writing, so that
// a buffer of a hundred megabytes lives in the file's pages, which the system may page out, instead
// of committed heap.
#pragma once

#include <cstddef>
#include <string>

namespace zu::platform {

// Owns one view; unmapped on destruction. Only the view is kept: the file and mapping handles are
// closed as soon as the view exists, so the file can be cut or deleted by name once it is unmapped.
class CMappedFile {
public:
    CMappedFile() = default;
    ~CMappedFile();
    CMappedFile(const CMappedFile&) = delete;
    CMappedFile& operator=(const CMappedFile&) = delete;

    // Creates the file (replacing any file of that name, not shared with other openers, kept out of
    // the system's content index where it has one), sets its length to nBytes and maps it whole.
    // False, with nothing mapped, when any step fails; a file already made by then stays behind for
    // the caller to remove. A length of 0 cannot be mapped and fails.
    bool Create(const std::u16string& path, size_t nBytes);
    void Close();

    unsigned char* Data() const { return m_pData; }
    size_t Size() const { return m_nBytes; }

private:
    unsigned char* m_pData = nullptr;
    size_t m_nBytes = 0;
};

}  // namespace zu::platform
