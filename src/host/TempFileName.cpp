#include "host/TempFileName.h"

#include "host/AppInfo.h"
#include "platform/System.h"
#include "platform/Text.h"

#include <cstdint>

namespace zu::host {
namespace {

// A name taken this often in a row is no chance collision: give up rather than loop.
constexpr int kMaxAttempts = 16;

std::u16string Decimal(uint64_t n)
{
    return platform::Utf16FromUtf8(std::to_string(n));
}

std::u16string Hex(uint64_t n)
{
    static const char16_t kDigits[] = u"0123456789abcdef";
    std::u16string text(16, u'0');
    for (size_t i = text.size(); i-- > 0; n >>= 4)
        text[i] = kDigits[n & 0xF];
    return text;
}

}  // namespace

std::u16string CTempFileName::MakeUnpredictable(const std::u16string& base, const std::u16string& extension)
{
    uint64_t nSecret = 0;
    if (!platform::RandomBytes(&nSecret, sizeof(nSecret)))
        return {};
    const std::u16string suffix = extension.empty() ? std::u16string() : u"." + extension;
    return CAppInfo::TempFolder() + base + u" - " + Decimal(platform::CurrentThreadId()) + u" (" + Hex(nSecret) + u")" +
           suffix;
}

bool CTempFileName::Create(const std::u16string& base, const std::u16string& extension,
                           const std::function<EAttempt(const std::u16string&)>& create, std::u16string& path)
{
    for (int nAttempt = 0; nAttempt < kMaxAttempts; ++nAttempt) {
        path = MakeUnpredictable(base, extension);
        if (path.empty())
            return false;
        const EAttempt attempt = create(path);
        if (attempt != EAttempt::NameTaken)
            return attempt == EAttempt::Created;
    }
    return false;
}

}  // namespace zu::host
