// The plain C interface (zureader/zureader_c.h) over the readers the C++ factories make. Every call
// clears the thread's last error first and catches what the C++ side may throw, so that a C host
// sees only results and ZUReaderGetLastError.
#include <zureader/zureader_c.h>

#include <zureader/TextConversion.h>
#include <zureader/ZUReader.h>

#include "api/LastError.h"
#include "api/ReaderFailure.h"
#include "api/ReaderHandle.h"
#include "api/SystemText.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <utility>

using zu::api::CopyForHost;
using zu::api::InfoOf;
using zu::api::TakeSystemString;

namespace {

// A reader's count is 32-bit; larger requests go in pieces of this size.
constexpr size_t kMaxPiece = size_t{1} << 30;
// What the socket and buffered Internet readers answer for a failed Read or Write.
constexpr uint32_t kTransferFailed = 0xFFFFFFFFu;
// Stands for "failed" in the calls whose result is the kind of failure.
constexpr int32_t kStatusFailed = -1;

std::u16string Wide(const char* pszText)
{
    return zureader::Utf16FromUtf8(pszText);
}

const ZUCHAR* Z(const std::u16string& text)
{
    return reinterpret_cast<const ZUCHAR*>(text.c_str());
}

std::string Narrow(const std::u16string& text)
{
    return zureader::Utf8FromUtf16(text);
}

template <class TResult>
TResult Fail(TResult result, int32_t nKind, std::string message)
{
    CLastError::Set(nKind, 0, std::move(message));
    return result;
}

template <class TResult, class TBody>
TResult Guarded(TResult failure, TBody body)
{
    CLastError::Clear();
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return Fail(failure, ZUREADER_ERROR_NO_MEMORY, "out of memory");
    } catch (const std::exception& e) {
        return Fail(failure, ZUREADER_ERROR_FAILED, e.what());
    }
}

template <class TResult, class TBody>
TResult WithReader(ZUReaderHandle* pHandle, TResult failure, TBody body)
{
    return Guarded(failure, [&]() -> TResult {
        if (!pHandle || !pHandle->m_pReader)
            return Fail(failure, ZUREADER_ERROR_INVALID_ARGUMENT, "no reader (a null handle)");
        return body(*pHandle);
    });
}

// For the calls whose result is ZUREADER_OK or the kind of failure.
template <class TBody>
int32_t StatusWithReader(ZUReaderHandle* pHandle, TBody body)
{
    const int32_t nResult = WithReader(pHandle, kStatusFailed, body);
    return nResult == kStatusFailed ? CLastError::Get(nullptr, nullptr) : nResult;
}

// The read-ahead and circling readers' own operations, on a handle that holds one.
template <class TFamily, class TResult, class TBody>
TResult WithFamily(ZUReaderHandle* pHandle, TResult failure, const char* pszFamily, TBody body)
{
    return WithReader(pHandle, failure, [&](ZUReaderHandle& handle) -> TResult {
        TFamily* pFamily = ZUReaderCast<TFamily>(handle.m_pReader.get());
        if (!pFamily)
            return Fail(failure, ZUREADER_ERROR_UNSUPPORTED, Narrow(handle.m_Location) + " is not " + pszFamily);
        return body(*pFamily);
    });
}

template <class TFamily, class TBody>
int32_t StatusWithFamily(ZUReaderHandle* pHandle, const char* pszFamily, TBody body)
{
    const int32_t nResult = WithFamily<TFamily>(pHandle, kStatusFailed, pszFamily, [&](TFamily& family) {
        body(family);
        return int32_t{ZUREADER_OK};
    });
    return nResult == kStatusFailed ? CLastError::Get(nullptr, nullptr) : nResult;
}

// Takes over the reader a factory made (null: memory ran out, or whyNull).
ZUReaderHandle* Adopt(VReader* pReader, const char* pszLocation, int32_t nKindWhenNull, const char* pszWhyNull)
{
    std::unique_ptr<VReader> pOwned(pReader);
    if (!pOwned)
        return Fail<ZUReaderHandle*>(nullptr, nKindWhenNull, std::string(pszWhyNull) + ": " + pszLocation);
    auto pHandle = std::make_unique<ZUReaderHandle>(nullptr, Wide(pszLocation));
    pHandle->m_pReader = std::move(pOwned);
    return pHandle.release();
}

template <class TFactory>
ZUReaderHandle* Make(const char* pszLocation, TFactory factory)
{
    return Guarded<ZUReaderHandle*>(nullptr, [&]() -> ZUReaderHandle* {
        if (!pszLocation)
            return Fail<ZUReaderHandle*>(nullptr, ZUREADER_ERROR_INVALID_ARGUMENT, "no location (a null text)");
        return Adopt(factory(Z(Wide(pszLocation))), pszLocation, ZUREADER_ERROR_NO_MEMORY, "out of memory");
    });
}

