// The library's exported functions. Factories only construct; nothing here opens or logs. No
// exception leaves an export: a constructor that runs out of memory (new(std::nothrow) covers only
// the object's own allocation, not what its constructor allocates) makes the factory answer null.
#include <zureader/ZUReader.h>

#include "buffering/BufferedReader.h"
#include "buffering/CirclingReader.h"
#include "buffering/SharedBufferingReader.h"
#include "buffering/SharedBufferingRegistry.h"
#include "buffering/SplitterReader.h"
#include "core/LocalReader.h"
#include "core/MemoryReader.h"
#include "core/TruncatingReader.h"
#include "core/Url.h"
#include "dvd/DVDDescriber.h"
#include "dvd/DVDReader.h"
#include "host/HostCallbacks.h"
#include "host/ModuleTable.h"
#include "platform/SystemString.h"
#include "platform/Text.h"
#include "net/BufferedInternetReader.h"
#include "net/InternetReader.h"
#include "net/MediaServerLocator.h"
#include "net/TCPSocketReader.h"
#include "net/UDPSocketReader.h"
#include "transcode/EncoderPlugins.h"
#include "transcode/MediaTranscoderReader.h"

#include <atomic>
#include <exception>
#include <memory>
#include <new>
#include <string>

namespace {

constexpr char16_t kModuleName[] = u"ZUReader";

// Where the application's media server listens when its address names no port.
constexpr uint16_t kMediaServerPort = 8931;

// Changed by the host's one start-up thread; atomic only so sanitizers need not reason about it.
std::atomic<int> g_nStartupCount{0};

// The library's entry in the sibling tools' module table exists from load.
[[maybe_unused]] const bool g_bRegistered = (zu::host::CModuleTable::Instance().Register(kModuleName), true);

// A host's null text reads as empty.
std::u16string Text(const ZUCHAR* pszText)
{
    return pszText ? reinterpret_cast<const char16_t*>(pszText) : u"";
}

}  // namespace

VReader* GetLocalReader(const ZUCHAR* pszPath)
try {
    return new (std::nothrow) CLocalReader(pszPath);
} catch (const std::exception&) {
    return nullptr;
}

VReader* GetInternetReader(const ZUCHAR* pszURL)
try {
    return new (std::nothrow) CInternetReader(pszURL);
} catch (const std::exception&) {
    return nullptr;
}

VReader* GetBufferedInternetReader(const ZUCHAR* pszURL)
try {
    return new (std::nothrow) CBufferedInternetReader(pszURL);
} catch (const std::exception&) {
    return nullptr;
}

VReader* GetGenericReader(const ZUCHAR* pszLocation)
try {
    const std::u16string location = pszLocation ? reinterpret_cast<const char16_t*>(pszLocation) : u"";
    if (location.find(u"://") == std::u16string::npos)
        return GetLocalReader(pszLocation);
    CUrl url;
    if (!url.Parse(location))
        return nullptr;
    // Only the media server's own lower-case scheme words are rewritten; anything else, QXSP
    // included, is the Internet reader's to accept or refuse.
    const std::u16string scheme = url.GetScheme();
    if (scheme != u"qxsp" && scheme != u"m01p")
        return GetInternetReader(pszLocation);
    if (url.GetPort() == 0)
        url.SetPort(kMediaServerPort);
    url.SetScheme(u"http");
    const std::u16string rewritten = url.Rebuild();
    return GetInternetReader(reinterpret_cast<const ZUCHAR*>(rewritten.c_str()));
} catch (const std::exception&) {
    return nullptr;
}

VMediaServerLocator* GetFindMediaServer()
try {
    return new (std::nothrow) CMediaServerLocator();
} catch (const std::exception&) {
    return nullptr;
}

VReader* GetSocketReader(ZUBOOL bUDP)
try {
    if (bUDP)
        return new (std::nothrow) CUDPSocketReader();
    return new (std::nothrow) CTCPSocketReader();
} catch (const std::exception&) {
    return nullptr;
}

VReader* GetMemoryReader(const void* pData, int32_t nLength, ZUBOOL bCopy)
try {
    std::unique_ptr<CMemoryReader> pReader(new (std::nothrow) CMemoryReader(ZU_READER_MEMORY));
    if (!pReader)
        return nullptr;
    if (!bCopy)
        pReader->Borrow(pData, nLength);
    else if (!pReader->Copy(pData, nLength))
        return nullptr;
    return pReader.release();
} catch (const std::exception&) {
    return nullptr;
}

