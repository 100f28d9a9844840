#include "CommandLine.h"
#include "Commands.h"
#include "Console.h"
#include "OutputSink.h"
#include "Progress.h"
#include "ReaderPtr.h"

#include <zureader/ZUReader.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace zucli {
namespace {

const char kTranscodeHelp[] =
    "usage: zureader transcode SOURCE --encoder NAME [--settings TEXT] [--start-ms N]\n"
    "                          [--offset BYTES] [--limit BYTES] -o OUT\n"
    "       zureader transcode SOURCE --video -o OUT.mp4\n"
    "       (both also take --stats)\n"
    "\n"
    "Writes what an encoder makes of SOURCE, read while the encoder still works. --encoder names a\n"
    "registered encoder plug-in (zureader encoders lists them), --settings its settings text (for\n"
    "example Bitrate=192000). --start-ms starts the output at that time of the source; --offset\n"
    "leaves out the output's first BYTES; --limit ends the output after BYTES bytes of it. --video\n"
    "converts the video instead, into a fragmented MP4 that plays while it grows. A progress bar\n"
    "follows the encoder's length estimate when standard error is a terminal; -o - writes to\n"
    "standard output. --stats prints on standard error when the first bytes came, how many came in\n"
    "how long, and the length estimate at the first byte and at the end.\n"
    "\n";

// The media type the providers are told: the extension, lower case.
std::u16string TypeOf(const std::u16string& path)
{
    const size_t nDot = path.find_last_of(u'.');
    const size_t nSlash = path.find_last_of(u"/\\");
    std::u16string type = nDot == std::u16string::npos || (nSlash != std::u16string::npos && nDot < nSlash)
                              ? u""
                              : path.substr(nDot + 1);
    for (char16_t& c : type)
        c = (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c - u'A' + u'a') : c;
    return type;
}

int64_t LengthEstimate(VReader& reader)
{
    return std::atoll(ToUtf8(TakeInfo(reader.GetInfo(Z(u"Length Estimate")))).c_str());
}

// What --stats prints: when the first bytes came, and how the length estimate compares with what
// came in the end.
class CStatistics {
public:
    void Note(uint64_t nBytes, int64_t nEstimate)
    {
        if (m_nBytes == 0) {
            m_FirstByte = std::chrono::steady_clock::now();
            m_nFirstEstimate = nEstimate;
        }
        m_nBytes += nBytes;
        m_nLastEstimate = nEstimate;
    }

    std::string Text() const
    {
        const auto now = std::chrono::steady_clock::now();
        const auto ms = [this](std::chrono::steady_clock::time_point at) {
            return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(at - m_Start).count());
        };
        return "first byte after " + (m_nBytes ? ms(m_FirstByte) : std::string("-")) + " ms; " +
               std::to_string(m_nBytes) + " bytes in " + ms(now) + " ms; length estimate " +
               std::to_string(m_nFirstEstimate) + " at the first byte, " + std::to_string(m_nLastEstimate) +
               " at the end\n";
    }

private:
    std::chrono::steady_clock::time_point m_Start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point m_FirstByte;
    uint64_t m_nBytes = 0;
    int64_t m_nFirstEstimate = 0;
    int64_t m_nLastEstimate = 0;
};

int Copy(VReader& reader, const std::u16string& output, CStatistics& statistics, bool bPrintStatistics)
{
    COutputSink sink;
    if (!sink.Open(output == u"-" ? u"" : output))
        return Fail(EExit::WRITE_FAILED, "cannot create " + ToUtf8(output));
    CProgress progress(IsTerminal(2) && output != u"-", LengthEstimate(reader));
    std::vector<unsigned char> buffer(1 << 16);
    while (const uint32_t nRead = reader.Read(buffer.data(), static_cast<uint32_t>(buffer.size()))) {
        if (!sink.Write(buffer.data(), nRead))
            return Fail(EExit::WRITE_FAILED, "cannot write " + sink.Name());
        const int64_t nEstimate = LengthEstimate(reader);
        statistics.Note(nRead, nEstimate);
        progress.SetTotal(nEstimate);
        progress.Advance(nRead);
    }
    progress.Finish();
    reader.Close();
    if (!sink.Finish())
        return Fail(EExit::WRITE_FAILED, "cannot finish writing " + sink.Name());
    if (bPrintStatistics)
        std::fputs(statistics.Text().c_str(), stderr);
    return 0;
}

// Reads a count option; false (with the exit status) for a malformed one.
bool CountOption(const CCommandLine& line, const char16_t* pszName, uint64_t& nValue, int& nStatus)
{
    if (!line.Has(pszName) || ParseCount(line.Value(pszName), INT64_MAX, nValue))
        return true;
    nStatus = Fail(EExit::USAGE, ToUtf8(pszName) + " takes a number");
    return false;
}

}  // namespace

int RunTranscode(const CArguments& arguments)
{
    const CCommandLine line(arguments, {u"--encoder", u"--settings", u"--start-ms", u"--offset", u"--limit", u"-o",
                                        u"--output"},
                            {u"--video", u"--stats", u"-h", u"--help"});
    int nStatus = 0;
    if (!PrepareCommand(line, "transcode", "one SOURCE", 1, kTranscodeHelp, nStatus))
        return nStatus;
    const std::u16string source = line.Positional()[0];
    const std::u16string output = COutputSink::PathFrom(line);
    if (output.empty())
        return Fail(EExit::USAGE, "transcode needs -o OUT (- for standard output)");
    if (line.Has(u"--video") == line.Has(u"--encoder"))
        return Fail(EExit::USAGE, "transcode takes either --encoder NAME or --video");
    uint64_t nStartMs = 0;
    uint64_t nOffset = 0;
    uint64_t nLimit = 0;
    if (!CountOption(line, u"--start-ms", nStartMs, nStatus) || !CountOption(line, u"--offset", nOffset, nStatus) ||
        !CountOption(line, u"--limit", nLimit, nStatus))
        return nStatus;
    if (nStartMs > UINT32_MAX)
        return Fail(EExit::USAGE, "--start-ms is too large");
    CReaderPtr pReader(line.Has(u"--video")
                           ? GetVideoTranscoderReader(Z(source), Z(TypeOf(source)), 0)
                           : GetMusicTranscoderReader(Z(line.Value(u"--encoder")), Z(line.Value(u"--settings")), 0,
                                                      Z(source), Z(TypeOf(source))));
    // Time to the first byte counts from before Open, which starts the encoder.
    CStatistics statistics;
    auto* pTranscoder = ZUReaderCast<VMediaTranscoderReader>(pReader.get());
    if (!pTranscoder)
        return Fail(EExit::FAILED, "out of memory");
    pTranscoder->SetStartTime(static_cast<uint32_t>(nStartMs));
    if (nOffset > 0)
        pTranscoder->SetPosition(static_cast<int64_t>(nOffset), ZU_SEEK_BEGIN);
    if (line.Has(u"--limit"))
        pTranscoder->SetLengthHint(nLimit);
    if (!pTranscoder->Open())
        return Fail(EExit::FAILED, "cannot transcode " + ToUtf8(source) +
                                       " (is the provider installed and the encoder registered? the log tells)");
    return Copy(*pTranscoder, output, statistics, line.Has(u"--stats"));
}

}  // namespace zucli
