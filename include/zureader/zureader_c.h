/* The library's plain C interface (C99), for hosts that cannot hold the C++ reader interface: C
   programs, and other languages through their foreign-function layers. It reaches the same readers
   as the C++ factories, through an opaque handle.

   Texts are UTF-8 here (paths, URLs, option keys and values, property names, titles and messages);
   the library converts them. Results follow C's habits: calls that only succeed or fail answer
   ZUREADER_OK (0) or the kind of failure; counts and positions are -1 on failure; makers answer
   NULL. After any call, ZUReaderGetLastError tells the calling thread what became of it, with a
   message that for a network source carries the server's status and text.

   The order of use is the C++ contract's (zureader/Reader.h): make, configure (options, time-out,
   request body), open, read, write and seek, close, destroy. One thread at a time may use a
   handle, except that ZUReaderClose may come from another thread while a read waits there. */
#ifndef ZUREADER_C_API_H
#define ZUREADER_C_API_H

#include <stddef.h>
#include <stdint.h>

#ifdef _WIN32
#  ifdef ZUREADER_BUILDING
#    define ZUREADER_C_API __declspec(dllexport)
#  else
#    define ZUREADER_C_API __declspec(dllimport)
#  endif
#else
#  define ZUREADER_C_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A reader and what the C interface keeps beside it. */
typedef struct ZUReaderHandle ZUReaderHandle;

/* Results and the kinds of failure ZUReaderGetLastError reports. */
enum {
    ZUREADER_OK = 0,
    ZUREADER_ERROR_INVALID_ARGUMENT = 1, /* a null handle or text, an unknown origin */
    ZUREADER_ERROR_NO_MEMORY = 2,
    ZUREADER_ERROR_UNSUPPORTED = 3,      /* the reader has no such operation, or cannot write */
    ZUREADER_ERROR_NOT_OPEN = 4,
    ZUREADER_ERROR_NOT_FOUND = 5,        /* no such file; a 404 or 410 */
    ZUREADER_ERROR_ACCESS_DENIED = 6,    /* a file that may not be opened; a 401, 403 or 407 */
    ZUREADER_ERROR_SERVER_STATUS = 7,    /* any other error status of a server */
    ZUREADER_ERROR_BAD_URL = 8,          /* a URL that cannot be parsed or of an unknown scheme */
    ZUREADER_ERROR_NOT_RESOLVED = 9,     /* the host's name */
    ZUREADER_ERROR_NO_CONNECTION = 10,   /* refused or unreachable */
    ZUREADER_ERROR_TIMED_OUT = 11,
    ZUREADER_ERROR_CUT_SHORT = 12,       /* the data ended before the length the source announced */
    ZUREADER_ERROR_SEEK = 13,            /* the move failed; the position is unchanged */
    ZUREADER_ERROR_FAILED = 14           /* anything else */
};

/* Origins of ZUReaderSeek. */
enum { ZUREADER_SEEK_BEGIN = 0, ZUREADER_SEEK_CURRENT = 1, ZUREADER_SEEK_END = 2 };

/* Bits of ZUReaderGetFlags. */
enum {
    ZUREADER_FLAG_OPEN = 1,
    ZUREADER_FLAG_READ_ONLY = 2,
    ZUREADER_FLAG_REMOTE = 4,
    ZUREADER_FLAG_LENGTH_UNKNOWN = 8
};

/* Makers. Each only constructs (nothing is opened); NULL when the text is NULL or memory is
   exhausted, and from ZUReaderFromLocation also for a URL that cannot be parsed. */
/* A local file for a location without "://", otherwise the Internet reader for the URL. */
ZUREADER_C_API ZUReaderHandle* ZUReaderFromLocation(const char* pszLocation);
ZUREADER_C_API ZUReaderHandle* ZUReaderFromPath(const char* pszPath);
/* HTTP, HTTPS or FTP. */
ZUREADER_C_API ZUReaderHandle* ZUReaderFromUrl(const char* pszUrl);
/* An HTTP resource of known length made seekable through a cache file that byte ranges are
   downloaded into. */
