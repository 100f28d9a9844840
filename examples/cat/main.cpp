// zureader-cat LOCATION: copies a file or an http, https or ftp URL to standard output, and tells a
// source that was cut short from one that ended (exit status 1 and a message).
#include <zureader/ZUReader.h>

#include <cstdio>
#include <memory>
#include <vector>

static int Copy(const ZUCHAR* pszLocation)
{
    std::unique_ptr<VReader> reader(GetGenericReader(pszLocation));
    if (!reader || !reader->Open()) {
        std::fputs("zureader-cat: cannot open the location\n", stderr);
        return 1;
    }
    std::vector<unsigned char> buffer(1 << 16);
    const auto nSize = static_cast<uint32_t>(buffer.size());
    uint32_t nRead;
    do {
        nRead = reader->Read(buffer.data(), nSize);
        if (std::fwrite(buffer.data(), 1, nRead, stdout) != nRead)
            return 1;
    } while (nRead == nSize);  // a short count means nothing more follows
    // The data ended, or failed: only a known length tells which.
    const int64_t nLength = reader->GetLength();
    const bool bCutShort = nLength >= 0 && reader->GetPosition() < nLength;
    reader->Close();
    if (bCutShort)
        std::fputs("zureader-cat: the source ended before its length\n", stderr);
    return bCutShort || std::fflush(stdout) != 0 ? 1 : 0;
}

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>

int wmain(int argc, wchar_t* argv[])
{
    _setmode(_fileno(stdout), _O_BINARY);  // the bytes as they are, no CR before each LF
    return argc == 2 ? Copy(argv[1]) : 2;
}
#else
#include <zureader/TextConversion.h>

int main(int argc, char* argv[])
{
    return argc == 2 ? Copy(zureader::Utf16FromUtf8(argv[1]).c_str()) : 2;
}
#endif
