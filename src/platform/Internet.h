// Internet seam: the handful of HTTP, HTTPS and FTP client calls the Internet reader makes, shaped
// after the Windows Internet API so that the Windows backend is a thin pass-through and the reader's
// logic (which error means "retry", which one means "ask the server's last text") is written once.
// Every constant below carries the Windows Internet API's own value, on every build, and errors are
// reported with its error numbers everywhere: the other backend maps its failures onto them.
//
// Handles form a tree (session -> connection -> request or FTP file). Closing a handle closes what
// hangs below it and makes a call blocked on it, in another thread, fail at once
// (INET_ERROR_OPERATION_CANCELLED). Apart from that, one handle is used by one thread at a time,
// though consecutive calls may come from different threads. Options set on a parent are inherited
// by the children made after it.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace zu::platform {

struct InternetObject;
// Null when there is none. Valid until CloseInternetHandle.
using InternetHandle = InternetObject*;

// Session access types. With PRECONFIG the system's proxy configuration applies and the lists
// passed to OpenInternetSession are ignored; they take effect with PROXY only.
enum : uint32_t {
    INET_OPEN_TYPE_PRECONFIG = 0,
    INET_OPEN_TYPE_DIRECT = 1,
    INET_OPEN_TYPE_PROXY = 3,
};

// Services and their default ports (a port of 0 means the service's default).
enum : uint32_t { INET_SERVICE_FTP = 1, INET_SERVICE_HTTP = 3 };
enum : uint16_t {
    INET_DEFAULT_PORT = 0,
    INET_DEFAULT_FTP_PORT = 21,
    INET_DEFAULT_HTTP_PORT = 80,
    INET_DEFAULT_HTTPS_PORT = 443,
};

// Connection and request flags. RELOAD, NO_CACHE_WRITE and NEED_FILE concern a local cache that
// only the Windows backend keeps; NO_UI and KEEP_CONNECTION are accepted everywhere.
enum : uint32_t {
    INET_FLAG_RELOAD = 0x80000000,
    INET_FLAG_PASSIVE = 0x08000000,
    INET_FLAG_NO_CACHE_WRITE = 0x04000000,
    INET_FLAG_SECURE = 0x00800000,
    INET_FLAG_KEEP_CONNECTION = 0x00400000,
    INET_FLAG_NO_AUTO_REDIRECT = 0x00200000,
    INET_FLAG_NO_COOKIES = 0x00080000,
    INET_FLAG_NO_AUTH = 0x00040000,
    INET_FLAG_IGNORE_CERT_DATE_INVALID = 0x00002000,
    INET_FLAG_IGNORE_CERT_CN_INVALID = 0x00001000,
    INET_FLAG_NO_UI = 0x00000200,
    INET_FLAG_PRAGMA_NOCACHE = 0x00000100,
    INET_FLAG_NEED_FILE = 0x00000010,
};

// Options. The time-outs are milliseconds; 0 and 0xFFFFFFFF mean "no limit". RECEIVE doubles as
// the FTP control connection's receive time-out, DATA_RECEIVE is the FTP data connection's.
enum : uint32_t {
    INET_OPTION_CONNECT_TIMEOUT = 2,
    INET_OPTION_SEND_TIMEOUT = 5,
    INET_OPTION_CONTROL_SEND_TIMEOUT = 5,
    INET_OPTION_RECEIVE_TIMEOUT = 6,
    INET_OPTION_CONTROL_RECEIVE_TIMEOUT = 6,
    INET_OPTION_DATA_SEND_TIMEOUT = 7,
    INET_OPTION_DATA_RECEIVE_TIMEOUT = 8,
    INET_OPTION_LISTEN_TIMEOUT = 11,
    INET_OPTION_USERNAME = 28,        // text
    INET_OPTION_PASSWORD = 29,        // text
    INET_OPTION_SECURITY_FLAGS = 31,  // INET_SECURITY_FLAG_* bits of a request
    INET_OPTION_URL = 34,             // text, read only: where a request finally went
    INET_OPTION_PROXY_USERNAME = 43,  // text
    INET_OPTION_PROXY_PASSWORD = 44,  // text
    INET_OPTION_MAX_CONNS_PER_SERVER = 73,  // process-wide: set with a null handle
};

