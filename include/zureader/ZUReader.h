// The library's exported functions. Every factory only constructs: the caller configures, opens,
// uses and finally deletes the reader (through VReader's virtual destructor).
#pragma once

#include <zureader/BufferedReader.h>
#include <zureader/CirclingReader.h>
#include <zureader/DVDReader.h>
#include <zureader/MediaServerLocator.h>
#include <zureader/Reader.h>
#include <zureader/SplitterReader.h>
#include <zureader/SocketReader.h>
#include <zureader/TranscoderReader.h>

extern "C" {

// A reader for a file on a local or network drive; null only when memory is exhausted.
ZUREADER_API VReader* GetLocalReader(const ZUCHAR* pszPath);

// A reader (type 1) for an HTTP, HTTPS or FTP URL; mms://, rtsp:// and m01p:// addresses are
// fetched over http://. Open connects and sends the request, waiting up to the time-out (10 s
// unless SetTimeout says otherwise); after a failed Open, GetInfo's "Error", "StatusCode" and
// "StatusText" tell why. The URL is not checked here. Null only when memory is exhausted.
ZUREADER_API VReader* GetInternetReader(const ZUCHAR* pszURL);

// A reader that makes an HTTP resource of known length seekable: it downloads byte ranges into a
// temporary cache file (sparse where the system allows, deleted at Close), one download thread at
// a time, and serves every Read from that file, waiting for bytes about to arrive and starting a
// download where they are missing. A seek far from the downloaded ranges costs one new request;
// one near the running download waits for it. Only seeks from the beginning are taken. Options go
// on to each download's Internet reader, with "RECONNECT" on unless set to "0". Null only when
// memory is exhausted.
ZUREADER_API VReader* GetBufferedInternetReader(const ZUCHAR* pszURL);

// The reader for any location: a local file reader when it holds no "://", otherwise an Internet
// reader for the URL. The media server's qxsp:// and m01p:// addresses become http:// on port 8931
// unless they name a port. Null for a URL that cannot be parsed, or when memory is exhausted.
ZUREADER_API VReader* GetGenericReader(const ZUCHAR* pszLocation);

// A read-only reader (type 11) over nLength bytes at pData, open from the start. With bCopy non-zero
// it reads a copy of its own; with bCopy 0 it reads the caller's bytes, which must stay valid and
// unchanged until the reader is deleted. A null pointer or a length below 1 gives an empty reader.
// Null only when memory is exhausted.
ZUREADER_API VReader* GetMemoryReader(const void* pData, int32_t nLength, ZUBOOL bCopy);

// A read-only reader (type 4) over a text converted to 8-bit bytes, without a terminating zero:
// UTF-8 with bAnsi 0, the system's ANSI code page otherwise ("?" for characters it lacks). A null
// text reads as an empty one. Null only when memory is exhausted.
ZUREADER_API VReader* GetStringReader(const ZUCHAR* pszText, ZUBOOL bAnsi);

// A reader (type 5) that reports at most nLimit bytes as its length and delivers at most nLimit
// bytes per Read of pInner, forwarding everything else to it. It keeps no count across reads and
// does not limit seeks: consumers stop at GetLength. Owns pInner, which is deleted with it (or at
// once when null is returned). Null only when memory is exhausted.
ZUREADER_API VReader* GetTruncatingReader(VReader* pInner, int64_t nLimit);

// A reader (type 10) over pInner, which it owns (deleted at once when null is returned), that can
// make it endless: once its circling is switched on and a restart position is set, a read that
// reaches pInner's end goes on from the restart position. Everything else, positions included, is
// pInner's own. Null only when memory is exhausted.
ZUREADER_API VReader* GetCirclingReader(VReader* pInner);

// A reader (type 8) that reads pChild, which it owns, ahead of the caller on a worker thread into a
// circle buffer (100 MiB in a mapped temporary file unless set otherwise), serves seeks inside the
// buffered bytes without touching pChild, and can strip Internet-radio metadata out of the stream
// while it keeps the station's title. Null only when memory is exhausted.
ZUREADER_API VReader* GetBufferedReader(VReader* pChild);

// A reader (type 13, VSplitterReader) of a recording kept in chunk files of nChunkSize bytes beside
// the header file at pszPath: Create starts a new recording there (an existing one is replaced
// chunk by chunk as the new one grows), Open reads one, also while another instance, in this
// process or another, writes it. A reading instance looks at the header again at most every
// nRefreshInterval milliseconds (0xFFFFFFFF: before every read and length). Null only when memory
// is exhausted.
ZUREADER_API VReader* GetSplitterReader(const ZUCHAR* pszPath, int64_t nChunkSize, uint32_t nRefreshInterval);

// A view of the file at pszPath that one writer and any number of readers in this process share
// through one memory cache of nCapacity bytes: all views of one path, made by this call, use the
// same cache. The newest bytes written stay in the cache; a worker writes the oldest nBlockSize
// bytes to the file whenever the cache is within one block of full, and a writer waits while it
// is full. Readers are served from the file and the cache together, so a reader right behind the
// writer reads bytes not yet in the file. A write anywhere but at the cache's end writes the whole
// cache first. The last view to go writes what the cache holds and closes the file.
// With bWritable the first view makes the file anew (through pSinkWriter, when given, which is
// then where the cache's blocks go); pFileReader, when given, reads the file in place of a reader
// of the path, and replaces the shared one when a view is added without bWritable. Both are
// taken over, also when the cache exists already and has no use for them. Open, Create and Close
// do nothing; a seek never fails. Null only when memory is exhausted.
ZUREADER_API VReader* GetSharedBufferingReader(const ZUCHAR* pszPath, ZUBOOL bWritable, uint32_t nCapacity,
                                               uint32_t nBlockSize, VReader* pFileReader, VReader* pSinkWriter);
// The media-server locator: finds a media server on the local network, or announces one. Not a
// reader; the caller deletes it, which ends its announcing. Null only when memory is exhausted.
ZUREADER_API VMediaServerLocator* GetFindMediaServer();

// A socket reader (VSocketReader): UDP (type 7) when bUDP is non-zero, TCP (type 6) otherwise. Its
// IPv4 socket is made at once (IsOpen answers whether that worked), so it can be bound, connected
// or set to listen before Open. Null only when memory is exhausted.
ZUREADER_API VReader* GetSocketReader(ZUBOOL bUDP);

// A reader (type 12, VDVDReader) of one title of a DVD-Video folder, from a rip description: the
// text ZUDescribeDVD answers, with the title ("SelectedForRip") and audio stream
// ("SelectedAudioStream") changed as the host wishes. Nothing is read until Open, which fails when
// the description names no readable disc. Null only when memory is exhausted.
ZUREADER_API VReader* GetDVDReader(const ZUCHAR* pszDescription);

// A reader (type 2, VMediaTranscoderReader) of what the encoder plug-in registered as
// pszEncoderName ("MP3", "WAV", ...) makes of the audio of pszSourcePath while it makes it.
// pszEncoderSettings, when not empty, replaces the encoder's stored "Settings"; nFlag goes to the
// encoder; pszSourceType names the source's media type ("wav", "flac", may be empty). Nothing is
// loaded before Open. Null only when memory is exhausted.
ZUREADER_API VReader* GetMusicTranscoderReader(const ZUCHAR* pszEncoderName, const ZUCHAR* pszEncoderSettings,
                                               uint32_t nFlag, const ZUCHAR* pszSourcePath,
                                               const ZUCHAR* pszSourceType);
// A reader (type 3, VMediaTranscoderReader) of the video converter's output for pszSourcePath: a
// fragmented MP4 that can be played while it grows. nFlag goes to the converter. Null only when
// memory is exhausted.
ZUREADER_API VReader* GetVideoTranscoderReader(const ZUCHAR* pszSourcePath, const ZUCHAR* pszSourceType,
                                               uint32_t nFlag);

// The encoder plug-ins GetMusicTranscoderReader can use (registered with "IVersion" 5 for this user
// or the machine), as a system string the caller frees with ZUFreeString: one line per encoder,
// "NAME<TAB>MODULE<TAB>INDEX". Null only when memory is exhausted.
ZUREADER_API ZUBSTR ZUListEncoders();
// The install step: registers the encoders of the plug-in modules found in the provider folder
// (ZUREADER_PROVIDER_DIR, else the library's own) for this user, or with bMachineWide for every
// user. Answers how many were registered; 0 when no module is there or the store cannot be written.
ZUREADER_API uint32_t ZURegisterEncoders(ZUBOOL bMachineWide);

// The rip description of a VIDEO_TS folder (or of the folder holding one) as a system string the
// caller frees with ZUFreeString: a "[DVDVideoInfo]" section of "Key=Value" lines naming the
// disc's VIDEO_TS.IFO ("MainIFOFilename") and its titles, each with "Number", "Duration" (whole
// seconds), "TotalBytes" (what GetLength of its reader answers) and "AudioStreamList" (one
// display text per audio stream, separated by "|"), the longest title selected. Empty when the
// folder holds no disc whose titles can be read; null only when memory is exhausted.
ZUREADER_API ZUBSTR ZUDescribeDVD(const ZUCHAR* pszFolder);

// Start-up and tear-down; they nest, and only the last tear-down releases shared state.
ZUREADER_API ZUBOOL ZUReaderInitialize(ZUBOOL bFlag);
ZUREADER_API ZUBOOL ZUReaderUninitialize(ZUBOOL bFlag);

// What the library asks of the user goes through the host. Each member may be null, and then the
// library's own default answers: the system's dialog on Windows, "cancelled" elsewhere. Callbacks
// run on the library's worker threads, never on the thread that called into it.
typedef struct ZUHostCallbacks {
    uint32_t cbSize;  // sizeof(ZUHostCallbacks): later members are read only when this covers them
    void* pContext;   // passed back to every callback
    // A server refused the request for want of credentials. site is "host:port", url the request's
    // URL. Fill the two buffers (capacities in characters, zero terminator included) and return
    // non-zero to retry with them; return 0 to give up.
    ZUBOOL (*PromptCredentials)(void* pContext, const ZUCHAR* pszSite, const ZUCHAR* pszUrl, ZUCHAR* pszUser,
                                uint32_t nUserCapacity, ZUCHAR* pszPassword, uint32_t nPasswordCapacity);
    // Members from here on are read only when cbSize covers them, so hosts built before them keep
    // working (and get the defaults).
    // Several media servers answered FindMediaServer: each entry is "host name:address:port".
    // Store the index of the one to use and return non-zero, or return 0 to cancel.
    ZUBOOL (*ChooseMediaServer)(void* pContext, const ZUCHAR* const* ppszEntries, uint32_t nEntries,
                                uint32_t* pnChosen);
    // A message for the user, such as a media server's answer that cannot be used.
    void (*ShowMessage)(void* pContext, const ZUCHAR* pszMessage);
} ZUHostCallbacks;

// Installs the host's callbacks (copied); null restores the defaults. Returns 0 only for a
// cbSize too small to hold the members before PromptCredentials.
ZUREADER_API ZUBOOL ZUReaderSetHostCallbacks(const ZUHostCallbacks* pCallbacks);

#ifndef _WIN32
// System strings laid out like a BSTR: a 32-bit byte length before the characters, a zero after.
ZUREADER_API ZUBSTR ZUSysAllocString(const ZUCHAR* psz);
ZUREADER_API ZUBSTR ZUSysAllocStringLen(const ZUCHAR* pch, uint32_t nChars);
ZUREADER_API void ZUSysFreeString(ZUBSTR bstr);
ZUREADER_API uint32_t ZUSysStringLen(ZUBSTR bstr);
#endif
}

// Frees a text returned by VReader::GetInfo.
inline void ZUFreeString(ZUBSTR bstr)
{
#ifdef _WIN32
    SysFreeString(bstr);
#else
    ZUSysFreeString(bstr);
#endif
}
