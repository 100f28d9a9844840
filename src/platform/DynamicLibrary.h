// Module seam: loading a library at run time (dlopen, LoadLibrary), finding its entry points, and
// the folder of the module this code is linked into.
#pragma once

#include <memory>
#include <string>

namespace zu::platform {

class VDynamicLibrary {
public:
    virtual ~VDynamicLibrary() = default;  // unloads the module
    // Null when the module has no such exported symbol.
    virtual void* FindSymbol(const char* pszName) = 0;
};

// Null when the module cannot be loaded; error then holds the system's reason.
std::unique_ptr<VDynamicLibrary> LoadDynamicLibrary(const std::u16string& path, std::u16string& error);

// The folder, ending in the separator, of the library or program this code was linked into.
std::u16string OwnModuleFolder();

// The file name the system gives a library of this base name: "ZUPlayer.dll" for "ZUPlayer" on
// Windows, "libzuplayer.so" on Linux.
std::u16string LibraryFileName(const std::u16string& base);

}  // namespace zu::platform
