#include "TestSupport.h"

#include "platform/File.h"
#include "platform/System.h"
#include "platform/Text.h"

#ifdef _WIN32
#include <windows.h>
#endif

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace zutest {
namespace {

std::filesystem::path FsPath(const std::u16string& path)
{
    return std::filesystem::path(path);
}

}  // namespace

CTempFolder::CTempFolder()
{
    static std::atomic<int> nCounter{0};
    const std::u16string base = zu::platform::TempFolder();
    const std::string name = "zureader-test-" + std::to_string(zu::platform::CurrentThreadId()) + "-" +
                             std::to_string(zu::platform::TickCount()) + "-" + std::to_string(nCounter++);
    m_Path = base + zu::platform::Utf16FromUtf8(name) + zu::platform::PathSeparator();
    std::filesystem::create_directories(FsPath(m_Path));
}

CTempFolder::~CTempFolder()
{
    std::error_code error;
    // Read-only files left by a test would stop the removal on Windows.
    for (const auto& entry : std::filesystem::recursive_directory_iterator(FsPath(m_Path), error))
        std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_write,
                                     std::filesystem::perm_options::add, error);
    std::filesystem::remove_all(FsPath(m_Path), error);
}

CScopedHome::CScopedHome() : m_Previous(zu::platform::GetEnvironmentText(u"ZUREADER_HOME"))
{
    zu::platform::SetEnvironmentText(u"ZUREADER_HOME", m_Folder.Path());
}

CScopedHome::~CScopedHome()
{
    zu::platform::SetEnvironmentText(u"ZUREADER_HOME", m_Previous);
}

void WriteFile(const std::u16string& path, const std::string& bytes)
{
    std::ofstream out(FsPath(path), std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ReadFile(const std::u16string& path)
{
    std::ifstream in(FsPath(path), std::ios::binary);
    std::ostringstream contents;
    contents << in.rdbuf();
    return contents.str();
}

std::string PatternBytes(size_t nLength, uint32_t nSeed)
{
    std::string bytes(nLength, '\0');
    uint32_t state = nSeed * 2654435761u + 1;
    for (size_t i = 0; i < nLength; ++i) {
        state = state * 1103515245u + 12345u;
        bytes[i] = static_cast<char>(state >> 16);
    }
    return bytes;
}

std::string Utf8(const std::u16string& text)
{
    return zu::platform::Utf8FromUtf16(text);
}

std::string ReadUpTo(VReader& reader, uint32_t nCount)
{
    std::string bytes(nCount, '\0');
    bytes.resize(reader.Read(bytes.data(), nCount));
    return bytes;
}

std::u16string Info(VReader& reader, const std::u16string& name)
{
    ZUBSTR bstr = reader.GetInfo(Z(name));
    std::u16string text = bstr ? std::u16string(reinterpret_cast<const char16_t*>(bstr)) : std::u16string();
    ZUFreeString(bstr);
    return text;
}

bool RunningUnderWine()
{
#ifdef _WIN32
    const HMODULE hNtdll = GetModuleHandleW(L"ntdll.dll");
    return hNtdll && GetProcAddress(hNtdll, "wine_get_version");
#else
    return false;
#endif
}

}  // namespace zutest
