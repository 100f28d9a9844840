// The library's exported functions. Factories only construct; nothing here opens or logs.
#include <zureader/ZUReader.h>

#include "buffering/BufferedReader.h"
#include "buffering/CirclingReader.h"
#include "core/LocalReader.h"
#include "core/MemoryReader.h"
#include "core/TruncatingReader.h"
#include "host/HostCallbacks.h"
#include "host/ModuleTable.h"
#include "net/InternetReader.h"

#include <atomic>
#include <memory>
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

VReader* GetInternetReader(const ZUCHAR* pszURL)
{
    return new (std::nothrow) CInternetReader(pszURL);
}

VReader* GetMemoryReader(const void* pData, int32_t nLength, ZUBOOL bCopy)
{
    std::unique_ptr<CMemoryReader> pReader(new (std::nothrow) CMemoryReader(ZU_READER_MEMORY));
    if (!pReader)
        return nullptr;
    if (!bCopy)
        pReader->Borrow(pData, nLength);
    else if (!pReader->Copy(pData, nLength))
        return nullptr;
    return pReader.release();
}

VReader* GetStringReader(const ZUCHAR* pszText, ZUBOOL bAnsi)
{
    std::unique_ptr<CMemoryReader> pReader(new (std::nothrow) CMemoryReader(ZU_READER_STRING));
    if (!pReader || !pReader->CopyText(pszText, bAnsi != 0))
        return nullptr;
    return pReader.release();
}

namespace {

// Ownership of the inner reader passes with the call, also when the wrapper cannot be made.
template <class TWrapper, class... TArgs>
VReader* WrapOwned(VReader* pInner, TArgs... args)
{
    VReader* pReader = new (std::nothrow) TWrapper(pInner, args...);
    if (!pReader)
        delete pInner;
    return pReader;
}

}  // namespace

VReader* GetTruncatingReader(VReader* pInner, int64_t nLimit)
{
    return WrapOwned<CTruncatingReader>(pInner, nLimit);
}

VReader* GetCirclingReader(VReader* pInner)
{
    return WrapOwned<VCirclingReader>(pInner);
}

VReader* GetBufferedReader(VReader* pChild)
{
    return WrapOwned<VBufferedReader>(pChild);
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

ZUBOOL ZUReaderSetHostCallbacks(const ZUHostCallbacks* pCallbacks)
{
    return zu::host::CHostCallbacks::Install(pCallbacks) ? 1 : 0;
}
