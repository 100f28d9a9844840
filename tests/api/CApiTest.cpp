#include "ServerSupport.h"
#include "TestSupport.h"
#include "dvd/RipperSupport.h"

#include <zureader/TextConversion.h>
#include <zureader/zureader_c.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>

using namespace zutest;

namespace {

struct CHandleDelete {
    void operator()(ZUReaderHandle* pHandle) const { ZUReaderDestroy(pHandle); }
};
using CHandle = std::unique_ptr<ZUReaderHandle, CHandleDelete>;

struct CLastError {
    int32_t nKind;
    int32_t nStatus;
    std::string message;
};

CLastError LastError()
{
    int32_t nStatus = 0;
    const char* pszMessage = nullptr;
    const int32_t nKind = ZUReaderGetLastError(&nStatus, &pszMessage);
    return {nKind, nStatus, pszMessage ? pszMessage : "(null)"};
}

std::string TakeText(char* pszText)
{
    std::string text = pszText ? pszText : "(null)";
    ZUReaderFreeString(pszText);
    return text;
}

std::string ReadAll(ZUReaderHandle* pHandle, size_t nPiece = 4096)
{
    std::string bytes;
    std::string piece(nPiece, '\0');
    for (int64_t nRead; (nRead = ZUReaderRead(pHandle, &piece[0], piece.size())) > 0;)
        bytes.append(piece, 0, static_cast<size_t>(nRead));
    return bytes;
}

std::string Url(const std::string& name, const std::string& path)
{
    return Utf8(ServerUrl(name, path));
}

CHandle OpenUrl(const std::string& url, uint32_t nTimeoutMs = 10000)
{
    CHandle handle(ZUReaderFromLocation(url.c_str()));
    if (handle)
        ZUReaderSetTimeout(handle.get(), nTimeoutMs);
    return handle;
}

}  // namespace