// Security flags of a request (INET_OPTION_SECURITY_FLAGS). SECURE is reported, never set.
// Each IGNORE bit lets exactly one kind of certificate failure pass, on both backends.
enum : uint32_t {
    INET_SECURITY_FLAG_SECURE = 0x00000001,
    INET_SECURITY_FLAG_IGNORE_REVOCATION = 0x00000080,
    INET_SECURITY_FLAG_IGNORE_UNKNOWN_CA = 0x00000100,
    INET_SECURITY_FLAG_IGNORE_WRONG_USAGE = 0x00000200,
    INET_SECURITY_FLAG_IGNORE_CERT_CN_INVALID = 0x00001000,
    INET_SECURITY_FLAG_IGNORE_CERT_DATE_INVALID = 0x00002000,
};

// Modifiers of AddHttpRequestHeaders. ADD with REPLACE replaces a header or adds it when absent;
// REPLACE alone with an empty value removes the header; COALESCE joins a value to an existing
// header of that name with ", ".
enum : uint32_t {
    INET_ADDREQ_FLAG_REPLACE = 0x80000000,
    INET_ADDREQ_FLAG_COALESCE = 0x40000000,
    INET_ADDREQ_FLAG_ADD = 0x20000000,
    INET_ADDREQ_FLAG_ADD_IF_NEW = 0x10000000,
    INET_ADDREQ_FLAG_COALESCE_WITH_SEMICOLON = 0x01000000,
};

// Information levels of QueryHttpInfo, combined with at most one modifier below. Levels that name
// a header come back one instance per call, the index stepping to the next; STATUS_CODE,
// STATUS_TEXT, VERSION and the raw headers are not instances and leave the index alone.
enum : uint32_t {
    INET_QUERY_CONTENT_TYPE = 1,
    INET_QUERY_CONTENT_LENGTH = 5,
    INET_QUERY_DATE = 9,
    INET_QUERY_LAST_MODIFIED = 11,
    INET_QUERY_VERSION = 18,
    INET_QUERY_STATUS_CODE = 19,
    INET_QUERY_STATUS_TEXT = 20,
    INET_QUERY_RAW_HEADERS = 21,       // lines separated and ended by a zero character
    INET_QUERY_RAW_HEADERS_CRLF = 22,  // status line and header lines, each ending "\r\n"
    INET_QUERY_CONNECTION = 23,
    INET_QUERY_ACCEPT = 24,
    INET_QUERY_AUTHORIZATION = 28,
    INET_QUERY_CONTENT_ENCODING = 29,
    INET_QUERY_LOCATION = 33,
    INET_QUERY_REFERER = 35,
    INET_QUERY_SERVER = 37,
    INET_QUERY_USER_AGENT = 39,
    INET_QUERY_WWW_AUTHENTICATE = 40,
    INET_QUERY_ACCEPT_RANGES = 42,
    INET_QUERY_SET_COOKIE = 43,
    INET_QUERY_COOKIE = 44,
    INET_QUERY_CONTENT_RANGE = 53,
    INET_QUERY_ETAG = 54,
    INET_QUERY_HOST = 55,
    INET_QUERY_RANGE = 62,
    INET_QUERY_TRANSFER_ENCODING = 63,
    INET_QUERY_CUSTOM = 65535,  // the header named by the customName argument

    INET_QUERY_FLAG_REQUEST_HEADERS = 0x80000000,  // the request's headers instead of the response's
    INET_QUERY_FLAG_NUMBER = 0x20000000,           // implied by QueryHttpInfoNumber
};

