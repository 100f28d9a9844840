/* A C99 host of the library: it includes zureader/zureader_c.h and nothing else of the library, and
   checks what a C program relies on. It reads a local file and the same file served over HTTP
   (both whole and from the middle), tells a missing resource by its kind and status, and plays an
   Internet-radio stream until it has a title.
   Usage: c99_host FILE SIZE URL MISSING_URL RADIO_URL      (exit status 0 when every check holds) */
#include <zureader/zureader_c.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kPiece = 65536, kRadioBytes = 2000000 };

static int Failed(const char* pszWhat)
{
    int32_t nStatus = 0;
    const char* pszMessage = NULL;
    const int32_t nKind = ZUReaderGetLastError(&nStatus, &pszMessage);
    fprintf(stderr, "c99_host: %s (kind %d, status %d: %s)\n", pszWhat, (int)nKind, (int)nStatus, pszMessage);
    return 0;
}

/* The bytes of LOCATION from nFrom on, in a buffer the caller frees; NULL on failure. */
static unsigned char* ReadFrom(const char* pszLocation, int64_t nFrom, int64_t* pnLength)
{
    ZUReaderHandle* pReader = ZUReaderFromLocation(pszLocation);
    unsigned char* pBytes = NULL;
    int64_t nLength = 0;
    int64_t nRead = 0;
    if (!pReader || ZUReaderOpen(pReader) != ZUREADER_OK || ZUReaderSeek(pReader, nFrom, ZUREADER_SEEK_BEGIN) != nFrom) {
        Failed(pszLocation);
        ZUReaderDestroy(pReader);
        return NULL;
    }
    nLength = ZUReaderGetLength(pReader) - nFrom;
    pBytes = (unsigned char*)malloc((size_t)nLength + 1);
    while (pBytes && *pnLength < nLength) {
        nRead = ZUReaderRead(pReader, pBytes + *pnLength, kPiece);
        if (nRead <= 0)
            break;
        *pnLength += nRead;
    }
    if (nRead < 0) {
        Failed(pszLocation);
        free(pBytes);
        pBytes = NULL;
    }
    ZUReaderDestroy(pReader);
    return pBytes;
}

static int SameBytes(const char* pszFile, const char* pszUrl, int64_t nSize, int64_t nFrom)
{
    int64_t nFileLength = 0;
    int64_t nUrlLength = 0;
    unsigned char* pFile = ReadFrom(pszFile, nFrom, &nFileLength);
    unsigned char* pUrl = ReadFrom(pszUrl, nFrom, &nUrlLength);
    const int bSame = pFile && pUrl && nFileLength == nSize - nFrom && nUrlLength == nFileLength &&
                      memcmp(pFile, pUrl, (size_t)nFileLength) == 0;
    printf("from %lld: file %lld bytes, URL %lld bytes, %s\n", (long long)nFrom, (long long)nFileLength,
           (long long)nUrlLength, bSame ? "the same" : "DIFFERENT");
    free(pFile);
    free(pUrl);
    return bSame;
}

static int MissingIsNotFound(const char* pszUrl)
{
    int32_t nStatus = 0;
    const char* pszMessage = NULL;
    ZUReaderHandle* pReader = ZUReaderFromUrl(pszUrl);
    const int32_t nResult = ZUReaderOpen(pReader);
    const int32_t nKind = ZUReaderGetLastError(&nStatus, &pszMessage);
    const int bRight = nResult == ZUREADER_ERROR_NOT_FOUND && nKind == nResult && nStatus == 404 &&
                       strstr(pszMessage, "404") != NULL;
    printf("missing: kind %d, status %d, %s\n", (int)nKind, (int)nStatus, pszMessage);
    ZUReaderDestroy(pReader);
    return bRight;
}

/* Reads the station's audio (at most kRadioBytes) until a title shows. */
static int RadioHasTitle(const char* pszUrl)
{
    static unsigned char audio[kPiece];
    int64_t nTotal = 0;
    char* pszTitle = NULL;
    ZUReaderHandle* pRadio = ZUReaderBuffered(ZUReaderFromUrl(pszUrl));
    if (!pRadio || ZUReaderEnableIcyMetadata(pRadio) != ZUREADER_OK || ZUReaderSetBufferSize(pRadio, 1 << 20) != ZUREADER_OK ||
        ZUReaderOpen(pRadio) != ZUREADER_OK) {
        ZUReaderDestroy(pRadio);
        return Failed(pszUrl);
    }
    while (nTotal < kRadioBytes) {
        const int64_t nRead = ZUReaderRead(pRadio, audio, 4096);
        if (nRead <= 0)
            break;
        nTotal += nRead;
        pszTitle = ZUReaderGetStreamTitle(pRadio);
        if (pszTitle && pszTitle[0])
            break;
        ZUReaderFreeString(pszTitle);
        pszTitle = NULL;
    }
    printf("radio: %lld bytes, title \"%s\"\n", (long long)nTotal, pszTitle ? pszTitle : "");
    {
        const int bTitled = pszTitle != NULL && pszTitle[0] != '\0';
        ZUReaderFreeString(pszTitle);
        ZUReaderDestroy(pRadio);
        return bTitled;
    }
}

int main(int argc, char** argv)
{
    int64_t nSize = 0;
    int bOk = 1;
    if (argc != 6) {
        fprintf(stderr, "usage: c99_host FILE SIZE URL MISSING_URL RADIO_URL\n");
        return 2;
    }
    nSize = (int64_t)strtoll(argv[2], NULL, 10);
    bOk = SameBytes(argv[1], argv[3], nSize, 0) && bOk;
    bOk = SameBytes(argv[1], argv[3], nSize, nSize / 3) && bOk;
    bOk = MissingIsNotFound(argv[4]) && bOk;
    bOk = RadioHasTitle(argv[5]) && bOk;
    return bOk ? 0 : 1;
}
