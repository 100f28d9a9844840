#include "ReaderPtr.h"

#include "Recording.h"

namespace zucli {

std::u16string TakeInfo(ZUBSTR bstr)
{
    std::u16string text = bstr ? std::u16string(reinterpret_cast<const char16_t*>(bstr)) : std::u16string();
    ZUFreeString(bstr);
    return text;
}

CReaderPtr MakeReader(const std::u16string& location, bool bSeekable)
{
    // A file is seekable as it stands; a URL becomes so through the buffered Internet reader.
    const bool bUrl = location.find(u"://") != std::u16string::npos;
    if (!bUrl && IsRecording(location))
        return MakeRecordingReader(location);
    CReaderPtr pReader(bSeekable && bUrl ? GetBufferedInternetReader(Z(location)) : GetGenericReader(Z(location)));
    // The host only ever reads its sources; never ask for write access to a user's file.
    if (pReader && pReader->GetType() == ZU_READER_LOCAL)
        pReader->SetOption(Z(u"READ_ONLY"), Z(u"1"));
    return pReader;
}

CReaderPtr MakeReadAhead(CReaderPtr pSource)
{
    constexpr uint32_t kReadAheadBytes = 8 << 20;
    CReaderPtr pReader(GetBufferedReader(pSource.release()));
    if (VBufferedReader* pReadAhead = ZUReaderCast<VBufferedReader>(pReader.get())) {
        pReadAhead->SetBufferInFile(0);
        pReadAhead->SetBufferSize(kReadAheadBytes);
    }
    return pReader;
}

}  // namespace zucli
