#include "TestSupport.h"

#include "platform/File.h"
#include "platform/MappedFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace zutest;
using zu::platform::CMappedFile;
using zu::platform::EMappedFileFailure;
using zu::platform::EMappedFileName;
using zu::platform::FileSizeByName;

TEST(MappedFileTest, ViewIsTheFileAndANewMappingReplacesIt)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"ring.dat");
    const size_t nBytes = 65536 + 123;  // not a whole number of pages
    const std::string pattern = PatternBytes(nBytes);
    {
        CMappedFile mapping;
        ASSERT_TRUE(mapping.Create(path, nBytes));
        ASSERT_NE(mapping.Data(), nullptr);
        EXPECT_EQ(mapping.Size(), nBytes);
        EXPECT_EQ(zu::platform::FileSizeByName(path), static_cast<int64_t>(nBytes)) << "length set at once";
        EXPECT_EQ(std::string(reinterpret_cast<char*>(mapping.Data()), nBytes), std::string(nBytes, '\0'));
        std::memcpy(mapping.Data(), pattern.data(), nBytes);
    }
    EXPECT_EQ(ReadFile(path), pattern) << "bytes written through the view are the file's after unmapping";

    CMappedFile mapping;
    ASSERT_TRUE(mapping.Create(path, 10));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(mapping.Data()), 10), std::string(10, '\0'))
        << "an existing file is replaced, not reused";
    mapping.Data()[9] = 'x';
    mapping.Close();
    EXPECT_EQ(mapping.Data(), nullptr);
    EXPECT_EQ(ReadFile(path), std::string(9, '\0') + "x");
}

TEST(MappedFileTest, FailureLeavesNothingMapped)
{
    CTempFolder folder;
    CMappedFile mapping;
    EXPECT_FALSE(mapping.Create(folder.File(u"missing folder/x/ring.dat"), 4096));
    EXPECT_EQ(mapping.Data(), nullptr);
    EXPECT_EQ(mapping.Size(), 0u);
    EXPECT_FALSE(mapping.Create(folder.File(u"empty.dat"), 0)) << "nothing to map";
    EXPECT_EQ(mapping.Data(), nullptr);
    EXPECT_FALSE(mapping.Create(u"", 4096));

    ASSERT_TRUE(mapping.Create(folder.File(u"ok.dat"), 4096));
    EXPECT_FALSE(mapping.Create(folder.File(u"missing folder/ring.dat"), 4096));
    EXPECT_EQ(mapping.Data(), nullptr) << "a failed Create drops the view held before";
}

// A temporary file is made only under a name nothing holds, or in no folder at all where the system
// can keep it there (Linux): a name held by a file or by a link (even one whose target is missing)
// is left exactly as it was, and no file is made through the link.
TEST(MappedFileTest, TemporaryNeverReusesOrFollowsWhatHoldsTheName)
{
    CTempFolder folder;
    WriteFile(folder.File(u"existing.dat"), "kept");
    std::vector<std::u16string> taken = {folder.File(u"existing.dat")};
    if (MakeSymbolicLink(folder.File(u"existing.dat"), folder.File(u"link.dat")) &&
        MakeSymbolicLink(folder.File(u"target-that-is-missing"), folder.File(u"dangling.dat"))) {
        taken.push_back(folder.File(u"link.dat"));
        taken.push_back(folder.File(u"dangling.dat"));
    }
    for (const std::u16string& path : taken) {
        CMappedFile mapping;
        const bool bCreated = mapping.Create(path, 4096, EMappedFileName::Temporary);
        EXPECT_EQ(bCreated, !RunningOnWindows()) << Utf8(path);
        if (bCreated)
            EXPECT_FALSE(mapping.InFolder()) << "a taken name was used";
        else
            EXPECT_EQ(mapping.LastFailure(), EMappedFileFailure::NameTaken);
        mapping.Close();
        EXPECT_EQ(ReadFile(folder.File(u"existing.dat")), "kept");
        EXPECT_EQ(FileSizeByName(folder.File(u"target-that-is-missing")), -1) << "a dangling link made its target";
    }
}

