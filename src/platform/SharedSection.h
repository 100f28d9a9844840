// Shared-section seam: a named block of shared memory that another component of the application
// may have written (the cookie for a URL, for instance).
#pragma once

#include <cstddef>
#include <string>

namespace zu::platform {

class CSharedSection {
public:
    CSharedSection() = default;
    ~CSharedSection();
    CSharedSection(const CSharedSection&) = delete;
    CSharedSection& operator=(const CSharedSection&) = delete;

    // Maps the section of that name read-write. Without bCreate a section nobody made fails to open
    // (on Windows a new section is made and vanishes with its last handle, which reads the same: all
    // zeros). Any text is a valid name.
    bool Open(const std::u16string& name, size_t nBytes, bool bCreate);
    void Close();
    void* Data() const { return m_pData; }
    size_t Size() const { return m_nBytes; }

    // Removes the name where sections outlive their users (POSIX); nothing on Windows.
    static void Remove(const std::u16string& name);

private:
    void* m_pData = nullptr;
    size_t m_nBytes = 0;
    intptr_t m_hSection = 0;
};

}  // namespace zu::platform
