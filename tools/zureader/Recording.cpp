#include "Recording.h"

namespace zucli {
namespace {

constexpr uint32_t kHeaderRefreshMilliseconds = 200;
constexpr char kMagic[4] = {'Z', 'U', 'S', 'R'};
constexpr int64_t kHeaderSize = 24;

}  // namespace

bool IsRecording(const std::u16string& location)
{
    if (location.find(u"://") != std::u16string::npos)
        return false;
    // Only a regular file of a header's size is looked into: reading a pipe's first bytes would
    // take them from whoever reads it next.
    CReaderPtr pFile(GetLocalReader(Z(location)));
    if (!pFile || pFile->GetLength() < kHeaderSize)
        return false;
    pFile->SetOption(Z(u"READ_ONLY"), Z(u"1"));
    char magic[sizeof(kMagic)] = {};
    const bool bRecording = pFile->Open() && pFile->Read(magic, sizeof(magic)) == sizeof(magic) &&
                            std::char_traits<char>::compare(magic, kMagic, sizeof(kMagic)) == 0;
    pFile->Close();
    return bRecording;
}

CReaderPtr MakeRecordingReader(const std::u16string& path)
{
    return CReaderPtr(GetSplitterReader(Z(path), 1, kHeaderRefreshMilliseconds));
}

}  // namespace zucli
