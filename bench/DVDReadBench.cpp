// The DVD reader (GetDVDReader, 64 KiB requests) against cat of the same title's VOB files to
// /dev/null, page cache hot, in one run. Both rates count the bytes scanned: the title's sectors
// for the reader (its packs left out included), the files' bytes for cat.
// Usage: bench_dvd_read DISC_FOLDER [ROUNDS]
// A disc with a title of about 1 GiB: tests/dvd/author_disc.sh DISC_FOLDER 1260 (two VOB files; a few minutes).
#include <zureader/TextConversion.h>
#include <zureader/ZUReader.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

std::string Describe(const std::string& folder)
{
    const std::u16string wide = zureader::Utf16FromUtf8(folder);
    const ZUBSTR text = ZUDescribeDVD(reinterpret_cast<const ZUCHAR*>(wide.c_str()));
    const std::string described = zureader::Utf8FromUtf16(reinterpret_cast<const char16_t*>(text));
    ZUFreeString(text);
    return described;
}

std::string Value(const std::string& text, const std::string& key)
{
    const size_t at = text.find("\n" + key + "=");
    return at == std::string::npos ? "" : text.substr(at + key.size() + 2, text.find_first_of("\r\n", at + 1) -
                                                                            (at + key.size() + 2));
}

// The title VOBs of title set 1 (the long disc has one title set).
std::vector<std::string> TitleVobs(const std::string& folder, long long& nBytes)
{
    std::vector<std::string> files;
    const std::string videoTs = folder + "/VIDEO_TS/";
    std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(videoTs.c_str()), closedir);
    while (dirent* entry = dir ? readdir(dir.get()) : nullptr) {
        const std::string name = entry->d_name;
        if (name.rfind("VTS_01_", 0) == 0 && name.size() >= 12 && name.substr(name.size() - 4) == ".VOB" && name[7] != '0')
            files.push_back(videoTs + name);
    }
    std::sort(files.begin(), files.end());
    nBytes = 0;
    for (const std::string& file : files) {
        struct stat st;
        nBytes += stat(file.c_str(), &st) == 0 ? st.st_size : 0;
    }
    return files;
}

double Seconds(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double CatRate(const std::string& command, long long nBytes)
{
    const auto start = Clock::now();
    if (std::system(command.c_str()) != 0)
        return 0;
    return nBytes / Seconds(start) / (1 << 20);
}

double ReaderRate(const std::string& description, long long& nDelivered)
{
    const std::u16string wide = zureader::Utf16FromUtf8(description);
    const auto start = Clock::now();
    std::unique_ptr<VReader> reader(GetDVDReader(reinterpret_cast<const ZUCHAR*>(wide.c_str())));
    if (!reader->Open())
        return 0;
    std::vector<char> buffer(64 << 10);
    nDelivered = 0;
    while (uint32_t n = reader->Read(buffer.data(), static_cast<uint32_t>(buffer.size())))
        nDelivered += n;
    const long long nScanned = reader->GetLength();
    reader->Close();
    return nScanned / Seconds(start) / (1 << 20);
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_dvd_read DISC_FOLDER [ROUNDS]\n");
        return 2;
    }
    const std::string folder = argv[1];
    const int nRounds = argc > 2 ? std::atoi(argv[2]) : 5;
    const std::string description = Describe(folder);
    long long nVobBytes = 0;
    const std::vector<std::string> vobs = TitleVobs(folder, nVobBytes);
    if (description.empty() || vobs.empty()) {
        std::fprintf(stderr, "no DVD-Video title set 1 in %s\n", folder.c_str());
        return 1;
    }
    std::string command = "cat";
    for (const std::string& file : vobs)
        command += " '" + file + "'";
    command += " > /dev/null";
    CatRate(command, nVobBytes);  // the page cache made hot
    std::vector<double> cat;
    std::vector<double> ours;
    long long nDelivered = 0;
    for (int i = 0; i < nRounds; ++i) {
        cat.push_back(CatRate(command, nVobBytes));
        ours.push_back(ReaderRate(description, nDelivered));
    }
    std::printf("title %s: %s bytes of sectors (%lld delivered), VOB files %lld bytes\n",
                Value(description, "Number00").c_str(), Value(description, "TotalBytes00").c_str(), nDelivered,
                nVobBytes);
    std::printf("cat        %8.1f MiB/s (median of %d)\n", Median(cat), nRounds);
    std::printf("DVD reader %8.1f MiB/s (median of %d)\n", Median(ours), nRounds);
    std::printf("ratio      %8.3f\n", Median(ours) / Median(cat));
    return 0;
}