// The handle goes on holding the decorator in place of the reader it wraps, which keeps the
// location and the request body the handle copied.
template <class TWrap>
ZUReaderHandle* Decorate(ZUReaderHandle* pInner, TWrap wrap)
{
    return Guarded<ZUReaderHandle*>(nullptr, [&]() -> ZUReaderHandle* {
        std::unique_ptr<ZUReaderHandle> pHandle(pInner);
        if (!pHandle || !pHandle->m_pReader)
            return Fail<ZUReaderHandle*>(nullptr, ZUREADER_ERROR_INVALID_ARGUMENT, "no reader to wrap (a null handle)");
        VReader* pWrapper = wrap(pHandle->m_pReader.release());
        if (!pWrapper)
            return Fail<ZUReaderHandle*>(nullptr, ZUREADER_ERROR_NO_MEMORY, "out of memory");
        pHandle->m_pReader.reset(pWrapper);
        pHandle->m_bFailurePending = false;
        return pHandle.release();
    });
}

int64_t ReportPendingFailure(ZUReaderHandle& handle)
{
    handle.m_bFailurePending = false;
    handle.m_PendingFailure.Report();
    return -1;
}

// Reads in 32-bit pieces until the count is there or a piece comes short; bFailed tells a
// reader's own failure result apart from a short count.
size_t ReadPieces(VReader& reader, unsigned char* pBuffer, size_t nCount, bool& bFailed)
{
    size_t nDone = 0;
    bFailed = false;
    while (nDone < nCount) {
        const auto nAsk = static_cast<uint32_t>(std::min(nCount - nDone, kMaxPiece));
        const uint32_t nGot = reader.Read(pBuffer + nDone, nAsk);
        if (nGot == kTransferFailed) {
            bFailed = true;
            break;
        }
        nDone += nGot;
        if (nGot < nAsk)
            break;
    }
    return nDone;
}

size_t WritePieces(VReader& reader, const unsigned char* pBuffer, size_t nCount)
{
    size_t nDone = 0;
    while (nDone < nCount) {
        const auto nAsk = static_cast<uint32_t>(std::min(nCount - nDone, kMaxPiece));
        const uint32_t nPut = reader.Write(pBuffer + nDone, nAsk);
        if (nPut == kTransferFailed)
            break;
        nDone += nPut;
        if (nPut < nAsk)
            break;
    }
    return nDone;
}

uint32_t Flag(ZUBOOL bSet, uint32_t nBit)
{
    return bSet ? nBit : 0;
}

const char* OriginName(int32_t nOrigin)
{
    return nOrigin == ZUREADER_SEEK_BEGIN ? "the start" : nOrigin == ZUREADER_SEEK_CURRENT ? "the position" : "the end";
}

}  // namespace

ZUReaderHandle* ZUReaderFromLocation(const char* pszLocation)
{
    return Guarded<ZUReaderHandle*>(nullptr, [&]() -> ZUReaderHandle* {
        if (!pszLocation)
            return Fail<ZUReaderHandle*>(nullptr, ZUREADER_ERROR_INVALID_ARGUMENT, "no location (a null text)");
        // The generic factory answers null for a URL it cannot parse as well as for want of memory.
        const bool bUrl = std::string(pszLocation).find("://") != std::string::npos;
        return Adopt(GetGenericReader(Z(Wide(pszLocation))), pszLocation,
                     bUrl ? ZUREADER_ERROR_BAD_URL : ZUREADER_ERROR_NO_MEMORY,
                     bUrl ? "cannot parse the URL" : "out of memory");
    });
}

ZUReaderHandle* ZUReaderFromPath(const char* pszPath)
{
    return Make(pszPath, GetLocalReader);
}

ZUReaderHandle* ZUReaderFromUrl(const char* pszUrl)
{
    return Make(pszUrl, GetInternetReader);
}

ZUReaderHandle* ZUReaderFromBufferedInternet(const char* pszUrl)
{
    return Make(pszUrl, GetBufferedInternetReader);
}

ZUReaderHandle* ZUReaderFromDVD(const char* pszDescription)
{
    return Guarded<ZUReaderHandle*>(nullptr, [&]() -> ZUReaderHandle* {
        if (!pszDescription)
            return Fail<ZUReaderHandle*>(nullptr, ZUREADER_ERROR_INVALID_ARGUMENT, "no rip description (a null text)");
        // The description is pages long: messages name the reader instead.
        return Adopt(GetDVDReader(Z(Wide(pszDescription))), "the DVD title", ZUREADER_ERROR_NO_MEMORY, "out of memory");
    });
}

