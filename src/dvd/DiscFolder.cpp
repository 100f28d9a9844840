#include "dvd/DiscFolder.h"

#include "core/Format.h"
#include "dvd/IfoRecords.h"
#include "dvd/VobFileSet.h"
#include "platform/File.h"
#include "platform/System.h"

#include <cstring>

namespace zu::dvd {

using namespace zu::platform;

namespace {

bool IsInformationFile(const std::u16string& path)
{
    CFile file;
    // Thirteen bytes compared: the identifier and the zero after what was read.
    char head[13] = {};
    uint32_t nRead = 0;
    return file.Open(path, FILE_ACCESS_READ, FILE_SHARE_READ_BIT, FILE_OPEN_EXISTING) && file.ReadAt(0, head, 12, nRead) &&
           nRead == 12 && (std::memcmp(head, "DVDVIDEO-VTS", 13) == 0 || std::memcmp(head, "DVDVIDEO-VMG", 13) == 0);
}

// VTS_01_0.IFO leaves ".../VTS_01_", VIDEO_TS.IFO leaves ".../VIDEO_TS".
std::u16string VobBase(const std::u16string& ifoPath)
{
    std::u16string base = ifoPath.substr(0, ifoPath.rfind(u'.'));
    const size_t nKeep = base.find_last_not_of(u".0123456789");
    base.resize(nKeep == std::u16string::npos ? 0 : nKeep + 1);
    return base;
}

bool EndsWith(const std::u16string& text, const std::u16string& tail)
{
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

int64_t SectorsOf(const std::u16string& path)
{
    const int64_t nSize = FileSizeByName(ExistingFileIgnoringCase(path));
    return nSize < 0 ? -1 : nSize / kSectorBytes;
}

}  // namespace

std::u16string InformationFilePath(const std::u16string& folder, int n)
{
    const std::u16string path = n == 0 ? folder + u"VIDEO_TS.IFO" : Format(u"%sVTS_%02d_0.%s", folder, n, u"ifo");
    return ExistingFileIgnoringCase(path);
}

bool ListTitleVobs(const std::u16string& ifoPath, CVobFileSet& fileSet, int nFirstPart)
{
    if (!IsInformationFile(ifoPath))
        return false;
    const std::u16string base = VobBase(ifoPath);
    const bool bManager = EndsWith(base, u"VIDEO_TS") || EndsWith(base, u"video_ts");
    std::vector<CVobFileSet::SFile> files;
    int64_t nMenuSectors = -1;
    for (int nPart = bManager ? 0 : nFirstPart; nPart <= (bManager ? 0 : 99); ++nPart) {
        const std::u16string path = ExistingFileIgnoringCase(bManager ? base + u".VOB" : Format(u"%s%d.VOB", base, nPart));
        const int64_t nSize = path.empty() ? -1 : FileSizeByName(path);
        if (nSize < 0) {
            if (nPart >= 10)
                break;
            continue;
        }
        if (nSize % kSectorBytes != 0) {
            files.clear();
            break;
        }
        if (nSize != 0)
            files.push_back(CVobFileSet::SFile{path, static_cast<int32_t>(nSize / kSectorBytes)});
        if (nPart == 0 && !bManager)
            nMenuSectors = nSize / kSectorBytes;
    }
    return fileSet.Assign(std::move(files), static_cast<int32_t>(nMenuSectors));
}

SDiscCount CountDiscSectors(const std::u16string& discFolder)
{
    SDiscCount count;
    const std::u16string folder = discFolder + u"VIDEO_TS" + PathSeparator();
    for (int n = 1; n <= 99; ++n) {
        const std::u16string ifo = ExistingFileIgnoringCase(Format(u"%sVTS_%02d_0.IFO", folder, n));
        if (ifo.empty())
            break;
        for (int nPart = 0; nPart <= 99; ++nPart) {
            const int64_t nSectors = SectorsOf(Format(u"%sVTS_%02d_%d.VOB", folder, n, nPart));
            if (nSectors < 0 && nPart > 0)
                break;
            count.nSectors += nSectors < 0 ? 0 : nSectors;
        }
        if (n == 1) {
            count.files.push_back(ExistingFileIgnoringCase(folder + u"VIDEO_TS.IFO"));
            count.nSectors += SectorsOf(folder + u"VIDEO_TS.VOB") < 0 ? 0 : SectorsOf(folder + u"VIDEO_TS.VOB");
        }
        count.files.push_back(ifo);
    }
    return count;
}

}  // namespace zu::dvd