// Access and transfer types of OpenFtpFile.
enum : uint32_t {
    INET_GENERIC_READ = 0x80000000,
    INET_GENERIC_WRITE = 0x40000000,
    INET_FTP_TRANSFER_TYPE_ASCII = 1,
    INET_FTP_TRANSFER_TYPE_BINARY = 2,
};

// Methods of SetInternetFilePointer.
enum : uint32_t { INET_FILE_BEGIN = 0, INET_FILE_CURRENT = 1, INET_FILE_END = 2 };

// ShowInternetErrorDialog flags, and its answers beside INET_ERROR_FORCE_RETRY.
enum : uint32_t {
    INET_ERROR_UI_FILTER_FOR_ERRORS = 1,
    INET_ERROR_UI_FLAGS_CHANGE_OPTIONS = 2,
    INET_ERROR_UI_FLAGS_GENERATE_DATA = 4,
};

// Error numbers: the system's general ones the calls give, then the Internet API's.
enum : uint32_t {
    INET_ERROR_SUCCESS = 0,
    INET_ERROR_INVALID_HANDLE = 6,
    INET_ERROR_NOT_ENOUGH_MEMORY = 8,
    INET_ERROR_NOT_SUPPORTED = 50,
    INET_ERROR_INVALID_PARAMETER = 87,
    INET_ERROR_INSUFFICIENT_BUFFER = 122,
    INET_ERROR_CANCELLED = 1223,

    INET_ERROR_OUT_OF_HANDLES = 12001,
    INET_ERROR_TIMEOUT = 12002,
    INET_ERROR_EXTENDED_ERROR = 12003,  // the server's last response text tells more
    INET_ERROR_INTERNAL_ERROR = 12004,
    INET_ERROR_INVALID_URL = 12005,
    INET_ERROR_UNRECOGNIZED_SCHEME = 12006,
    INET_ERROR_NAME_NOT_RESOLVED = 12007,
    INET_ERROR_PROTOCOL_NOT_FOUND = 12008,
    INET_ERROR_INVALID_OPTION = 12009,
    INET_ERROR_BAD_OPTION_LENGTH = 12010,
    INET_ERROR_OPTION_NOT_SETTABLE = 12011,
    INET_ERROR_SHUTDOWN = 12012,
    INET_ERROR_INCORRECT_USER_NAME = 12013,
    INET_ERROR_INCORRECT_PASSWORD = 12014,
    INET_ERROR_LOGIN_FAILURE = 12015,
    INET_ERROR_INVALID_OPERATION = 12016,
    INET_ERROR_OPERATION_CANCELLED = 12017,
    INET_ERROR_INCORRECT_HANDLE_TYPE = 12018,
    INET_ERROR_INCORRECT_HANDLE_STATE = 12019,
    INET_ERROR_ITEM_NOT_FOUND = 12028,
    INET_ERROR_CANNOT_CONNECT = 12029,
    INET_ERROR_CONNECTION_ABORTED = 12030,
    INET_ERROR_CONNECTION_RESET = 12031,
    INET_ERROR_FORCE_RETRY = 12032,
    INET_ERROR_INVALID_PROXY_REQUEST = 12033,
    INET_ERROR_SEC_CERT_DATE_INVALID = 12037,
    INET_ERROR_SEC_CERT_CN_INVALID = 12038,
    INET_ERROR_CLIENT_AUTH_CERT_NEEDED = 12044,
    INET_ERROR_INVALID_CA = 12045,
    INET_ERROR_SEC_CERT_ERRORS = 12055,
    INET_ERROR_SEC_CERT_REV_FAILED = 12057,
    INET_ERROR_FTP_TRANSFER_IN_PROGRESS = 12110,
    INET_ERROR_FTP_DROPPED = 12111,
    INET_ERROR_FTP_NO_PASSIVE_MODE = 12112,
    INET_ERROR_HTTP_HEADER_NOT_FOUND = 12150,
    INET_ERROR_HTTP_DOWNLEVEL_SERVER = 12151,
    INET_ERROR_HTTP_INVALID_SERVER_RESPONSE = 12152,
    INET_ERROR_HTTP_INVALID_HEADER = 12153,
    INET_ERROR_HTTP_INVALID_QUERY_REQUEST = 12154,
    INET_ERROR_HTTP_HEADER_ALREADY_EXISTS = 12155,
    INET_ERROR_HTTP_REDIRECT_FAILED = 12156,
    INET_ERROR_SECURITY_CHANNEL_ERROR = 12157,
    INET_ERROR_UNABLE_TO_CACHE_FILE = 12158,
    INET_ERROR_DISCONNECTED = 12163,
    INET_ERROR_SERVER_UNREACHABLE = 12164,
    INET_ERROR_PROXY_SERVER_UNREACHABLE = 12165,
    INET_ERROR_SEC_INVALID_CERT = 12169,
    INET_ERROR_SEC_CERT_REVOKED = 12170,
    INET_ERROR_NOT_INITIALIZED = 12172,
    INET_ERROR_DECODING_FAILED = 12175,
};

