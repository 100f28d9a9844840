// The information-file parser on any bytes: the input is a VIDEO_TS.IFO and the VTS_01_0.IFO and
// VTS_02_0.IFO (the first four bytes give the first file's length, big-endian; the rest is both
// title sets' file), written to a folder of their own and
// described as a host would (ZUDescribeDVD's path). Checked: nothing reads outside the files
// (the sanitizers), every title's regions hold exactly its chapters' sectors, and the description
// written reads back to itself.
#include "FuzzText.h"

#include "dvd/DVDDescriber.h"
#include "dvd/DVDRipDescription.h"
#include "dvd/VideoManager.h"
#include "platform/File.h"
#include "platform/Text.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

void Require(bool bHolds, const char* pszPromise)
{
    zufuzz::Require(bHolds, pszPromise, u"");
}

const std::string& Folder()
{
    static const std::string folder = [] {
        std::string path = "/dev/shm/ifo-fuzz-" + std::to_string(getpid());
        zu::platform::MakeFolder(zu::platform::Utf16FromUtf8(path));
        path += "/VIDEO_TS";
        zu::platform::MakeFolder(zu::platform::Utf16FromUtf8(path));
        return path + "/";
    }();
    return folder;
}

void Write(const std::string& name, const uint8_t* pData, size_t nSize)
{
    FILE* pFile = std::fopen((Folder() + name).c_str(), "wb");
    std::fwrite(pData, 1, nSize, pFile);
    std::fclose(pFile);
}

void CheckTitles(const std::u16string& managerPath)
{
    zu::dvd::CVideoManager disc(managerPath);
    if (!disc.Parse())
        return;
    for (const auto& pTitle : disc.Titles()) {
        uint32_t nChapterSectors = 0;
        uint32_t nRegionSectors = 0;
        for (const auto& chapter : pTitle->Chapters())
            nChapterSectors += chapter.nSectorCount;
        for (const auto& region : pTitle->Regions())
            nRegionSectors += region.nSectorCount;
        Require(nChapterSectors == nRegionSectors, "the regions hold the chapters' sectors");
        Require(!pTitle->Chapters().empty(), "a title has a chapter");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize < 4)
        return 0;
    const size_t nFirst = std::min<size_t>(nSize - 4, static_cast<size_t>(pData[0]) << 24 | pData[1] << 16 |
                                                          pData[2] << 8 | pData[3]);
    Write("VIDEO_TS.IFO", pData + 4, nFirst);
    // Both title sets of a disc like the authored one read the second file.
    Write("VTS_01_0.IFO", pData + 4 + nFirst, nSize - 4 - nFirst);
    Write("VTS_02_0.IFO", pData + 4 + nFirst, nSize - 4 - nFirst);
    CheckTitles(zu::platform::Utf16FromUtf8(Folder() + "VIDEO_TS.IFO"));
    const std::u16string described = zu::dvd::DescribeDVD(zu::platform::Utf16FromUtf8(Folder()));
    if (!described.empty()) {
        zu::dvd::CDVDRipDescription description;
        Require(description.Load(described), "the description is a property list");
        Require(description.ToText() == described, "the description reads back to itself");
        Require(description.GetSelectedTitle() >= 0, "a title is selected");
    }
    return 0;
}
