#include "api/ReaderFailure.h"

#include "api/LastError.h"
#include "api/SystemText.h"
#include "net/InternetStatus.h"
#include "platform/File.h"
#include "platform/Internet.h"

#include <zureader/TextConversion.h>
#include <zureader/zureader_c.h>

#include <cstdlib>
#include <utility>

using namespace zu::platform;

namespace {

int32_t StatusOf(VReader& reader)
{
    return std::atoi(zureader::Utf8FromUtf16(zu::api::InfoOf(reader, u"StatusCode")).c_str());
}

// Servers' and the system's texts may end in a line break; a message stays on one line.
std::string OneLine(const std::u16string& text)
{
    std::string line = zureader::Utf8FromUtf16(text);
    for (char& c : line)
        c = (c == '\r' || c == '\n') ? ' ' : c;
    while (!line.empty() && line.back() == ' ')
        line.pop_back();
    return line;
}

}  // namespace

CReaderFailure::CReaderFailure(int32_t nKind, int32_t nStatus, std::string message)
    : m_nKind(nKind), m_nStatus(nStatus), m_Message(std::move(message))
{
}

CReaderFailure CReaderFailure::OfOpen(VReader& reader, const std::u16string& location)
{
    const std::string what = "cannot open " + zureader::Utf8FromUtf16(location);
    if (reader.IsRemote())
        return OfNetwork(reader, what);
    // The local file reader keeps no reason of its own; whether the file is there tells the two
    // common ones apart.
    if (FileSizeByName(location) < 0 && !IsDirectory(location))
        return CReaderFailure(ZUREADER_ERROR_NOT_FOUND, 0, what + ": no such file");
    return CReaderFailure(ZUREADER_ERROR_ACCESS_DENIED, 0, what + ": the file cannot be opened");
}

bool CReaderFailure::OfShortRead(VReader& reader, const std::u16string& location, CReaderFailure& failure)
{
    const std::string what = "cannot read " + zureader::Utf8FromUtf16(location);
    if (reader.IsRemote()) {
        // A transfer that fails once the answer came turns the status into -1 (-2 without a
        // network); the server's status, an error one too when SUCCEED_ON_ERROR let it open, stays.
        if (StatusOf(reader) >= 0)
            return false;
        failure = OfNetwork(reader, what);
        const int64_t nLength = reader.GetLength();
        if (nLength > 0 && reader.GetPosition() < nLength)
            failure.m_nKind = ZUREADER_ERROR_CUT_SHORT;
        return true;
    }
    // Only a plain file has a length that a short read contradicts: a decorator's end may lie
    // before it (a circling reader's end-of-stream position).
    if (reader.GetType() != ZU_READER_LOCAL)
        return false;
    const int64_t nLength = reader.GetLength();
    const int64_t nPosition = reader.GetPosition();
    if (nLength < 0 || nPosition < 0 || nPosition >= nLength)
        return false;
    failure = CReaderFailure(ZUREADER_ERROR_CUT_SHORT, 0,
                             what + ": the file ended at " + std::to_string(nPosition) + " of " +
                                 std::to_string(nLength) + " bytes");
    return true;
}

void CReaderFailure::Report() const
{
    CLastError::Set(m_nKind, m_nStatus, m_Message);
}

CReaderFailure CReaderFailure::OfNetwork(VReader& reader, const std::string& what)
{
    const int32_t nStatus = StatusOf(reader);
    const std::u16string text = zu::api::InfoOf(reader, u"StatusText");
    std::string message = what + ": status " + std::to_string(nStatus);
    if (!text.empty())
        message += " (" + OneLine(text) + ")";
    return CReaderFailure(NetworkKind(nStatus, text), nStatus, std::move(message));
}

// The Internet reader reports a failure without a server's answer as -1 (-2 without any network)
// with the system's text for the error; the same function made that text, so it names the error
// exactly, on every build.
int32_t CReaderFailure::NetworkKind(int32_t nStatus, const std::u16string& text)
{
    if (nStatus == CInternetStatus::kTimedOutCode && text == CInternetStatus::TimedOut().Text())
        return ZUREADER_ERROR_TIMED_OUT;
    if (nStatus >= 100)
        return StatusKind(nStatus);
    const struct {
        uint32_t nError;
        int32_t nKind;
    } kErrors[] = {
        {INET_ERROR_TIMEOUT, ZUREADER_ERROR_TIMED_OUT},
        {INET_ERROR_NAME_NOT_RESOLVED, ZUREADER_ERROR_NOT_RESOLVED},
        {INET_ERROR_CANNOT_CONNECT, ZUREADER_ERROR_NO_CONNECTION},
        {INET_ERROR_INVALID_URL, ZUREADER_ERROR_BAD_URL},
        {INET_ERROR_UNRECOGNIZED_SCHEME, ZUREADER_ERROR_BAD_URL},
    };
    for (const auto& error : kErrors) {
        if (text == InternetErrorText(error.nError))
            return error.nKind;
    }
    return ZUREADER_ERROR_FAILED;
}

int32_t CReaderFailure::StatusKind(int32_t nStatus)
{
    switch (nStatus) {
    case 404:
    case 410:
        return ZUREADER_ERROR_NOT_FOUND;
    case 401:
    case 403:
    case 407:
        return ZUREADER_ERROR_ACCESS_DENIED;
    default:
        return ZUREADER_ERROR_SERVER_STATUS;
    }
}