// Every call below that fails returns false, null or -1 and leaves the reason for
// InternetLastError() of the calling thread.

// proxyList: entries "[scheme=][http://]host[:port]" separated by blanks or ";"; an entry without
// a scheme serves both HTTP and HTTPS (FTP connections are always direct). bypassList: host names,
// "*" wildcards allowed, "<local>" for any host without a dot, separated the same way.
InternetHandle OpenInternetSession(const std::u16string& userAgent, uint32_t accessType,
                                   const std::u16string& proxyList, const std::u16string& bypassList,
                                   uint32_t flags);

// For FTP this connects and logs in at once (empty user: anonymous), so a refused login fails
// here; for HTTP nothing is sent until a request is. The credentials of an HTTP connection
// answer the server's Basic challenge.
InternetHandle ConnectInternet(InternetHandle hSession, const std::u16string& host, uint16_t port,
                               const std::u16string& user, const std::u16string& password,
                               uint32_t service, uint32_t flags);

// Prepares a request; nothing is sent yet. An empty verb means "GET", an empty version
// "HTTP/1.1"; acceptTypes becomes the "Accept" header unless empty. An object without a leading
// "/" is taken from the root.
InternetHandle OpenHttpRequest(InternetHandle hConnect, const std::u16string& verb, const std::u16string& object,
                               const std::u16string& version, const std::u16string& referrer,
                               const std::u16string& acceptTypes, uint32_t flags);

// headers: one or more "Name: value" lines separated by "\r\n" (a trailing one is optional). Fails
// for the first line the modifiers refuse (INET_ERROR_HTTP_HEADER_ALREADY_EXISTS for ADD_IF_NEW,
// INET_ERROR_HTTP_HEADER_NOT_FOUND for REPLACE of a missing header, INET_ERROR_HTTP_INVALID_HEADER
// for a line without a name).
bool AddHttpRequestHeaders(InternetHandle hRequest, const std::u16string& headers, uint32_t modifiers);

// Sends the request, with extraHeaders added as by ADD|REPLACE and the body if any, and returns
// once the status line and headers of the response have arrived (redirects followed unless the
// request said NO_AUTO_REDIRECT); the body is then pulled by ReadInternetFile. Calling it again
// sends the request anew.
bool SendHttpRequest(InternetHandle hRequest, const std::u16string& extraHeaders, const void* pBody,
                     uint32_t nBodyLength);

// The text of one information level. pIndex (may be null for the first instance) selects the
// instance of a header level and steps to the next one on success; past the last instance the call
// fails with INET_ERROR_HTTP_HEADER_NOT_FOUND.
bool QueryHttpInfo(InternetHandle hRequest, uint32_t infoLevel, std::u16string& value, uint32_t* pIndex = nullptr,
                   const std::u16string& customName = std::u16string());