ZUReaderHandle* ZUReaderFromMemory(const void* pData, int32_t nLength, int32_t bCopy)
{
    return Guarded<ZUReaderHandle*>(nullptr, [&] {
        return Adopt(GetMemoryReader(pData, nLength, bCopy), "memory", ZUREADER_ERROR_NO_MEMORY, "out of memory");
    });
}

ZUReaderHandle* ZUReaderBuffered(ZUReaderHandle* pInner)
{
    return Decorate(pInner, [](VReader* pReader) { return GetBufferedReader(pReader); });
}

ZUReaderHandle* ZUReaderTruncating(ZUReaderHandle* pInner, int64_t nLimit)
{
    return Decorate(pInner, [nLimit](VReader* pReader) { return GetTruncatingReader(pReader, nLimit); });
}

ZUReaderHandle* ZUReaderCircling(ZUReaderHandle* pInner)
{
    return Decorate(pInner, [](VReader* pReader) { return GetCirclingReader(pReader); });
}

int32_t ZUReaderSetOption(ZUReaderHandle* pHandle, const char* pszKey, const char* pszValue)
{
    return StatusWithReader(pHandle, [&](ZUReaderHandle& handle) -> int32_t {
        if (!pszKey || !pszValue)
            return Fail(kStatusFailed, ZUREADER_ERROR_INVALID_ARGUMENT, "an option needs a key and a value");
        handle.m_pReader->SetOption(Z(Wide(pszKey)), Z(Wide(pszValue)));
        return ZUREADER_OK;
    });
}

int32_t ZUReaderSetTimeout(ZUReaderHandle* pHandle, uint32_t nMilliseconds)
{
    return StatusWithReader(pHandle, [&](ZUReaderHandle& handle) -> int32_t {
        handle.m_pReader->SetTimeout(nMilliseconds);
        return ZUREADER_OK;
    });
}

// The reader keeps only the pointer: the handle keeps the bytes for as long as it lives.
int32_t ZUReaderSetPostData(ZUReaderHandle* pHandle, const void* pData, uint32_t nLength)
{
    return StatusWithReader(pHandle, [&](ZUReaderHandle& handle) -> int32_t {
        const auto* pBytes = static_cast<const unsigned char*>(pData);
        if (!pBytes)
            nLength = 0;
        handle.m_PostData.assign(pBytes, pBytes + nLength);
        handle.m_pReader->SetPostData(nLength ? handle.m_PostData.data() : nullptr, nLength);
        return ZUREADER_OK;
    });
}

int32_t ZUReaderOpen(ZUReaderHandle* pHandle)
{
    return StatusWithReader(pHandle, [&](ZUReaderHandle& handle) -> int32_t {
        handle.m_bFailurePending = false;
        if (handle.m_pReader->Open())
            return ZUREADER_OK;
        const CReaderFailure failure = CReaderFailure::OfOpen(*handle.m_pReader, handle.m_Location);
        failure.Report();
        return failure.Kind();
    });
}

int32_t ZUReaderCreate(ZUReaderHandle* pHandle)
{
    return StatusWithReader(pHandle, [&](ZUReaderHandle& handle) -> int32_t {
        handle.m_bFailurePending = false;
        if (handle.m_pReader->Create())
            return ZUREADER_OK;
        return Fail(kStatusFailed, handle.m_pReader->IsRemote() ? ZUREADER_ERROR_UNSUPPORTED : ZUREADER_ERROR_FAILED,
                    "cannot create " + Narrow(handle.m_Location));
    });
}

int64_t ZUReaderRead(ZUReaderHandle* pHandle, void* pBuffer, size_t nCount)
{
    return WithReader(pHandle, int64_t{-1}, [&](ZUReaderHandle& handle) -> int64_t {
        if (!pBuffer && nCount > 0)
            return Fail(int64_t{-1}, ZUREADER_ERROR_INVALID_ARGUMENT, "no buffer to read into");
        if (handle.m_bFailurePending)
            return ReportPendingFailure(handle);
        VReader& reader = *handle.m_pReader;
        if (!reader.IsOpen())
            return Fail(int64_t{-1}, ZUREADER_ERROR_NOT_OPEN, Narrow(handle.m_Location) + " is not open");
        bool bFailed = false;
        const size_t nDone = ReadPieces(reader, static_cast<unsigned char*>(pBuffer), nCount, bFailed);
        if (nDone == nCount)
            return static_cast<int64_t>(nDone);
        CReaderFailure failure(ZUREADER_ERROR_FAILED, 0, "cannot read " + Narrow(handle.m_Location));
        if (!CReaderFailure::OfShortRead(reader, handle.m_Location, failure) && !bFailed)
            return static_cast<int64_t>(nDone);
        // The bytes that came are the caller's; the failure waits for the next read.
        handle.m_PendingFailure = std::move(failure);
        handle.m_bFailurePending = true;
        return nDone > 0 ? static_cast<int64_t>(nDone) : ReportPendingFailure(handle);
    });
}

