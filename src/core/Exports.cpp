// The library's exported functions. Factories only construct; nothing here opens or logs.
#include <zureader/ZUReader.h>

#include "core/LocalReader.h"
#include "host/ModuleTable.h"

#include <atomic>
#include <new>

namespace {

constexpr char16_t kModuleName[] = u"ZUReader";

// Changed by the host's one start-up thread; atomic only so sanitizers need not reason about it.
std::atomic<int> g_nStartupCount{0};

// The library's entry in the sibling tools' module table exists from load.
[[maybe_unused]] const bool g_bRegistered = (zu::host::CModuleTable::Instance().Register(kModuleName), true);

}  // namespace

VReader* GetLocalReader(const ZUCHAR* pszPath)
{
    return new (std::nothrow) CLocalReader(pszPath);
}

ZUBOOL ZUReaderInitialize(ZUBOOL bFlag)
{
    if (bFlag == 0)
        ++g_nStartupCount;
    return 1;
}

ZUBOOL ZUReaderUninitialize(ZUBOOL bFlag)
{
    if (bFlag == 0 && --g_nStartupCount < 1)
        zu::host::CModuleTable::Instance().Release(kModuleName);
    return 1;
}