// The same as a decimal number (INET_QUERY_FLAG_NUMBER).
bool QueryHttpInfoNumber(InternetHandle hRequest, uint32_t infoLevel, uint32_t& value, uint32_t* pIndex = nullptr,
                         const std::u16string& customName = std::u16string());

// Waits until some bytes are there, the data ends or the receive time-out passes. Success with
// nRead 0 is the end of the data, also when the server sent less than it announced.
bool ReadInternetFile(InternetHandle hFile, void* pBuffer, uint32_t nCount, uint32_t& nRead);

// The new position within the response body, -1 on failure. Positions past what is already held
// refetch the resource from there, so the length must be known (INET_FILE_END needs it too).
int64_t SetInternetFilePointer(InternetHandle hFile, int64_t nDistance, uint32_t nMethod);

// A command on the FTP control connection that opens no data connection ("TYPE I", "SIZE /x");
// a reply other than 1xx-3xx fails with INET_ERROR_EXTENDED_ERROR, and the reply is the last
// response either way. Fails with INET_ERROR_FTP_TRANSFER_IN_PROGRESS while a file is open.
bool SendFtpCommand(InternetHandle hConnect, const std::u16string& command);

// Starts retrieving a file (GENERIC_READ only); a name without a leading "/" is relative to the
// login folder. The returned handle is read with ReadInternetFile.
InternetHandle OpenFtpFile(InternetHandle hConnect, const std::u16string& fileName, uint32_t access, uint32_t flags);

// The last reply an FTP server gave this thread (every line of it, each ending "\r\n") and its
// number; empty and 0 when there was none.
bool GetInternetLastResponse(uint32_t& nError, std::u16string& text);

bool SetInternetOption(InternetHandle h, uint32_t option, uint32_t value);
bool QueryInternetOption(InternetHandle h, uint32_t option, uint32_t& value);
bool SetInternetOptionText(InternetHandle h, uint32_t option, const std::u16string& value);
bool QueryInternetOptionText(InternetHandle h, uint32_t option, std::u16string& value);

// The system's own dialog for an error of a request (a credential prompt for
// INET_ERROR_INCORRECT_PASSWORD). Answers INET_ERROR_FORCE_RETRY when the user supplied what is
// needed, INET_ERROR_CANCELLED otherwise; systems without such a dialog always answer cancelled.
uint32_t ShowInternetErrorDialog(InternetHandle hRequest, uint32_t error, uint32_t flags);

bool CloseInternetHandle(InternetHandle h);

// Forgets what the system keeps for the whole process between requests: credentials a server
// accepted (sent again, unasked, to the same server) and session cookies. Handles of the libcurl
// backend share nothing, so there it has nothing to forget.
void EndInternetSession();

uint32_t InternetLastError();
// A one-line description of an error number; empty for numbers the system has no text for.
std::u16string InternetErrorText(uint32_t error);

// Owns one handle. Close may race with a user of the handle on another thread: the first closer
// wins and the other sees a null handle.
class CInternetHandle {
public:
    CInternetHandle() = default;
    explicit CInternetHandle(InternetHandle h) : m_hHandle(h) {}
    ~CInternetHandle() { Close(); }
    CInternetHandle(const CInternetHandle&) = delete;
    CInternetHandle& operator=(const CInternetHandle&) = delete;

    InternetHandle Get() const { return m_hHandle.load(); }
    bool IsOpen() const { return Get() != nullptr; }
    // Closes the current handle and owns h instead.
    void Reset(InternetHandle h = nullptr) { Close(); m_hHandle.store(h); }
    // True when there was nothing to close or the close succeeded.
    bool Close()
    {
        InternetHandle h = m_hHandle.exchange(nullptr);
        return h == nullptr || CloseInternetHandle(h);
    }

private:
    std::atomic<InternetHandle> m_hHandle{nullptr};
};

}  // namespace zu::platform
