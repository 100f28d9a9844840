#include "TestSupport.h"

#include "platform/File.h"
#include "platform/System.h"
#include "platform/Text.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <atomic>
#include <cstdlib>
#include <iterator>
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

CScopedEnvironment::CScopedEnvironment(const char16_t* pszName, const std::u16string& value)
    : m_pszName(pszName), m_Previous(zu::platform::GetEnvironmentText(pszName))
{
    zu::platform::SetEnvironmentText(pszName, value);
}

CScopedEnvironment::~CScopedEnvironment()
{
    zu::platform::SetEnvironmentText(m_pszName, m_Previous);
}

namespace {

const char16_t* const kTempVariables[] = {u"TMPDIR", u"TMP", u"TEMP"};

}  // namespace

CScopedTempFolder::CScopedTempFolder(const std::u16string& folder)
{
    for (size_t i = 0; i < std::size(kTempVariables); ++i) {
        m_Previous[i] = zu::platform::GetEnvironmentText(kTempVariables[i]);
        zu::platform::SetEnvironmentText(kTempVariables[i], folder);
    }
}

CScopedTempFolder::~CScopedTempFolder()
{
    for (size_t i = 0; i < std::size(kTempVariables); ++i)
        zu::platform::SetEnvironmentText(kTempVariables[i], m_Previous[i]);
}

#ifdef _WIN32
CSmallTmpfs::CSmallTmpfs(const std::u16string&, size_t) {}
CSmallTmpfs::~CSmallTmpfs() = default;

bool MakeNamedPipe(const std::u16string&)
{
    return false;
}

bool IsSymbolicLink(const std::u16string& path)
{
    const DWORD attributes = GetFileAttributesW(reinterpret_cast<const wchar_t*>(path.c_str()));
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT);
}

bool MakeSymbolicLink(const std::u16string& target, const std::u16string& path)
{
    constexpr DWORD kAllowUnprivileged = 0x2;  // SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE
    // Wine answers success and makes nothing.
    return CreateSymbolicLinkW(reinterpret_cast<const wchar_t*>(path.c_str()),
                               reinterpret_cast<const wchar_t*>(target.c_str()), kAllowUnprivileged) &&
           IsSymbolicLink(path);
}

#else
bool MakeSymbolicLink(const std::u16string& target, const std::u16string& path)
{
    return symlink(Utf8(target).c_str(), Utf8(path).c_str()) == 0;
}

bool IsSymbolicLink(const std::u16string& path)
{
    struct stat st;
    return lstat(Utf8(path).c_str(), &st) == 0 && S_ISLNK(st.st_mode);
}

bool MakeNamedPipe(const std::u16string& path)
{
    return mkfifo(Utf8(path).c_str(), 0600) == 0;
}

CSmallTmpfs::CSmallTmpfs(const std::u16string& folder, size_t nBytes) : m_Folder(Utf8(folder))
{
    const std::string command = "mount -t tmpfs -o size=" + std::to_string(nBytes) + " zureader-test '" + m_Folder +
                                "' 2>/dev/null";
    m_bMounted = std::system(command.c_str()) == 0;
}

CSmallTmpfs::~CSmallTmpfs()
{
    if (m_bMounted)
        std::system(("umount '" + m_Folder + "'").c_str());
}
#endif

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
    const uint32_t nRead = reader.Read(bytes.data(), nCount);
    if (nRead > nCount)
        return "(read failed)";
    bytes.resize(nRead);
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

bool ModuleIsLoaded(const std::string& fileName)
{
#ifdef _WIN32
    return GetModuleHandleA(fileName.c_str()) != nullptr;
#else
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line))
        if (line.size() > fileName.size() && line.compare(line.size() - fileName.size() - 1, std::string::npos,
                                                          "/" + fileName) == 0)
            return true;
    return false;
#endif
}

bool RunningOnWindows()
{
#ifdef _WIN32
    return true;
#else
    return false;
#endif
}

}  // namespace zutest
