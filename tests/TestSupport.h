// Helpers shared by the test suites: scratch folders, file fixtures and text shorthands.
#pragma once

#include <zureader/ZUReader.h>

#include <cstdint>
#include <memory>
#include <string>

namespace zutest {

// A fresh folder under the system's temporary folder, removed with everything in it.
class CTempFolder {
public:
    CTempFolder();
    ~CTempFolder();
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;

    // The folder itself, ending in a separator.
    const std::u16string& Path() const { return m_Path; }
    std::u16string File(const std::u16string& name) const { return m_Path + name; }

private:
    std::u16string m_Path;
};

// Points ZUREADER_HOME at its own scratch folder for its lifetime.
class CScopedHome {
public:
    CScopedHome();
    ~CScopedHome();
    const std::u16string& Path() const { return m_Folder.Path(); }

private:
    CTempFolder m_Folder;
    std::u16string m_Previous;
};

// Sets an environment variable for its lifetime (empty unsets it).
class CScopedEnvironment {
public:
    CScopedEnvironment(const char16_t* pszName, const std::u16string& value);
    ~CScopedEnvironment();
    CScopedEnvironment(const CScopedEnvironment&) = delete;
    CScopedEnvironment& operator=(const CScopedEnvironment&) = delete;

private:
    const char16_t* m_pszName;
    std::u16string m_Previous;
};

// Points the library's temporary folder (TMPDIR, or TMP and TEMP on Windows) at a folder for its
// lifetime.
class CScopedTempFolder {
public:
    explicit CScopedTempFolder(const std::u16string& folder);
    ~CScopedTempFolder();
    CScopedTempFolder(const CScopedTempFolder&) = delete;
    CScopedTempFolder& operator=(const CScopedTempFolder&) = delete;

private:
    std::u16string m_Previous[3];
};

// A tmpfs of nBytes mounted over an existing folder for its lifetime, where the system lets this
// process mount one (Linux, as root); Mounted tells whether it did.
class CSmallTmpfs {
public:
    CSmallTmpfs(const std::u16string& folder, size_t nBytes);
    ~CSmallTmpfs();
    CSmallTmpfs(const CSmallTmpfs&) = delete;
    CSmallTmpfs& operator=(const CSmallTmpfs&) = delete;
    bool Mounted() const { return m_bMounted; }

private:
    std::string m_Folder;
    bool m_bMounted = false;
};

// Makes a symbolic link at path to target (which need not exist); false where the system will not.
bool MakeSymbolicLink(const std::u16string& target, const std::u16string& path);
bool IsSymbolicLink(const std::u16string& path);

// Makes a named pipe at path where the system has them (POSIX): an open for writing waits there
// until somebody opens it for reading. False where it cannot.
bool MakeNamedPipe(const std::u16string& path);

void WriteFile(const std::u16string& path, const std::string& bytes);
std::string ReadFile(const std::u16string& path);
// Bytes 0..n-1 of a repeatable pattern that has no period of a power of two.
std::string PatternBytes(size_t nLength, uint32_t nSeed = 1);

inline const ZUCHAR* Z(const std::u16string& text)
{
    return reinterpret_cast<const ZUCHAR*>(text.c_str());
}

std::string Utf8(const std::u16string& text);

struct CReaderDelete {
    void operator()(VReader* pReader) const { delete pReader; }
};
using CReaderPtr = std::unique_ptr<VReader, CReaderDelete>;

// One Read of up to nCount bytes, as text of the length delivered; a failed read (all bits set,
// or any count beyond nCount) gives "(read failed)".
std::string ReadUpTo(VReader& reader, uint32_t nCount);

// GetInfo's answer as text, with the system string freed.
std::u16string Info(VReader& reader, const std::u16string& name);

// True when this Windows program runs under Wine, whose system libraries answer differently from
// Windows' in a few documented places.
bool RunningUnderWine();
// True while a module of that file name ("libzuplayer.so", "ZUPlayer.dll") is loaded in this process.
bool ModuleIsLoaded(const std::string& fileName);
// True in the Windows build, under Wine or not.
bool RunningOnWindows();

}  // namespace zutest
