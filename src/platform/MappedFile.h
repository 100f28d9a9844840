// Mapped-file seam: a file made at a fixed length and mapped whole for reading and writing, so that
// a buffer of a hundred megabytes lives in the file's pages, which the system may page out, instead
// of committed heap.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace zu::platform {

// What kind of file Create makes, and what it does with a file that already has the name.
enum class EMappedFileName {
    // Truncates and reuses it: a file the caller named itself, which keeps its bytes after Close.
    ReplaceExisting,
    // Scratch memory for this process alone, gone at Close (or when the process ends), whose pages
    // the system keeps in memory rather than writes to a disk. Where the system can have such a
    // file in no folder (Linux) the path only names it, nothing is made there and InFolder is
    // false. Otherwise it is made only where nothing holds the name yet, and fails with NameTaken:
    // whatever holds the name in a folder others may write to (a planted link included) is neither
    // followed nor touched, and the new file is the owner's alone.
    Temporary
};

// Why the last Create failed.
enum class EMappedFileFailure { None, NameTaken, NoSpace, Other };

// Owns one view; unmapped on destruction. Only the view is kept, so a file the caller named can be
// cut or deleted by name once it is unmapped; a Temporary file on Windows keeps its handle as well,
// since its closing is what removes it.
class CMappedFile {
public:
    CMappedFile() = default;
    ~CMappedFile();
    CMappedFile(const CMappedFile&) = delete;
    CMappedFile& operator=(const CMappedFile&) = delete;

    // Creates the file (not shared with other openers, kept out of the system's content index
    // where it has one), reserves nBytes of disk or memory for it and maps it whole. The
    // reservation makes a full disk (or memory) fail here (NoSpace) rather than kill the process at
    // a page's first write. A Temporary file is mapped in huge pages where the system has them for
    // one, so that touching it all costs dozens of page faults instead of tens of thousands. False,
    // with nothing mapped, when any step fails; a file the caller named that was made by then stays
    // behind for the caller to remove. A length of 0 cannot be mapped and fails.
    bool Create(const std::u16string& path, size_t nBytes, EMappedFileName name = EMappedFileName::ReplaceExisting);
    // Unmaps the view; a Temporary file goes with it.
    void Close();

    unsigned char* Data() const { return m_pData; }
    size_t Size() const { return m_nBytes; }
    // Whether the mapped file has the path Create was given (false for a Temporary file the system
    // keeps in no folder).
    bool InFolder() const { return m_bInFolder; }
    EMappedFileFailure LastFailure() const { return m_Failure; }
    // The system's error number behind the last failure, 0 when there was none.
    uint32_t LastError() const { return m_nError; }

private:
    // Notes the system's error number and what it means; false.
    bool Fail(uint32_t nError);

    unsigned char* m_pData = nullptr;
    size_t m_nBytes = 0;
    bool m_bInFolder = false;
    // A handle the file must keep while it is mapped (a Temporary file goes when it closes); 0 when none.
    intptr_t m_hKept = 0;
    EMappedFileFailure m_Failure = EMappedFileFailure::None;
    uint32_t m_nError = 0;
};

}  // namespace zu::platform
