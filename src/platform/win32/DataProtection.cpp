#include "platform/DataProtection.h"

#include <windows.h>
#include <dpapi.h>

namespace zu::platform {
namespace {

DATA_BLOB Blob(const std::string& bytes)
{
    return DATA_BLOB{static_cast<DWORD>(bytes.size()),
                     reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data()))};
}

DATA_BLOB Blob(const std::u16string& text)
{
    return DATA_BLOB{static_cast<DWORD>(text.size() * sizeof(char16_t)),
                     reinterpret_cast<BYTE*>(const_cast<char16_t*>(text.data()))};
}

bool Run(bool bSeal, const std::string& in, const std::u16string& seed, std::string& out)
{
    DATA_BLOB input = Blob(in);
    DATA_BLOB entropy = Blob(seed);
    DATA_BLOB output{};
    const BOOL bOk = bSeal ? CryptProtectData(&input, nullptr, &entropy, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN,
                                              &output)
                           : CryptUnprotectData(&input, nullptr, &entropy, nullptr, nullptr,
                                                CRYPTPROTECT_UI_FORBIDDEN, &output);
    if (!bOk)
        return false;
    out.assign(reinterpret_cast<const char*>(output.pbData), output.cbData);
    LocalFree(output.pbData);
    return true;
}

}  // namespace

// The user's own DPAPI master key protects the data; no key file is involved.
bool SealData(const std::string& plain, const std::u16string& seed, const std::u16string&, std::string& sealed)
{
    return Run(true, plain, seed, sealed);
}

bool UnsealData(const std::string& sealed, const std::u16string& seed, const std::u16string&, std::string& plain)
{
    return Run(false, sealed, seed, plain);
}

}  // namespace zu::platform