ZUREADER_C_API ZUReaderHandle* ZUReaderFromBufferedInternet(const char* pszUrl);
/* One title of a DVD-Video folder as a stream of program-stream packs, from a rip description
   (ZUReaderDescribeDVD makes one for a folder). */
ZUREADER_C_API ZUReaderHandle* ZUReaderFromDVD(const char* pszDescription);
/* nLength bytes at pData, open from the start. With bCopy 0 the caller's bytes are read and must
   outlive the handle. */
ZUREADER_C_API ZUReaderHandle* ZUReaderFromMemory(const void* pData, int32_t nLength, int32_t bCopy);

/* Decorators. Each takes over pInner, also when it answers NULL (then pInner is destroyed): from
   here on only the new handle is used and destroyed. */
/* Reads ahead of the caller on a worker thread (100 MiB in a temporary file unless
   ZUReaderSetBufferSize says otherwise); seeks inside what it holds cost nothing. */
ZUREADER_C_API ZUReaderHandle* ZUReaderBuffered(ZUReaderHandle* pInner);
/* Reports at most nLimit bytes as the length and delivers at most nLimit bytes per read. */
ZUREADER_C_API ZUReaderHandle* ZUReaderTruncating(ZUReaderHandle* pInner, int64_t nLimit);
/* Can make a finite source endless: see ZUReaderSetCircling. */
ZUREADER_C_API ZUReaderHandle* ZUReaderCircling(ZUReaderHandle* pInner);

/* Configuration, read at the next open (the keys are listed in zureader/Reader.h). */
ZUREADER_C_API int32_t ZUReaderSetOption(ZUReaderHandle* pHandle, const char* pszKey, const char* pszValue);
/* How long a network reader waits to connect and for each answer; 0xFFFFFFFF: without limit. */
ZUREADER_C_API int32_t ZUReaderSetTimeout(ZUReaderHandle* pHandle, uint32_t nMilliseconds);
/* The request body (copied), sent with a request whose verb the option HTTPREQUEST_TYPE names
   (POST, PUT, ...; a GET sends none). NULL or 0 bytes removes it. */
ZUREADER_C_API int32_t ZUReaderSetPostData(ZUReaderHandle* pHandle, const void* pData, uint32_t nLength);

/* Opens for reading (and writing, where the source allows it). */
ZUREADER_C_API int32_t ZUReaderOpen(ZUReaderHandle* pHandle);
/* Makes the local file anew, empty, for writing. */
ZUREADER_C_API int32_t ZUReaderCreate(ZUReaderHandle* pHandle);
/* The bytes delivered, 0 at the end of the data, -1 on failure. A count short of nCount means
   the data ended or failed: when bytes came before a failure they are answered, and the failure
   is answered by the next call. */
ZUREADER_C_API int64_t ZUReaderRead(ZUReaderHandle* pHandle, void* pBuffer, size_t nCount);
/* The bytes written, -1 on failure (a reader that cannot write: ZUREADER_ERROR_UNSUPPORTED). */
ZUREADER_C_API int64_t ZUReaderWrite(ZUReaderHandle* pHandle, const void* pBuffer, size_t nCount);
/* The new position, -1 when the move failed (the position is then unchanged). */
ZUREADER_C_API int64_t ZUReaderSeek(ZUReaderHandle* pHandle, int64_t nOffset, int32_t nOrigin);
/* -1 when not known: not open, or a live stream's length. */
ZUREADER_C_API int64_t ZUReaderGetPosition(ZUReaderHandle* pHandle);
ZUREADER_C_API int64_t ZUReaderGetLength(ZUReaderHandle* pHandle);
/* ZUREADER_FLAG_* bits; 0 for a NULL handle. */
ZUREADER_C_API uint32_t ZUReaderGetFlags(ZUReaderHandle* pHandle);
/* A property of the reader ("Location", "StatusCode", "StatusText", "ContentType", a response
   header's name, ...) as a new text the caller frees with ZUReaderFreeString; empty when unknown,
   NULL on failure. */
