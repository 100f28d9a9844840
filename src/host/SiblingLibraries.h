// The sibling-library loader: the provider modules installed beside the library (the player and
// tools libraries, encoder plug-ins) loaded by name or by their registered path.
#pragma once

#include "platform/DynamicLibrary.h"

#include <memory>
#include <string>

namespace zu::host {

class CSiblingLibraries {
public:
    // ZUREADER_PROVIDER_DIR when set (a host or a test keeps its providers elsewhere), else the
    // folder of the library itself; ends in a separator.
    static std::u16string ProviderFolder();
    // A sibling by its base name ("ZUPlayer" finds ZUPlayer.dll or libzuplayer.so).
    static std::unique_ptr<platform::VDynamicLibrary> Load(const std::u16string& base, std::u16string& error);
    // A registered module path: a path without a folder is taken from the provider folder, so
    // that a plug-in registered by name moves with the installation.
    static std::unique_ptr<platform::VDynamicLibrary> LoadModule(const std::u16string& path, std::u16string& error);
};

}  // namespace zu::host