// A file read by UTF-8 name: its bytes and length exactly, with seeks from each origin, the flags
// and an unknown property as empty text; what fails says so in the thread's last error.
TEST(CApiTest, LocalFileByUtf8NameReadsExactlyWithSeeks)
{
    CTempFolder folder;
    const std::string bytes = PatternBytes(300000, 7);
    const std::u16string path = folder.File(u"na\u00efve \u00fc.bin");
    WriteFile(path, bytes);

    CHandle handle(ZUReaderFromLocation(Utf8(path).c_str()));
    ASSERT_TRUE(handle);
    ASSERT_EQ(ZUReaderSetOption(handle.get(), "READ_ONLY", "1"), ZUREADER_OK);
    EXPECT_EQ(ZUReaderRead(handle.get(), nullptr, 0), -1) << "a read before open";
    EXPECT_EQ(LastError().nKind, ZUREADER_ERROR_NOT_OPEN);
    ASSERT_EQ(ZUReaderOpen(handle.get()), ZUREADER_OK);
    EXPECT_EQ(LastError().nKind, ZUREADER_OK);
    EXPECT_EQ(LastError().message, "");
    EXPECT_EQ(ZUReaderGetLength(handle.get()), 300000);
    EXPECT_EQ(ZUReaderGetFlags(handle.get()), uint32_t{ZUREADER_FLAG_OPEN | ZUREADER_FLAG_READ_ONLY});
    EXPECT_EQ(TakeText(ZUReaderGetInfo(handle.get(), "No Such Property")), "");

    std::mt19937 random(18);
    std::string piece(70000, '\0');
    for (int n = 0; n < 40; ++n) {
        const int64_t nAt = std::uniform_int_distribution<int64_t>(0, 300000)(random);
        const int32_t nOrigin = n % 3;
        const int64_t nOffset = nOrigin == ZUREADER_SEEK_BEGIN ? nAt
                                : nOrigin == ZUREADER_SEEK_END ? nAt - 300000
                                                               : nAt - ZUReaderGetPosition(handle.get());
        ASSERT_EQ(ZUReaderSeek(handle.get(), nOffset, nOrigin), nAt);
        const size_t nCount = std::uniform_int_distribution<size_t>(0, piece.size())(random);
        const int64_t nRead = ZUReaderRead(handle.get(), &piece[0], nCount);
        const size_t nExpected = std::min<size_t>(nCount, static_cast<size_t>(300000 - nAt));
        ASSERT_EQ(nRead, static_cast<int64_t>(nExpected)) << "at " << nAt;
        ASSERT_EQ(piece.substr(0, nExpected), bytes.substr(static_cast<size_t>(nAt), nExpected)) << "at " << nAt;
    }
    EXPECT_EQ(ZUReaderRead(handle.get(), &piece[0], 1) >= 0, true) << "the end is not a failure";
    EXPECT_EQ(LastError().nKind, ZUREADER_OK);

    EXPECT_EQ(ZUReaderSeek(handle.get(), -1, ZUREADER_SEEK_BEGIN), -1);
    EXPECT_EQ(LastError().nKind, ZUREADER_ERROR_SEEK);
    EXPECT_EQ(ZUReaderSeek(handle.get(), 0, 3), -1);
    EXPECT_EQ(LastError().nKind, ZUREADER_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(ZUReaderWrite(handle.get(), "x", 1), -1);
    EXPECT_EQ(LastError().nKind, ZUREADER_ERROR_UNSUPPORTED);
    EXPECT_EQ(ZUReaderClose(handle.get()), ZUREADER_OK);
    EXPECT_EQ(ZUReaderClose(handle.get()), ZUREADER_OK) << "closing twice";
    EXPECT_EQ(ZUReaderGetFlags(handle.get()) & ZUREADER_FLAG_OPEN, 0u);

    const std::string missing = Utf8(folder.File(u"gone \u00e9.bin"));
    CHandle absent(ZUReaderFromPath(missing.c_str()));
    ASSERT_TRUE(absent);
    EXPECT_EQ(ZUReaderOpen(absent.get()), ZUREADER_ERROR_NOT_FOUND);
    const CLastError error = LastError();
    EXPECT_EQ(error.nKind, ZUREADER_ERROR_NOT_FOUND);
    EXPECT_NE(error.message.find(missing), std::string::npos) << error.message;
}

// A file made, written and read back after a seek.
TEST(CApiTest, CreateWriteAndReadBack)
{
    CTempFolder folder;
    const std::string path = Utf8(folder.File(u"made.bin"));
    const std::string bytes = PatternBytes(100000, 3);
    CHandle handle(ZUReaderFromPath(path.c_str()));
    ASSERT_EQ(ZUReaderCreate(handle.get()), ZUREADER_OK);
    EXPECT_EQ(ZUReaderWrite(handle.get(), bytes.data(), bytes.size()), 100000);
    EXPECT_EQ(ZUReaderSeek(handle.get(), 10, ZUREADER_SEEK_BEGIN), 10);
    EXPECT_EQ(ReadAll(handle.get()), bytes.substr(10));
    ZUReaderClose(handle.get());
    EXPECT_EQ(ReadFile(folder.File(u"made.bin")), bytes);
}

// Null handles and texts are refused without a crash; each thread sees its own last error, and a
// successful call clears it.
TEST(CApiTest, ArgumentsAndTheLastErrorPerThread)
{
    EXPECT_EQ(ZUReaderFromLocation(nullptr), nullptr);
    EXPECT_EQ(LastError().nKind, ZUREADER_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(ZUReaderOpen(nullptr), ZUREADER_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(ZUReaderRead(nullptr, nullptr, 0), -1);
    EXPECT_EQ(ZUReaderGetFlags(nullptr), 0u);
    EXPECT_EQ(ZUReaderBuffered(nullptr), nullptr);
    ZUReaderDestroy(nullptr);
    ZUReaderFreeString(nullptr);

    CHandle handle(ZUReaderFromMemory("abc", 3, 1));
    EXPECT_EQ(ZUReaderSetOption(handle.get(), "KEY", nullptr), ZUREADER_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(ZUReaderGetInfo(handle.get(), nullptr), nullptr);
    EXPECT_EQ(LastError().nKind, ZUREADER_ERROR_INVALID_ARGUMENT);

    CLastError other{-1, -1, ""};
    std::thread([&] {
        other = LastError();
        ZUReaderSeek(nullptr, 0, 0);
    }).join();
    EXPECT_EQ(other.nKind, ZUREADER_OK) << "another thread's error is its own";
    EXPECT_EQ(LastError().nKind, ZUREADER_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(ZUReaderGetLength(handle.get()), 3);
    EXPECT_EQ(LastError().nKind, ZUREADER_OK);
}

// The decorators take over their inner handle; the families' own operations reach the reader
// that has them and no other.
TEST(CApiTest, DecoratorsAndTheirFamiliesOperations)
{
    const std::string bytes = PatternBytes(5000, 2);
    CHandle truncated(ZUReaderTruncating(ZUReaderFromMemory(bytes.data(), 5000, 1), 1000));
    ASSERT_TRUE(truncated);
    EXPECT_EQ(ZUReaderGetLength(truncated.get()), 1000);

    CHandle circling(ZUReaderCircling(ZUReaderFromMemory(bytes.data(), 5000, 1)));
    ASSERT_EQ(ZUReaderSetCircling(circling.get(), 1, 1000), ZUREADER_OK);
    ASSERT_EQ(ZUReaderSetEndOfStreamPosition(circling.get(), 3000), ZUREADER_OK);
    ASSERT_EQ(ZUReaderOpen(circling.get()), ZUREADER_OK);
    ASSERT_EQ(ZUReaderSeek(circling.get(), 4000, ZUREADER_SEEK_BEGIN), 4000);
    EXPECT_EQ(ReadAll(circling.get(), 700), bytes.substr(4000) + bytes.substr(1000, 2000))
        << "wraps to the restart position and stops at the end-of-stream position";
    EXPECT_EQ(LastError().nKind, ZUREADER_OK) << "a circling reader's end is no failure";

    CHandle buffered(ZUReaderBuffered(ZUReaderFromMemory(bytes.data(), 5000, 1)));
    ASSERT_EQ(ZUReaderSetBufferSize(buffered.get(), 1 << 16), ZUREADER_OK);
    ASSERT_EQ(ZUReaderOpen(buffered.get()), ZUREADER_OK);
    EXPECT_EQ(ReadAll(buffered.get(), 999), bytes);
    uint32_t nCapacity = 0, nEnded = 0;
    EXPECT_EQ(ZUReaderGetBufferState(buffered.get(), nullptr, nullptr, &nCapacity, &nEnded), ZUREADER_OK);
    EXPECT_EQ(nCapacity, 1u << 16);
    EXPECT_EQ(nEnded, 1u);
    EXPECT_EQ(TakeText(ZUReaderGetStreamTitle(buffered.get())), "");

    EXPECT_EQ(ZUReaderGetStreamTitle(circling.get()), nullptr);
    EXPECT_EQ(LastError().nKind, ZUREADER_ERROR_UNSUPPORTED);
    EXPECT_EQ(ZUReaderEnableIcyMetadata(truncated.get()), ZUREADER_ERROR_UNSUPPORTED);
    EXPECT_EQ(ZUReaderSetCircling(buffered.get(), 1, 0), ZUREADER_ERROR_UNSUPPORTED);
}

// An HTTP source read exactly with seeks; its failures reach the last error with the server's
// status and the kind a host can act on.
TEST(CApiTest, HttpReadsAndFailuresCarryTheStatus)
{
    ZU_REQUIRE_SERVERS();
    const std::string pattern = ServedPattern();
    CHandle handle = OpenUrl(Url("NGINX_HTTP", "/pattern.bin"));
    ASSERT_EQ(ZUReaderOpen(handle.get()), ZUREADER_OK) << LastError().message;
    EXPECT_EQ(ZUReaderGetLength(handle.get()), static_cast<int64_t>(pattern.size()));
    EXPECT_EQ(ZUReaderGetFlags(handle.get()), uint32_t{ZUREADER_FLAG_OPEN | ZUREADER_FLAG_READ_ONLY | ZUREADER_FLAG_REMOTE});
    EXPECT_EQ(TakeText(ZUReaderGetInfo(handle.get(), "StatusCode")), "200");
    ASSERT_EQ(ZUReaderSeek(handle.get(), 777777, ZUREADER_SEEK_BEGIN), 777777);
    EXPECT_EQ(ReadAll(handle.get(), 65536), pattern.substr(777777));
    ASSERT_EQ(ZUReaderSeek(handle.get(), -1000, ZUREADER_SEEK_END), static_cast<int64_t>(pattern.size()) - 1000);
    EXPECT_EQ(ReadAll(handle.get()), pattern.substr(pattern.size() - 1000));

    CHandle missing = OpenUrl(Url("NGINX_HTTP", "/no/such.bin"));
    EXPECT_EQ(ZUReaderOpen(missing.get()), ZUREADER_ERROR_NOT_FOUND);
    CLastError error = LastError();
    EXPECT_EQ(error.nStatus, 404);
    EXPECT_NE(error.message.find("status 404"), std::string::npos) << error.message;
    EXPECT_NE(error.message.find("/no/such.bin"), std::string::npos) << error.message;

    CHandle secret = OpenUrl(Url("NGINX_HTTP", "/auth/secret.txt"));
    EXPECT_EQ(ZUReaderOpen(secret.get()), ZUREADER_ERROR_ACCESS_DENIED) << LastError().message;

    // Port 1 on loopback: nothing listens there.
    CHandle refused = OpenUrl("http://127.0.0.1:1/x");
    EXPECT_EQ(ZUReaderOpen(refused.get()), ZUREADER_ERROR_NO_CONNECTION) << LastError().message;
    EXPECT_NE(LastError().message.find("status -1"), std::string::npos) << LastError().message;

    CHandle stalled = OpenUrl(Url("ODD_HTTP", "/stall?ms=3000&length=16&" + UniqueTag("capi")), 500);
    EXPECT_EQ(ZUReaderOpen(stalled.get()), ZUREADER_ERROR_TIMED_OUT) << LastError().message;
    EXPECT_EQ(LastError().nStatus, 408);

    EXPECT_EQ(ZUReaderFromLocation("h ttp://x"), nullptr);
    EXPECT_EQ(LastError().nKind, ZUREADER_ERROR_BAD_URL);
}

// A body cut short: the bytes that came are answered, then the failure, once.
TEST(CApiTest, TransferCutShortIsReportedAfterItsBytes)
{
    ZU_REQUIRE_SERVERS();
    CHandle handle = OpenUrl(Url("ODD_HTTP", "/drop?length=100000&" + UniqueTag("capi-drop")));
    ASSERT_EQ(ZUReaderOpen(handle.get()), ZUREADER_OK) << LastError().message;
    std::string buffer(200000, '\0');
    EXPECT_EQ(ZUReaderRead(handle.get(), &buffer[0], buffer.size()), 50000);
    EXPECT_EQ(LastError().nKind, ZUREADER_OK);
    EXPECT_EQ(ZUReaderRead(handle.get(), &buffer[0], buffer.size()), -1);
    const CLastError error = LastError();
    EXPECT_EQ(error.nKind, ZUREADER_ERROR_CUT_SHORT) << error.message;
    EXPECT_NE(error.message.find("50000 of the 100000"), std::string::npos) << error.message;
}

// The request body is the handle's own copy: the caller's buffer may change or go at once.
TEST(CApiTest, PostDataIsCopied)
{
    ZU_REQUIRE_SERVERS();
    const std::string tag = UniqueTag("capi-post");
    CHandle handle = OpenUrl(Url("ODD_HTTP", "/echo?" + tag));
    char body[] = "name=value&tag=one";
    ASSERT_EQ(ZUReaderSetOption(handle.get(), "HTTPREQUEST_TYPE", "POST"), ZUREADER_OK);
    ASSERT_EQ(ZUReaderSetPostData(handle.get(), body, sizeof(body) - 1), ZUREADER_OK);
    std::memset(body, 'X', sizeof(body) - 1);
    ASSERT_EQ(ZUReaderOpen(handle.get()), ZUREADER_OK) << LastError().message;
    const std::string echo = ReadAll(handle.get());
    EXPECT_EQ(echo.substr(0, 5), "POST ");
    EXPECT_EQ(echo.substr(echo.size() - 18), "name=value&tag=one");
}

// A radio stream through the read-ahead reader: the audio without its metadata, and the title of
// the audio at the read position.
TEST(CApiTest, RadioTitlesThroughTheReadAheadReader)
{
    ZU_REQUIRE_SERVERS();
    CHandle handle(ZUReaderBuffered(ZUReaderFromUrl(Url("ODD_HTTP", "/radio?metaint=1000&blocks=6").c_str())));
    ASSERT_EQ(ZUReaderEnableIcyMetadata(handle.get()), ZUREADER_OK);
    ASSERT_EQ(ZUReaderSetBufferSize(handle.get(), 1 << 20), ZUREADER_OK);
    ASSERT_EQ(ZUReaderOpen(handle.get()), ZUREADER_OK) << LastError().message;
    // Titles are asked for in the middle of an interval: by then the block before it has come.
    std::string audio(1500, '\0');
    ASSERT_EQ(ZUReaderRead(handle.get(), &audio[0], 1500), 1500);
    EXPECT_EQ(TakeText(ZUReaderGetStreamTitleAtReadPosition(handle.get(), nullptr)), "Title 0");
    std::string more(2000, '\0');
    ASSERT_EQ(ZUReaderRead(handle.get(), &more[0], 2000), 2000);
    uint32_t nToNext = 0;
    EXPECT_EQ(TakeText(ZUReaderGetStreamTitleAtReadPosition(handle.get(), &nToNext)), "Rock 'n' Roll \"2\"");
    EXPECT_NE(nToNext, 0u);
    EXPECT_EQ(audio + more + ReadAll(handle.get()), PatternBytes(6000, 3));
    EXPECT_EQ(LastError().nKind, ZUREADER_OK) << LastError().message;
}

// The seekable remote reader through the C interface: the served file exactly, from a seek too.
TEST(CApiTest, BufferedInternetReaderReadsExactlyAfterASeek)
{
    ZU_REQUIRE_SERVERS();
    const std::string pattern = ServedPattern();
    CHandle handle(ZUReaderFromBufferedInternet(Url("NGINX_HTTP", "/pattern.bin").c_str()));
    ASSERT_TRUE(handle);
    ZUReaderSetTimeout(handle.get(), 10000);
    ASSERT_EQ(ZUReaderOpen(handle.get()), ZUREADER_OK) << LastError().message;
    ASSERT_EQ(ZUReaderSeek(handle.get(), 500000, ZUREADER_SEEK_BEGIN), 500000) << LastError().message;
    EXPECT_EQ(ReadAll(handle.get(), 100000), pattern.substr(500000));
    EXPECT_EQ(LastError().nKind, ZUREADER_OK) << LastError().message;
}

// A DVD title through the C interface: described from its folder, read whole, the same bytes as
// the C++ reader of the same description delivers, and the DVD reader's own operations.
TEST(CApiTest, DvdTitleFromItsDescription)
{
    zutest::dvd::CMarkedDisc disc;
    char* pszDescription = ZUReaderDescribeDVD(Utf8(disc.Folder()).c_str());
    ASSERT_NE(pszDescription, nullptr) << LastError().message;
    const std::string description = TakeText(pszDescription);

    CHandle handle(ZUReaderFromDVD(description.c_str()));
    ASSERT_EQ(ZUReaderOpen(handle.get()), ZUREADER_OK) << LastError().message;
    EXPECT_GT(ZUReaderGetDVDTitleNumber(handle.get()), 0);
    const std::string bytes = ReadAll(handle.get(), 10000);
    EXPECT_EQ(LastError().nKind, ZUREADER_OK) << "a DVD title's end lies before its length and is no failure";
    EXPECT_DOUBLE_EQ(ZUReaderGetDVDProgress(handle.get()), 1.0);

    CReaderPtr pReader(GetDVDReader(Z(zureader::Utf16FromUtf8(description))));
    ASSERT_TRUE(pReader->Open());
    std::string expected;
    for (std::string piece; !(piece = ReadUpTo(*pReader, 10000)).empty();)
        expected += piece;
    EXPECT_FALSE(bytes.empty());
    EXPECT_EQ(bytes, expected);

    CHandle memory(ZUReaderFromMemory("abc", 3, 1));
    EXPECT_EQ(ZUReaderGetDVDTitleNumber(memory.get()), -1);
    EXPECT_EQ(LastError().nKind, ZUREADER_ERROR_UNSUPPORTED);
    EXPECT_EQ(ZUReaderDescribeDVD(Utf8(disc.Folder() + u"/nothing").c_str()), nullptr);
    EXPECT_EQ(LastError().nKind, ZUREADER_ERROR_NOT_FOUND);
}