ZUREADER_C_API char* ZUReaderGetInfo(ZUReaderHandle* pHandle, const char* pszName);
/* Closing a reader that is not open does nothing; a closed one may be opened again. */
ZUREADER_C_API int32_t ZUReaderClose(ZUReaderHandle* pHandle);
/* Closes and frees; NULL is allowed. */
ZUREADER_C_API void ZUReaderDestroy(ZUReaderHandle* pHandle);

/* Frees a text this interface returned; NULL is allowed. */
ZUREADER_C_API void ZUReaderFreeString(char* pszText);

/* What the calling thread's last call of this interface (other than this one and
   ZUReaderFreeString) came to: ZUREADER_OK or the kind of failure. *pnStatus (may be NULL) gets a
   network source's status (a server's, such as 404; 408 when the reader gave up waiting; -1 for a
   failed transfer; 0 when there is none); *ppszMessage (may be NULL) a UTF-8 message, empty after
   success, that stays valid until the thread's next call. */
ZUREADER_C_API int32_t ZUReaderGetLastError(int32_t* pnStatus, const char** ppszMessage);

/* The read-ahead reader (ZUReaderBuffered); other readers answer ZUREADER_ERROR_UNSUPPORTED or
   NULL. The setters apply when the next worker starts (at open or at a seek outside the buffer). */
/* Strip Internet-radio metadata out of the stream and keep its titles (a source without it passes
   unchanged). */
ZUREADER_C_API int32_t ZUReaderEnableIcyMetadata(ZUReaderHandle* pHandle);
/* The buffer's capacity in bytes; it holds one byte less. */
ZUREADER_C_API int32_t ZUReaderSetBufferSize(ZUReaderHandle* pHandle, uint32_t nBytes);
/* 1 (the default): a read at the end of the buffered bytes waits for the worker; 0: it answers what
   is there, possibly nothing, at once. */
ZUREADER_C_API int32_t ZUReaderSetWaitAtEnd(ZUReaderHandle* pHandle, int32_t bWait);
/* Outputs (each may be NULL): a worker runs, bytes buffered, the buffer's capacity, the source's
   end reached. */
ZUREADER_C_API int32_t ZUReaderGetBufferState(ZUReaderHandle* pHandle, uint32_t* pActive, uint32_t* pBuffered,
                                              uint32_t* pCapacity, uint32_t* pEnded);
/* The latest Internet-radio title (the station's name until the first title arrives); empty
   without one. Freed with ZUReaderFreeString. */
ZUREADER_C_API char* ZUReaderGetStreamTitle(ZUReaderHandle* pHandle);
/* The title of the audio the next read delivers; *pBytesToNext (may be NULL) gets how many bytes
   may be read before another title takes over, 0xFFFFFFFF when none is known. */
ZUREADER_C_API char* ZUReaderGetStreamTitleAtReadPosition(ZUReaderHandle* pHandle, uint32_t* pBytesToNext);

/* The circling reader (ZUReaderCircling); other readers answer ZUREADER_ERROR_UNSUPPORTED. With
   circling on, a read that reaches the source's end goes on from nRestartPosition; reads stop at
   the end-of-stream position (-1: none), counted across the wrap. */
ZUREADER_C_API int32_t ZUReaderSetCircling(ZUReaderHandle* pHandle, int32_t bCircling, int64_t nRestartPosition);
ZUREADER_C_API int32_t ZUReaderSetEndOfStreamPosition(ZUReaderHandle* pHandle, int64_t nPosition);

/* The DVD reader (ZUReaderFromDVD). The rip description of a DVD-Video folder (the one holding
   VIDEO_TS), its longest title selected; freed with ZUReaderFreeString. NULL when the folder holds
   no disc whose titles can be read (ZUREADER_ERROR_NOT_FOUND). */
ZUREADER_C_API char* ZUReaderDescribeDVD(const char* pszFolder);
/* The number on the disc of the title being read (from 1), 0 when closed; -1 for another reader. */
ZUREADER_C_API int32_t ZUReaderGetDVDTitleNumber(ZUReaderHandle* pHandle);
/* The part of the title passed, 0.0 to 1.0; -1.0 for another reader. */
ZUREADER_C_API double ZUReaderGetDVDProgress(ZUReaderHandle* pHandle);

#ifdef __cplusplus
}
#endif

#endif
