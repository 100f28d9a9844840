#include "host/SiblingLibraries.h"

#include "platform/System.h"

namespace zu::host {

std::u16string CSiblingLibraries::ProviderFolder()
{
    std::u16string folder = platform::GetEnvironmentText(u"ZUREADER_PROVIDER_DIR");
    if (folder.empty())
        return platform::OwnModuleFolder();
    if (folder.back() != u'/' && folder.back() != u'\\')
        folder += platform::PathSeparator();
    return folder;
}

std::unique_ptr<platform::VDynamicLibrary> CSiblingLibraries::Load(const std::u16string& base, std::u16string& error)
{
    return platform::LoadDynamicLibrary(ProviderFolder() + platform::LibraryFileName(base), error);
}

std::unique_ptr<platform::VDynamicLibrary> CSiblingLibraries::LoadModule(const std::u16string& path,
                                                                         std::u16string& error)
{
    const bool bBare = path.find_first_of(u"/\\") == std::u16string::npos;
    return platform::LoadDynamicLibrary(bBare ? ProviderFolder() + path : path, error);
}

}  // namespace zu::host
