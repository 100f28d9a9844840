#include "platform/DynamicLibrary.h"

#include "platform/Text.h"
#include "platform/win32/Wide.h"

#include <windows.h>

#include <string>

namespace zu::platform {
namespace {

class CDynamicLibrary final : public VDynamicLibrary {
public:
    explicit CDynamicLibrary(HMODULE hModule) : m_hModule(hModule) {}
    ~CDynamicLibrary() override { FreeLibrary(m_hModule); }

    void* FindSymbol(const char* pszName) override
    {
        return reinterpret_cast<void*>(GetProcAddress(m_hModule, pszName));
    }

private:
    HMODULE m_hModule;
};

}  // namespace

std::unique_ptr<VDynamicLibrary> LoadDynamicLibrary(const std::u16string& path, std::u16string& error)
{
    // The module's own folder first for its dependencies, as a provider installed beside its
    // helpers expects; never the current folder.
    HMODULE hModule = LoadLibraryExW(Wide(path), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (!hModule) {
        const DWORD nError = GetLastError();
        wchar_t szText[256] = {};
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, nError, 0, szText,
                       255, nullptr);
        error = Utf16FromUtf8("error " + std::to_string(nError) + ": ") + FromWide(szText);
        return nullptr;
    }
    return std::make_unique<CDynamicLibrary>(hModule);
}

std::u16string OwnModuleFolder()
{
    HMODULE hModule = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(&OwnModuleFolder), &hModule))
        return {};
    wchar_t szPath[MAX_PATH * 2] = {};
    const DWORD nLength = GetModuleFileNameW(hModule, szPath, MAX_PATH * 2);
    if (nLength == 0 || nLength >= MAX_PATH * 2)
        return {};
    std::u16string path = FromWide(szPath);
    path.erase(path.find_last_of(u"\\/") + 1);
    return path;
}

std::u16string LibraryFileName(const std::u16string& base)
{
    return base + u".dll";
}

}  // namespace zu::platform
