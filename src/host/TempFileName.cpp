#include "host/TempFileName.h"

#include "host/AppInfo.h"
#include "platform/File.h"
#include "platform/System.h"
#include "platform/Text.h"

namespace zu::host {
namespace {

bool NameIsTaken(const std::u16string& path)
{
    return platform::FileSizeByName(path) >= 0 || platform::IsDirectory(path);
}

std::u16string Decimal(uint64_t n)
{
    return platform::Utf16FromUtf8(std::to_string(n));
}

}  // namespace

std::u16string CTempFileName::MakeUnique(const std::u16string& base, const std::u16string& extension)
{
    const std::u16string stem = CAppInfo::TempFolder() + base + u" - " + Decimal(platform::CurrentThreadId());
    const std::u16string suffix = extension.empty() ? std::u16string() : u"." + extension;
    std::u16string path = stem + suffix;
    for (uint64_t n = 1; NameIsTaken(path); ++n)
        path = stem + u" (" + Decimal(n) + u")" + suffix;
    return path;
}

}  // namespace zu::host
