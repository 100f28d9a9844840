// Mapped-file seam: a file made at a fixed length and mapped whole for reading and writing, so that
// a buffer of a hundred megabytes lives in the file's pages, which the system may page out, instead
// of committed heap.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace zu::platform {

// What Create does with a file that already has the name.
enum class EMappedFileName {
    // Truncates and reuses it: a file the caller named itself.
    ReplaceExisting,
    // Fails with NameTaken: a temporary file in a folder others may write to. Whatever holds the
    // name (a planted link included) is neither followed nor touched, and the new file is the
    // owner's alone.
    NewOnly
};

// Why the last Create failed.
enum class EMappedFileFailure { None, NameTaken, NoSpace, Other };

// Owns one view; unmapped on destruction. Only the view is kept: the file and mapping handles are
// closed as soon as the view exists, so the file can be cut or deleted by name once it is unmapped.
class CMappedFile {
public:
    CMappedFile() = default;
    ~CMappedFile();
    CMappedFile(const CMappedFile&) = delete;
    CMappedFile& operator=(const CMappedFile&) = delete;

    // Creates the file (not shared with other openers, kept out of the system's content index
    // where it has one), reserves nBytes of disk for it and maps it whole. The reservation makes a
    // full disk fail here (NoSpace) rather than kill the process at a page's first write. False,
    // with nothing mapped, when any step fails; a file already made by then stays behind for the
    // caller to remove. A length of 0 cannot be mapped and fails.
    bool Create(const std::u16string& path, size_t nBytes, EMappedFileName name = EMappedFileName::ReplaceExisting);
    void Close();

    unsigned char* Data() const { return m_pData; }
    size_t Size() const { return m_nBytes; }
    EMappedFileFailure LastFailure() const { return m_Failure; }
    // The system's error number behind the last failure, 0 when there was none.
    uint32_t LastError() const { return m_nError; }

private:
    // Notes the system's error number and what it means; false.
    bool Fail(uint32_t nError);

    unsigned char* m_pData = nullptr;
    size_t m_nBytes = 0;
    EMappedFileFailure m_Failure = EMappedFileFailure::None;
    uint32_t m_nError = 0;
};

}  // namespace zu::platform