// Several huge pages and a tail that fills no page: every byte starts zero and keeps what is put
// there, the file is at the path exactly when it is said to be, and nothing is left once the view
// is closed.
TEST(MappedFileTest, TemporaryFileIsZeroedWholeAndGoesWithItsView)
{
    CTempFolder folder;
    const std::u16string path = folder.File(u"scratch.dat");
    const size_t nBytes = (6 << 20) + 123;
    const std::string pattern = PatternBytes(nBytes, 4);
    CMappedFile mapping;
    ASSERT_TRUE(mapping.Create(path, nBytes, EMappedFileName::Temporary));
    EXPECT_EQ(mapping.Size(), nBytes);
    EXPECT_EQ(FileSizeByName(path), mapping.InFolder() ? static_cast<int64_t>(nBytes) : -1);
    const char* pData = reinterpret_cast<const char*>(mapping.Data());
    EXPECT_EQ(std::count(pData, pData + nBytes, '\0'), static_cast<std::ptrdiff_t>(nBytes));
    std::memcpy(mapping.Data(), pattern.data(), nBytes);
    EXPECT_TRUE(std::equal(pData, pData + nBytes, pattern.data()));
    mapping.Close();
    EXPECT_EQ(FileSizeByName(path), -1);
    EXPECT_TRUE(std::filesystem::is_empty(std::filesystem::path(folder.Path())));
}

namespace {

// The sum of one field over the lines of a /proc/self file (in kB); -1 where there is none.
long ProcField(const char* pszFile, const std::string& field, uintptr_t nFrom = 0, uintptr_t nTo = UINTPTR_MAX)
{
    std::ifstream in(pszFile);
    if (!in)
        return -1;
    long nSum = 0;
    bool bInRange = true;
    std::string line;
    while (std::getline(in, line)) {
        uintptr_t nStart = 0;
        uintptr_t nEnd = 0;
        if (std::sscanf(line.c_str(), "%" SCNxPTR "-%" SCNxPTR " ", &nStart, &nEnd) == 2)
            bInRange = nStart >= nFrom && nEnd <= nTo;
        else if (bInRange && line.compare(0, field.size(), field) == 0)
            nSum += std::atol(line.c_str() + field.size());
    }
    return nSum;
}

// Whether this system builds huge pages of a memory file on request (Linux 6.1 on, with them not
// denied).
bool SystemCollapsesFilesIntoHugePages()
{
    std::ifstream setting("/sys/kernel/mm/transparent_hugepage/shmem_enabled");
    std::string text;
    std::getline(setting, text);
    int nMajor = 0;
    int nMinor = 0;
    std::ifstream release("/proc/sys/kernel/osrelease");
    release >> nMajor;
    release.ignore(1) >> nMinor;
    return setting && text.find("[deny]") == std::string::npos && (nMajor > 6 || (nMajor == 6 && nMinor >= 1));
}

}  // namespace

// What the file backing is for: a filled temporary file costs the process no private memory, and
// where the system has huge pages for it, it is mapped in them (a view of small pages costs a
// fault for every 4 KiB on its first pass, which made the read-ahead reader's default ring a
// fraction as fast as one on the heap).
TEST(MappedFileTest, TemporaryFileIsNoPrivateMemoryAndSitsInHugePages)
{
    // Under Wine /proc shows Wine's own Linux process, not what the Windows program asked for.
    if (RunningOnWindows() || ProcField("/proc/self/status", "RssAnon:") < 0)
        GTEST_SKIP() << "this system does not show a process's memory by kind";
    CTempFolder folder;
    const size_t nBytes = 32 << 20;
    CMappedFile mapping;
    const long nPrivateBefore = ProcField("/proc/self/status", "RssAnon:");
    ASSERT_TRUE(mapping.Create(folder.File(u"scratch.dat"), nBytes, EMappedFileName::Temporary));
    std::memset(mapping.Data(), 'x', nBytes);
    // Half the file: a sanitizer's shadow of the pages written is private memory of its own.
    EXPECT_LT(ProcField("/proc/self/status", "RssAnon:") - nPrivateBefore, static_cast<long>(nBytes >> 11))
        << "kB of private memory";
    if (!SystemCollapsesFilesIntoHugePages())
        return;
    const auto nStart = reinterpret_cast<uintptr_t>(mapping.Data());
    EXPECT_EQ(ProcField("/proc/self/smaps", "ShmemPmdMapped:", nStart, nStart + nBytes), static_cast<long>(nBytes >> 10))
        << "kB mapped in huge pages";
}