int64_t ZUReaderWrite(ZUReaderHandle* pHandle, const void* pBuffer, size_t nCount)
{
    return WithReader(pHandle, int64_t{-1}, [&](ZUReaderHandle& handle) -> int64_t {
        if (!pBuffer && nCount > 0)
            return Fail(int64_t{-1}, ZUREADER_ERROR_INVALID_ARGUMENT, "no bytes to write");
        VReader& reader = *handle.m_pReader;
        if (!reader.IsOpen())
            return Fail(int64_t{-1}, ZUREADER_ERROR_NOT_OPEN, Narrow(handle.m_Location) + " is not open");
        const size_t nDone = WritePieces(reader, static_cast<const unsigned char*>(pBuffer), nCount);
        if (nDone > 0 || nCount == 0)
            return static_cast<int64_t>(nDone);
        if (reader.IsReadOnly())
            return Fail(int64_t{-1}, ZUREADER_ERROR_UNSUPPORTED, "cannot write " + Narrow(handle.m_Location) + ": it is read-only");
        return Fail(int64_t{-1}, ZUREADER_ERROR_FAILED, "cannot write " + Narrow(handle.m_Location));
    });
}

int64_t ZUReaderSeek(ZUReaderHandle* pHandle, int64_t nOffset, int32_t nOrigin)
{
    return WithReader(pHandle, int64_t{-1}, [&](ZUReaderHandle& handle) -> int64_t {
        if (nOrigin < ZUREADER_SEEK_BEGIN || nOrigin > ZUREADER_SEEK_END)
            return Fail(int64_t{-1}, ZUREADER_ERROR_INVALID_ARGUMENT, "unknown seek origin " + std::to_string(nOrigin));
        const int64_t nPosition = handle.m_pReader->SetPosition(nOffset, static_cast<uint32_t>(nOrigin));
        if (nPosition < 0)
            return Fail(int64_t{-1}, ZUREADER_ERROR_SEEK,
                        "cannot move " + Narrow(handle.m_Location) + " to " + std::to_string(nOffset) + " from " +
                            OriginName(nOrigin));
        handle.m_bFailurePending = false;
        return nPosition;
    });
}

int64_t ZUReaderGetPosition(ZUReaderHandle* pHandle)
{
    return WithReader(pHandle, int64_t{-1}, [](ZUReaderHandle& handle) { return handle.m_pReader->GetPosition(); });
}

int64_t ZUReaderGetLength(ZUReaderHandle* pHandle)
{
    return WithReader(pHandle, int64_t{-1}, [](ZUReaderHandle& handle) { return handle.m_pReader->GetLength(); });
}

uint32_t ZUReaderGetFlags(ZUReaderHandle* pHandle)
{
    return WithReader(pHandle, uint32_t{0}, [](ZUReaderHandle& handle) {
        VReader& reader = *handle.m_pReader;
        return Flag(reader.IsOpen(), ZUREADER_FLAG_OPEN) | Flag(reader.IsReadOnly(), ZUREADER_FLAG_READ_ONLY) |
               Flag(reader.IsRemote(), ZUREADER_FLAG_REMOTE) | Flag(reader.IsLengthUnknown(), ZUREADER_FLAG_LENGTH_UNKNOWN);
    });
}

char* ZUReaderGetInfo(ZUReaderHandle* pHandle, const char* pszName)
{
    return WithReader(pHandle, static_cast<char*>(nullptr), [&](ZUReaderHandle& handle) -> char* {
        if (!pszName)
            return Fail(static_cast<char*>(nullptr), ZUREADER_ERROR_INVALID_ARGUMENT, "no property name");
        return CopyForHost(InfoOf(*handle.m_pReader, Wide(pszName).c_str()));
    });
}

int32_t ZUReaderClose(ZUReaderHandle* pHandle)
{
    return StatusWithReader(pHandle, [](ZUReaderHandle& handle) -> int32_t {
        // Only the reader is touched: a read may still be running on another thread, and the
        // failure it may leave is cleared by the next open.
        handle.m_pReader->Close();
        return ZUREADER_OK;
    });
}

