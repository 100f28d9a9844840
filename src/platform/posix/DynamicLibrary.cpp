#include "platform/DynamicLibrary.h"

#include "platform/Text.h"

#include <dlfcn.h>

#include <algorithm>
#include <cctype>

namespace zu::platform {
namespace {

class CDynamicLibrary final : public VDynamicLibrary {
public:
    explicit CDynamicLibrary(void* pHandle) : m_pHandle(pHandle) {}
    ~CDynamicLibrary() override { dlclose(m_pHandle); }

    void* FindSymbol(const char* pszName) override { return dlsym(m_pHandle, pszName); }

private:
    void* m_pHandle;
};

}  // namespace

std::unique_ptr<VDynamicLibrary> LoadDynamicLibrary(const std::u16string& path, std::u16string& error)
{
    // RTLD_LOCAL: two providers may both carry symbols of the same name.
    void* pHandle = dlopen(Utf8FromUtf16(path).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!pHandle) {
        const char* pszError = dlerror();
        error = Utf16FromUtf8(pszError ? pszError : "cannot load");
        return nullptr;
    }
    return std::make_unique<CDynamicLibrary>(pHandle);
}

std::u16string OwnModuleFolder()
{
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(&OwnModuleFolder), &info) || !info.dli_fname)
        return {};
    std::string path = info.dli_fname;
    path.erase(path.find_last_of('/') + 1);
    return Utf16FromUtf8(path);
}

std::u16string LibraryFileName(const std::u16string& base)
{
    std::u16string lower = base;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char16_t c) { return c < 128 ? static_cast<char16_t>(std::tolower(c)) : c; });
    return u"lib" + lower + u".so";
}

}  // namespace zu::platform
