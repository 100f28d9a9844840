// VReader: the one byte-stream interface every reader implements.
//
// Hosts obtain readers from the exported factories (ZUReader.h), configure them, open, read, write,
// seek, query, close and destroy them through the virtual destructor. The virtual operations are
// declared in their fixed slot order; never reorder them. No operation throws: results are flags,
// byte counts and -1 positions.
//
// The contract every reader keeps
// --------------------------------
// Order. Construct (a factory) -> SetOption/SetOptions/SetTimeout/SetPostData/SetDeleteOnClose and
//   SetPosition -> Open (or Create) -> Read/Write/SetPosition/GetPosition/GetLength/GetInfo in any
//   order -> Close -> delete. Options are read at Open; set later, they wait for the next Open.
//   Close on a reader that is not open does nothing; a closed reader may be opened again. Open on
//   an open reader answers 1 and opens nothing again.
//
// Results.
//   flags (ZUBOOL)  non-zero for success or true.
//   Read            the bytes delivered. Files, memory, text, the Internet and the read-ahead
//                   reader deliver the whole count unless the data ends or fails first, so a short
//                   count means "nothing more after this"; the next Read answers 0. A socket reader
//                   answers one datagram (UDP) or what the stream holds (TCP): short is normal there.
//   0 from Read     the end of the data or a failure; never "try again" (a pull reader that must say
//                   "nothing yet" says so in its own added operations).
//   0xFFFFFFFF      from Write of a socket reader and Read of the buffered Internet reader: a
//                   failure, distinct from 0 bytes.
//   -1              from GetLength: not known (a live stream); from GetPosition: not known; from
//                   SetPosition: the move failed and the position is unchanged.
//   GetInfo         a new system string the caller frees (ZUFreeString), empty when the property is
//                   unknown; never null except from socket readers.
//
// End or failure. After Read answers 0 (or short): where GetLength() is known, GetPosition() <
//   GetLength() means the data was cut short. The Internet reader also says so in GetInfo: "Error"
//   turns from "0" to another value and "StatusText" tells why (a connection that ended early
//   reads "The transfer ended after N of the M bytes announced.").
//
// Seeks. Origin ZU_SEEK_BEGIN, ZU_SEEK_CURRENT or ZU_SEEK_END; a target before 0, past the known
//   length of a read-only source, or whose sum overflows 64 bits answers -1. Before Open, a local
//   file reader remembers the position and applies it at Open; other readers answer -1 or 0 until
//   they are open. A live stream (length -1) moves only within what the read-ahead reader holds.
//
// Blocking. Nothing blocks longer than the reader's own limits:
//   Open     a network reader waits up to the time-out (SetTimeout; the Internet reader's default is
//            10000 ms, 0xFFFFFFFF waits without limit) for the connection and the server's answer;
//            time the host's own credential prompt takes does not count.
//   Read     a local file: the disk. The Internet reader: each pull waits up to the time-out for
//            the next bytes. The read-ahead reader: until the count is there, the data ends or the
//            reader is closed.
//   Close    stops the reader's workers, each within 5000 ms, and closes what it wraps.
//   Everything else answers at once (a network SetPosition outside what is held asks the server
//   again, bounded by the time-out).
//
// Threads. One thread at a time may configure, open, read, write and seek a reader. Close may come
//   from another thread while a Read (or Open) is blocked there: the blocked call returns (0, or a
//   failed Open) and Close returns once it has. Readers never call back into the host from their
//   own threads, except the Internet reader's credential prompt (ZUHostCallbacks), which runs on
//   its worker.
//
// Options ("KEY|VALUE|KEY|VALUE" or SetOption; flags are true when their number is not 0):
//   key                      read by                      value
//   READ_ONLY                local file                   flag: open for reading only
//   USER_AGENT               Internet                     one line; the library's own otherwise
//   CONNECT_PROXY            Internet                     "[scheme=][http://]host[:port]" entries,
//                                                         separated by blanks or ";"
//   CONNECT_PROXYBYPASS      Internet                     host names, "*" wildcards, "<local>"
//   AUTH_USERNAME,           Internet                     Basic credentials for the URL's own site
//   AUTH_PASSWORD                                         (never sent on to another site or into
//                                                         clear text); one line each
//   HTTPREQUEST_TYPE         Internet                     the method, a token ("GET" by default)
//   INFO_HEADERS             Internet                     extra "Name: value" lines joined by CRLF
//   RANGE_START,             Internet                     decimal offsets: "Range: bytes=S-F"
//   RANGE_FINISH                                          (F empty: to the end); digits only
//   RECONNECT                Internet, buffered Internet  "1": a transfer that breaks off is asked
//                                                         for again (the rest of a known length by
//                                                         Range, a live stream anew), up to 5 times
//                                                         within the time-out; the buffered reader's
//                                                         downloads have it unless it is "0"
//   DOWNLOAD_CHUNK           buffered Internet            bytes a download fetches and writes per
//                                                         step (1024 to 4194304; 65536 by default)
//   NO_REDIRECT              Internet                     flag: 3xx answers are not followed
//   NO_COOKIE                Internet                     flag: the shared cookie is not sent
//   USE_CACHE                Internet                     flag: the system's cache may answer
//   SUCCEED_ON_ERROR         Internet                     present: an error status still opens,
//                                                         and its body can be read
//   A text that would put a line of its own into a request (CR, LF or NUL) makes Open fail.
//   Decorators (read-ahead, circling, truncating) hand every option to the reader they wrap.
#pragma once

