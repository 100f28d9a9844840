#include "CommandLine.h"
#include "Commands.h"
#include "Console.h"
#include "OutputSink.h"
#include "Progress.h"
#include "ReaderPtr.h"

#include <cstdio>
#include <map>
#include <vector>

namespace zucli {
namespace {

const char kDvdHelp[] =
    "usage: zureader dvd FOLDER [--description]\n"
    "       zureader dvd FOLDER [--title N] [--audio K] -o OUT.mpg\n"
    "\n"
    "FOLDER is a DVD-Video folder (VIDEO_TS, or the folder holding it). Without -o: prints each title\n"
    "with its number, duration, chapters, size and audio streams (the longest title marked *); with\n"
    "--description the rip description the library writes for the folder instead (a [DVDVideoInfo]\n"
    "section of Key=Value lines; \"AudioStreamList\" separates its entries with |).\n"
    "With -o (or --output): writes title N (by default the longest) as an MPEG program stream of its\n"
    "video and audio stream K (0, the first, by default; it leaves as sub-stream 0x80), with a\n"
    "progress bar when standard error is a terminal; -o - writes to standard output.\n"
    "\n";

const std::u16string kSection = u"[DVDVideoInfo]";

// The description's Key=Value pairs (only the one section is ever written there).
std::map<std::string, std::string> Pairs(const std::string& text)
{
    std::map<std::string, std::string> pairs;
    size_t nStart = 0;
    while (nStart < text.size()) {
        size_t nEnd = text.find('\n', nStart);
        if (nEnd == std::string::npos)
            nEnd = text.size();
        std::string line = text.substr(nStart, nEnd - nStart);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        const size_t nEquals = line.find('=');
        if (nEquals != std::string::npos)
            pairs[line.substr(0, nEquals)] = line.substr(nEquals + 1);
        nStart = nEnd + 1;
    }
    return pairs;
}

std::string Key(const char* pszWord, int nIndex)
{
    char key[64];
    std::snprintf(key, sizeof key, "%s%02d", pszWord, nIndex);
    return key;
}

int Number(const std::map<std::string, std::string>& pairs, const std::string& key)
{
    const auto found = pairs.find(key);
    return found == pairs.end() ? 0 : std::atoi(found->second.c_str());
}

std::string Duration(int nSeconds)
{
    char text[32];
    std::snprintf(text, sizeof text, "%d:%02d:%02d", nSeconds / 3600, nSeconds / 60 % 60, nSeconds % 60);
    return text;
}

std::string Listing(const std::map<std::string, std::string>& pairs)
{
    std::string text = "disc " + pairs.at("Name") + ": " + FormatBytes(std::atof(pairs.at("DiscBytes").c_str())) + "\n";
    for (int i = 0; i < Number(pairs, "NumTitles"); ++i) {
        const int nChapters = Number(pairs, Key("Chapters", i));
        text += (Number(pairs, Key("SelectedForRip", i)) ? "* title " : "  title ") + std::to_string(i + 1) + ": " +
                Duration(Number(pairs, Key("Duration", i))) + ", " + std::to_string(nChapters) +
                (nChapters == 1 ? " chapter, " : " chapters, ") +
                FormatBytes(std::atof(pairs.at(Key("TotalBytes", i)).c_str())) + "\n";
        const std::string list = pairs.at(Key("AudioStreamList", i));
        size_t nStart = 0;
        for (int k = 0; !list.empty() && nStart <= list.size(); ++k) {
            const size_t nEnd = std::min(list.find('|', nStart), list.size());
            text += "      audio " + std::to_string(k) + ": " + list.substr(nStart, nEnd - nStart) + "\n";
            nStart = nEnd + 1;
        }
    }
    return text;
}

// The description with only title nTitle (0-based) selected, keeping audio stream nAudio; later
// pairs replace earlier ones.
std::u16string Selecting(const std::u16string& description, int nTitles, int nTitle, int nAudio)
{
    std::string extra;
    for (int i = 0; i < nTitles; ++i)
        extra += Key("SelectedForRip", i) + (i == nTitle ? "=1\r\n" : "=0\r\n") + Key("SelectedAudioStream", i) + "=" +
                 std::to_string(nAudio) + "\r\n";
    return description + FromUtf8(extra);
}

int Rip(const std::u16string& description, const std::string& folder, const std::u16string& output)
{
    CReaderPtr pReader(GetDVDReader(Z(description)));
    if (!pReader || !pReader->Open())
        return Fail(EExit::FAILED, "cannot read the title from " + folder);
    COutputSink sink;
    if (!sink.Open(output == u"-" ? u"" : output))
        return Fail(EExit::WRITE_FAILED, "cannot create " + ToUtf8(output));
    // Positions count the packs left out too: the bar follows them, not the bytes written.
    CProgress progress(IsTerminal(2) && output != u"-", pReader->GetLength());
    std::vector<unsigned char> buffer(1 << 16);
    int64_t nPosition = pReader->GetPosition();
    while (const uint32_t nRead = pReader->Read(buffer.data(), static_cast<uint32_t>(buffer.size()))) {
        if (!sink.Write(buffer.data(), nRead))
            return Fail(EExit::WRITE_FAILED, "cannot write " + sink.Name());
        const int64_t nNow = pReader->GetPosition();
        progress.Advance(static_cast<uint64_t>(nNow > nPosition ? nNow - nPosition : 0));
        nPosition = nNow;
    }
    progress.Finish();
    pReader->Close();
    if (!sink.Finish())
        return Fail(EExit::WRITE_FAILED, "cannot finish writing " + sink.Name());
    return 0;
}

}  // namespace

int RunDvd(const CArguments& arguments)
{
    const CCommandLine line(arguments, {u"--title", u"--audio", u"-o", u"--output"}, {u"--description", u"-h", u"--help"});
    int nStatus = 0;
    if (!PrepareCommand(line, "dvd", "one FOLDER", 1, kDvdHelp, nStatus))
        return nStatus;
    const std::string folder = ToUtf8(line.Positional()[0]);
    const ZUBSTR described = ZUDescribeDVD(Z(line.Positional()[0]));
    const std::u16string description = described ? TakeInfo(described) : u"";
    const std::map<std::string, std::string> pairs = Pairs(ToUtf8(description));
    const int nTitles = Number(pairs, "NumTitles");
    if (nTitles < 1)
        return Fail(EExit::FAILED, "no DVD-Video titles in " + folder);
    const std::u16string output = line.Has(u"-o") ? line.Value(u"-o") : line.Value(u"--output");
    if (output.empty()) {
        PrintText(line.Has(u"--description") ? ToUtf8(description) : Listing(pairs));
        return 0;
    }
    uint64_t nTitle = 0;
    uint64_t nAudio = 0;
    for (int i = 0; i < nTitles; ++i)
        nTitle = Number(pairs, Key("SelectedForRip", i)) ? i + 1 : nTitle;
    if (line.Has(u"--title") && (!ParseCount(line.Value(u"--title"), nTitles, nTitle) || nTitle < 1))
        return Fail(EExit::USAGE, "--title takes a title number from 1 to " + std::to_string(nTitles));
    if (line.Has(u"--audio") && !ParseCount(line.Value(u"--audio"), 7, nAudio))
        return Fail(EExit::USAGE, "--audio takes an audio stream from 0 to 7");
    return Rip(Selecting(description, nTitles, static_cast<int>(nTitle) - 1, static_cast<int>(nAudio)), folder, output);
}

}  // namespace zucli