VReader* GetStringReader(const ZUCHAR* pszText, ZUBOOL bAnsi)
try {
    std::unique_ptr<CMemoryReader> pReader(new (std::nothrow) CMemoryReader(ZU_READER_STRING));
    if (!pReader || !pReader->CopyText(pszText, bAnsi != 0))
        return nullptr;
    return pReader.release();
} catch (const std::exception&) {
    return nullptr;
}

namespace {

// Ownership of the inner reader passes with the call, also when the wrapper cannot be made.
template <class TWrapper, class... TArgs>
VReader* WrapOwned(VReader* pInner, TArgs... args)
{
    VReader* pReader = nullptr;
    try {
        pReader = new (std::nothrow) TWrapper(pInner, args...);
    } catch (const std::exception&) {
    }
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
    return WrapOwned<CCirclingReader>(pInner);
}

VReader* GetBufferedReader(VReader* pChild)
{
    return WrapOwned<CBufferedReader>(pChild);
}

VReader* GetDVDReader(const ZUCHAR* pszDescription)
try {
    return new (std::nothrow) CDVDReader(pszDescription ? reinterpret_cast<const char16_t*>(pszDescription) : u"");
} catch (const std::exception&) {
    return nullptr;
}

VReader* GetMusicTranscoderReader(const ZUCHAR* pszEncoderName, const ZUCHAR* pszEncoderSettings, uint32_t nFlag,
                                  const ZUCHAR* pszSourcePath, const ZUCHAR* pszSourceType)
try {
    return new (std::nothrow) CMediaTranscoderReader(Text(pszEncoderName), Text(pszEncoderSettings), nFlag,
                                                     Text(pszSourcePath), Text(pszSourceType));
} catch (const std::exception&) {
    return nullptr;
}

VReader* GetVideoTranscoderReader(const ZUCHAR* pszSourcePath, const ZUCHAR* pszSourceType, uint32_t nFlag)
try {
    return new (std::nothrow) CMediaTranscoderReader(Text(pszSourcePath), Text(pszSourceType), nFlag);
} catch (const std::exception&) {
    return nullptr;
}

ZUBSTR ZUListEncoders()
try {
    std::u16string text;
    for (const auto& pEncoder : zu::transcode::CEncoderPlugins::BuildEncoderList())
        text += pEncoder->GetName() + u"\t" + pEncoder->GetModulePath() + u"\t" +
                zu::platform::Utf16FromUtf8(std::to_string(pEncoder->GetIndex())) + u"\n";
    return zu::platform::AllocSystemString(text);
} catch (const std::exception&) {
    return nullptr;
}

uint32_t ZURegisterEncoders(ZUBOOL bMachineWide)
try {
    return zu::transcode::CEncoderPlugins::RegisterInstalledEncoders(bMachineWide != 0);
} catch (const std::exception&) {
    return 0;
}

ZUBSTR ZUDescribeDVD(const ZUCHAR* pszFolder)
try {
    return zu::platform::AllocSystemString(
        zu::dvd::DescribeDVD(pszFolder ? reinterpret_cast<const char16_t*>(pszFolder) : u""));
} catch (const std::exception&) {
    return nullptr;
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
try {
    return zu::host::CHostCallbacks::Install(pCallbacks) ? 1 : 0;
} catch (const std::exception&) {
    return 0;
}

VReader* GetSplitterReader(const ZUCHAR* pszPath, int64_t nChunkSize, uint32_t nRefreshInterval)
try {
    return new (std::nothrow) CSplitterReader(pszPath, nChunkSize, nRefreshInterval);
} catch (const std::exception&) {
    return nullptr;
}

VReader* GetSharedBufferingReader(const ZUCHAR* pszPath, ZUBOOL bWritable, uint32_t nCapacity, uint32_t nBlockSize,
                                  VReader* pFileReader, VReader* pSinkWriter)
{
    const std::u16string path = pszPath ? reinterpret_cast<const char16_t*>(pszPath) : u"";
    CSharedBufferingReaderHelper* pHelper = nullptr;
    try {
        pHelper = CSharedBufferingRegistry::Instance().Acquire(path, bWritable != 0, nCapacity, nBlockSize, pFileReader,
                                                               pSinkWriter);
        return new CSharedBufferingReader(pHelper);
    } catch (const std::exception&) {
        if (pHelper)
            CSharedBufferingRegistry::Instance().Release(pHelper);
        return nullptr;
    }
}
