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

// One Read of up to nCount bytes, as text of the length delivered.
std::string ReadUpTo(VReader& reader, uint32_t nCount);

// GetInfo's answer as text, with the system string freed.
std::u16string Info(VReader& reader, const std::u16string& name);

// True when this Windows program runs under Wine, whose system libraries answer differently from
// Windows' in a few documented places.
bool RunningUnderWine();

}  // namespace zutest