#include <zureader/Types.h>

#include <string>
#include <unordered_map>

class VReader {
public:
    VReader() = default;
    VReader(const VReader&) = delete;
    VReader& operator=(const VReader&) = delete;

    virtual ~VReader();                                                      // slot 0
    virtual uint32_t GetType();                                              // 1
    virtual ZUBOOL Create();                                                 // 2
    virtual ZUBOOL Open() = 0;                                               // 3
    virtual void Close() = 0;                                                // 4
    virtual uint32_t Read(void* pBuffer, uint32_t nCount) = 0;               // 5
    virtual uint32_t Write(const void* pBuffer, uint32_t nCount) = 0;        // 6
    virtual int64_t GetLength() = 0;                                         // 7
    virtual int64_t GetPosition() = 0;                                       // 8
    virtual int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) = 0;      // 9
    virtual ZUBOOL SetEndOfFile() = 0;                                       // 10
    virtual ZUBOOL SetLengthHint(uint64_t nLength);                          // 11
    virtual ZUBOOL IsLengthUnknown() = 0;                                    // 12
    virtual ZUBOOL IsRemote() = 0;                                           // 13
    virtual ZUBOOL IsOpen() = 0;                                             // 14
    virtual ZUBOOL IsReadOnly() = 0;                                         // 15
    virtual ZUBSTR GetInfo(const ZUCHAR* pszName);                           // 16
    virtual void SetTimeout(uint32_t nMilliseconds);                         // 17
    virtual void SetPostData(const void* pData, uint32_t nLength);           // 18
    virtual void SetOptions(const ZUCHAR* pszOptions);                       // 19
    virtual void SetOption(const ZUCHAR* pszKey, const ZUCHAR* pszValue);    // 20
    virtual void SetDeleteOnClose(ZUBOOL bDelete);                           // 21

protected:
    // A missing key reads as empty text.
    std::u16string GetOption(const std::u16string& key) const;
    // True when the option's integer value is non-zero ("1" is true; absent or "0" is false).
    bool GetOptionFlag(const std::u16string& key) const;

    uint32_t m_nType = ZU_READER_UNKNOWN;
    const void* m_pPostData = nullptr;
    uint32_t m_nPostDataLength = 0;
    uint32_t m_nTimeout = 0;
    std::unordered_map<std::u16string, std::u16string> m_Options;
    ZUBOOL m_bDeleteOnClose = 0;
    ZUBOOL m_bOpen = 0;
};

// The reader as one of the interfaces that add operations after VReader's (VWrappingReader,
// VBufferedReader, VCirclingReader, ...), or null when it is not one. The type code decides, not
// RTTI, which does not cross the library's boundary.
template <class TReader>
TReader* ZUReaderCast(VReader* pReader)
{
    return pReader && TReader::HasType(pReader->GetType()) ? static_cast<TReader*>(pReader) : nullptr;
}
