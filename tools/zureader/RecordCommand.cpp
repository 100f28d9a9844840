#include "CommandLine.h"
#include "Commands.h"
#include "Console.h"
#include "InterruptWatch.h"
#include "Progress.h"
#include "ReaderPtr.h"
#include "ReaderSetup.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace zucli {
namespace {

using CClock = std::chrono::steady_clock;

constexpr uint32_t kPiece = 64 << 10;
constexpr uint64_t kDefaultChunkSize = 64ull << 20;
constexpr uint64_t kMaxSeconds = 4000000000u;
constexpr char16_t kChunkSize[] = u"--chunk-size";
constexpr char16_t kKeep[] = u"--keep";
constexpr char16_t kSeconds[] = u"--seconds";

const char kRecordHelp[] =
    "usage: zureader record SOURCE PATH [--chunk-size BYTES] [--keep BYTES] [--seconds N]\n"
    "                       [--option KEY=VALUE]... [--timeout MS] [--data TEXT]\n"
    "\n"
    "Records SOURCE (a file, an http, https or ftp URL, an Internet-radio stream, whose titles are\n"
    "left out) into a recording at PATH: PATH is a small header file, and the bytes go into chunk\n"
    "files beside it (for PATH show.ts: show-0.ts.cnk, show-1.ts.cnk, ...; the chunk being filled\n"
    "ends in .tmp). Another zureader can read the recording while it grows: zureader cat PATH\n"
    "--follow.\n"
    "\n"
    "  --chunk-size BYTES  bytes per chunk file (64 MiB unless given)\n"
    "  --keep BYTES        a rolling buffer: chunks wholly more than BYTES behind the newest byte\n"
    "                      are deleted as the recording goes on\n"
    "  --seconds N         stop after N seconds; otherwise at the source's end or an interrupt\n"
    "                      (Ctrl-C), which closes the recording cleanly\n"
    "\n"
    "A progress line is drawn on standard error when it is a terminal.\n"
    "\n";

struct CRecordSettings {
    uint64_t nChunkSize = kDefaultChunkSize;
    uint64_t nKeep = 0;
    uint64_t nSeconds = 0;
};

bool ParseSettings(const CCommandLine& line, CRecordSettings& settings, std::string& error)
{
    const struct {
        const char16_t* pszName;
        uint64_t* pnValue;
        uint64_t nMax;
    } numbers[] = {{kChunkSize, &settings.nChunkSize, INT64_MAX}, {kKeep, &settings.nKeep, INT64_MAX},
                   {kSeconds, &settings.nSeconds, kMaxSeconds}};
    for (const auto& number : numbers) {
        if (line.Has(number.pszName) &&
            (!ParseCount(line.Value(number.pszName), number.nMax, *number.pnValue) || *number.pnValue == 0)) {
            error = ToUtf8(number.pszName) + " takes a whole number above 0, not " + ToUtf8(line.Value(number.pszName));
            return false;
        }
    }
    return true;
}

// Copies the source into the recording until it ends, the time is up or the user interrupts;
// false when the recording refused bytes.
bool Copy(VReader& source, VSplitterReader& recording, const CRecordSettings& settings, CProgress& progress)
{
    const CInterruptWatch interrupt;
    const CClock::time_point deadline = CClock::now() + std::chrono::seconds(settings.nSeconds);
    std::vector<unsigned char> buffer(kPiece);
    int64_t nWritten = 0;
    while (!interrupt.IsInterrupted() && (settings.nSeconds == 0 || CClock::now() < deadline)) {
        const uint32_t nRead = source.Read(buffer.data(), kPiece);
        if (nRead == 0 || nRead > kPiece)
            return true;
        if (recording.Write(buffer.data(), nRead) != nRead)
            return false;
        nWritten += nRead;
        progress.Advance(nRead);
        if (settings.nKeep > 0 && nWritten > static_cast<int64_t>(settings.nKeep))
            recording.SetFirstNeededPosition(nWritten - static_cast<int64_t>(settings.nKeep), 1);
    }
    return true;
}

}  // namespace

int RunRecord(const CArguments& arguments)
{
    const CCommandLine line = CReaderSetup::CommandLine(arguments, {kChunkSize, kKeep, kSeconds});
    int nStatus = 0;
    CReaderSetup setup;
    if (!setup.Prepare(line, "record", kRecordHelp, nStatus, 2, "a SOURCE and a PATH"))
        return nStatus;
    CRecordSettings settings;
    std::string error;
    if (!ParseSettings(line, settings, error))
        return Fail(EExit::USAGE, error + " (see zureader record --help)");

    COpenFailure failure;
    const std::u16string source = line.Positional()[0];
    // A station's titles are not part of its audio: a URL is read through the read-ahead reader,
    // which strips them when the server sends any.
    CReaderPtr pSource = setup.Open(source, failure, [&](CReaderPtr pInner) {
        if (source.find(u"://") == std::u16string::npos)
            return pInner;
        CReaderPtr pReadAhead = MakeReadAhead(std::move(pInner));
        if (VBufferedReader* pRadio = ZUReaderCast<VBufferedReader>(pReadAhead.get()))
            pRadio->EnableIcyMetadata();
        return pReadAhead;
    });
    if (!pSource)
        return Fail(failure.nStatus, failure.message);
    const std::u16string path = line.Positional()[1];
    CReaderPtr pRecording(GetSplitterReader(Z(path), static_cast<int64_t>(settings.nChunkSize), 0));
    VSplitterReader* pSplitter = ZUReaderCast<VSplitterReader>(pRecording.get());
    if (!pSplitter || !pSplitter->Create())
        return Fail(EExit::WRITE_FAILED, "cannot create the recording " + ToUtf8(path));
    CProgress progress(IsTerminal(2), -1);
    const bool bCopied = Copy(*pSource, *pSplitter, settings, progress);
    progress.Finish();
    pSplitter->Close();
    pSource->Close();
    return bCopied ? 0 : Fail(EExit::WRITE_FAILED, "cannot write the recording " + ToUtf8(path));
}

}  // namespace zucli