void ZUReaderDestroy(ZUReaderHandle* pHandle)
{
    Guarded(0, [&] {
        delete pHandle;
        return 0;
    });
}

void ZUReaderFreeString(char* pszText)
{
    std::free(pszText);
}

int32_t ZUReaderGetLastError(int32_t* pnStatus, const char** ppszMessage)
{
    return CLastError::Get(pnStatus, ppszMessage);
}

namespace {

constexpr char kReadAhead[] = "a read-ahead reader";
constexpr char kCircling[] = "a circling reader";
constexpr char kDVD[] = "a DVD reader";

}  // namespace

int32_t ZUReaderEnableIcyMetadata(ZUReaderHandle* pHandle)
{
    return StatusWithFamily<VBufferedReader>(pHandle, kReadAhead, [](VBufferedReader& reader) { reader.EnableIcyMetadata(); });
}

int32_t ZUReaderSetBufferSize(ZUReaderHandle* pHandle, uint32_t nBytes)
{
    return StatusWithFamily<VBufferedReader>(pHandle, kReadAhead, [&](VBufferedReader& reader) { reader.SetBufferSize(nBytes); });
}

int32_t ZUReaderSetWaitAtEnd(ZUReaderHandle* pHandle, int32_t bWait)
{
    return StatusWithFamily<VBufferedReader>(pHandle, kReadAhead, [&](VBufferedReader& reader) { reader.SetWaitAtEnd(bWait); });
}

int32_t ZUReaderGetBufferState(ZUReaderHandle* pHandle, uint32_t* pActive, uint32_t* pBuffered, uint32_t* pCapacity,
                               uint32_t* pEnded)
{
    return StatusWithFamily<VBufferedReader>(pHandle, kReadAhead, [&](VBufferedReader& reader) {
        reader.GetBufferState(pActive, pBuffered, pCapacity, pEnded);
    });
}

char* ZUReaderGetStreamTitle(ZUReaderHandle* pHandle)
{
    return WithFamily<VBufferedReader>(pHandle, static_cast<char*>(nullptr), kReadAhead, [](VBufferedReader& reader) {
        return CopyForHost(TakeSystemString(reader.GetStreamTitle()));
    });
}

char* ZUReaderGetStreamTitleAtReadPosition(ZUReaderHandle* pHandle, uint32_t* pBytesToNext)
{
    return WithFamily<VBufferedReader>(pHandle, static_cast<char*>(nullptr), kReadAhead, [&](VBufferedReader& reader) {
        return CopyForHost(TakeSystemString(reader.GetStreamTitleAtReadPosition(pBytesToNext)));
    });
}

int32_t ZUReaderSetCircling(ZUReaderHandle* pHandle, int32_t bCircling, int64_t nRestartPosition)
{
    return StatusWithFamily<VCirclingReader>(pHandle, kCircling, [&](VCirclingReader& reader) {
        reader.SetCircling(bCircling);
        reader.SetRestartPosition(nRestartPosition);
    });
}

int32_t ZUReaderSetEndOfStreamPosition(ZUReaderHandle* pHandle, int64_t nPosition)
{
    return StatusWithFamily<VCirclingReader>(pHandle, kCircling,
                                             [&](VCirclingReader& reader) { reader.SetEndOfStreamPosition(nPosition); });
}

char* ZUReaderDescribeDVD(const char* pszFolder)
{
    return Guarded(static_cast<char*>(nullptr), [&]() -> char* {
        if (!pszFolder)
            return Fail(static_cast<char*>(nullptr), ZUREADER_ERROR_INVALID_ARGUMENT, "no folder (a null text)");
        const std::u16string description = TakeSystemString(ZUDescribeDVD(Z(Wide(pszFolder))));
        if (description.empty())
            return Fail(static_cast<char*>(nullptr), ZUREADER_ERROR_NOT_FOUND,
                        std::string("no DVD-Video disc with readable titles in ") + pszFolder);
        return CopyForHost(description);
    });
}

int32_t ZUReaderGetDVDTitleNumber(ZUReaderHandle* pHandle)
{
    return WithFamily<VDVDReader>(pHandle, int32_t{-1}, kDVD, [](VDVDReader& reader) { return reader.GetTitleNumber(); });
}

double ZUReaderGetDVDProgress(ZUReaderHandle* pHandle)
{
    return WithFamily<VDVDReader>(pHandle, -1.0, kDVD, [](VDVDReader& reader) { return reader.GetProgress(); });
}
