#include "CommandLine.h"
#include "Commands.h"
#include "Console.h"
#include "InterruptWatch.h"
#include "OutputSink.h"
#include "Progress.h"
#include "ReaderPtr.h"
#include "ReaderSetup.h"
#include "SocketLocation.h"


#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <thread>
#include <string>
#include <vector>

namespace zucli {
namespace {

constexpr uint32_t kChunk = 1 << 20;
constexpr char16_t kBuffered[] = u"--buffered";
constexpr char16_t kLoop[] = u"--loop";
constexpr char16_t kTruncate[] = u"--truncate";
constexpr char16_t kSeekable[] = u"--seekable";
constexpr char16_t kOffset[] = u"--offset";
constexpr char16_t kLength[] = u"--length";
constexpr char16_t kFollow[] = u"--follow";
// How often a follower looks for the recording's new bytes.
constexpr auto kFollowWait = std::chrono::milliseconds(100);

const char kCatHelp[] =
    "usage: zureader cat LOCATION [-o FILE] [--seekable] [--offset N] [--length N]\n"
    "                    [--buffered] [--loop] [--truncate BYTES] [--follow]\n"
    "                    [--option KEY=VALUE]... [--timeout MS] [--data TEXT]\n"
    "\n"
    "Copies everything the library reads from LOCATION (a file name, or an http, https or ftp URL)\n"
    "to standard output, or to FILE with -o. LOCATION may also be a socket: tcp://HOST:PORT reads\n"
    "what the connection brings until the peer closes it; udp://:PORT receives the datagrams sent\n"
    "to PORT and udp://@GROUP:PORT those of a multicast group, until an interrupt (Ctrl-C) or the\n"
    "cut (--truncate). A recording (zureader record) is read as one stream. A progress bar is drawn\n"
    "on standard error when it is a terminal and the data goes elsewhere.\n"
    "\n"
    "  --seekable        read a URL through the buffered Internet reader, which downloads byte\n"
    "                    ranges into a temporary cache file and can seek anywhere in the resource\n"
    "  --offset N        start at byte N (a seek before the first read)\n"
    "  --length N        copy N bytes (fewer only when LOCATION ends first)\n"
    "  --buffered        read through the read-ahead reader: a worker reads LOCATION ahead of the\n"
    "                    copy into an 8 MiB buffer\n"
    "  --loop            go back to where reading began each time LOCATION ends, for ever: stop it\n"
    "                    with --truncate, an interrupt (Ctrl-C) or by closing the output. LOCATION\n"
    "                    must have a known length (a live stream is refused)\n"
    "  --truncate BYTES  copy no more than BYTES bytes\n"
    "  --follow          LOCATION is a recording (zureader record): go on reading it as it grows,\n"
    "                    like tail -f, until its writer has closed it and every byte is copied,\n"
    "                    or an interrupt (Ctrl-C)\n"
    "\n"
    "--option RECONNECT=1 takes a transfer that breaks off up again: the rest of a resource of\n"
    "known length is asked for with a Range, a live stream is asked for anew.\n"
    "\n"
    "The readers stack in the order above: the read-ahead reader over LOCATION, the loop over it,\n"
    "the cut outermost. So --loop --truncate N gives N bytes of LOCATION repeated, and with\n"
    "--buffered a LOCATION that fits the buffer is fetched once however often it loops.\n"
    "\n";

// What the decorating switches ask for, and the loop once it is made.
struct CDecorators {
    bool bBuffered = false;
    bool bLoop = false;
    bool bTruncate = false;
    int64_t nLimit = 0;
    int64_t nOffset = -1;
    int64_t nLength = -1;
    VCirclingReader* pLoop = nullptr;

    CReaderPtr Wrap(CReaderPtr pReader)
    {
        if (pReader && bBuffered)
            pReader = MakeReadAhead(std::move(pReader));
        if (pReader && bLoop) {
            pReader.reset(GetCirclingReader(pReader.release()));
            pLoop = ZUReaderCast<VCirclingReader>(pReader.get());
        }
        if (pReader && bTruncate)
            pReader.reset(GetTruncatingReader(pReader.release(), nLimit));
        return pReader;
    }

    // The bytes the source announced from where the copy starts, within the cut; -1 when it cannot
    // tell (a loop, a source of unknown length).
    int64_t AnnouncedBytes(VReader& reader) const
    {
        if (bLoop || reader.IsLengthUnknown())
            return -1;
        const int64_t nLeft = std::max<int64_t>(reader.GetLength() - std::max<int64_t>(reader.GetPosition(), 0), 0);
        return std::min(nLeft, Quota());
    }

    // What the progress bar counts towards: the announced bytes, or failing that the cut.
    int64_t ExpectedBytes(VReader& reader) const
    {
        const int64_t nAnnounced = AnnouncedBytes(reader);
        return nAnnounced < 0 && Quota() < INT64_MAX ? Quota() : nAnnounced;
    }

    // How many bytes the copy may take at most.
    int64_t Quota() const
    {
        const int64_t nCut = bTruncate ? nLimit : INT64_MAX;
        return nLength >= 0 ? std::min(nCut, nLength) : nCut;
    }
};

bool ParseDecorators(const CCommandLine& line, CDecorators& decorators, std::string& error)
{
    decorators.bBuffered = line.Has(kBuffered);
    decorators.bLoop = line.Has(kLoop);
    decorators.bTruncate = line.Has(kTruncate);
    uint64_t nLimit = 0;
    if (decorators.bTruncate && !ParseCount(line.Value(kTruncate), INT64_MAX, nLimit)) {
        error = "--truncate takes a number of bytes, not " + ToUtf8(line.Value(kTruncate));
        return false;
    }
    decorators.nLimit = static_cast<int64_t>(nLimit);
    for (const auto& [pszName, pnValue] : {std::pair{kOffset, &decorators.nOffset}, std::pair{kLength, &decorators.nLength}}) {
        uint64_t nValue = 0;
        if (!line.Has(pszName))
            continue;
        if (!ParseCount(line.Value(pszName), INT64_MAX, nValue)) {
            error = ToUtf8(pszName) + " takes a number of bytes, not " + ToUtf8(line.Value(pszName));
            return false;
        }
        *pnValue = static_cast<int64_t>(nValue);
    }
    return true;
}

// What the reader says of a failed read, as the end of a message.
std::string FailureDetail(VReader& reader)
{
    const std::string text = ToUtf8(TakeInfo(reader.GetInfo(Z(u"StatusText"))));
    return text.empty() ? std::string() : " (" + text + ")";
}

// The loop turns at the source's end back to where the source was opened (a range's start).
bool StartLoop(VReader& reader, VCirclingReader& loop)
{
    if (reader.IsLengthUnknown())
        return false;
    loop.SetRestartPosition(std::max<int64_t>(loop.GetPosition(), 0));
    loop.SetCircling(true);
    return true;
}

// Follows a recording as it grows.
class CFollower {
public:
    CFollower(VSplitterReader& recording, const CInterruptWatch& interrupt) : m_Recording(recording), m_Interrupt(interrupt) {}

    // After a read that found nothing new: true, after a short wait, while the recording may still
    // grow and the user has not interrupted. Once the writer is gone, its last announcement is
    // read at once; a read that still finds nothing then is the end (a rolling recording may have
    // deleted the rest before it could be read).
    bool WaitForMore()
    {
        if (m_Interrupt.IsInterrupted() || m_bWriterGone)
            return false;
        m_bWriterGone = !m_Recording.IsBeingWritten();
        if (m_bWriterGone)
            return m_Recording.GetPosition() < m_Recording.GetLength();
        std::this_thread::sleep_for(kFollowWait);
        return !m_Interrupt.IsInterrupted();
    }

private:
    VSplitterReader& m_Recording;
    const CInterruptWatch& m_Interrupt;
    bool m_bWriterGone = false;
};

}  // namespace

int RunCat(const CArguments& arguments)
{
    const CCommandLine line =
        CReaderSetup::CommandLine(arguments, {u"-o", u"--output", kTruncate, kOffset, kLength}, {kBuffered, kLoop, kSeekable, kFollow});
    int nStatus = 0;
    CReaderSetup setup;
    if (!setup.Prepare(line, "cat", kCatHelp, nStatus))
        return nStatus;
    CDecorators decorators;
    std::string error;
    if (!ParseDecorators(line, decorators, error))
        return Fail(EExit::USAGE, error + " (see zureader cat --help)");

    const std::u16string location = line.Positional()[0];
    const std::u16string output = COutputSink::PathFrom(line);
    setup.SetSeekable(line.Has(kSeekable));

    COpenFailure failure;
    CReaderPtr pReader =
        setup.Open(location, failure, [&](CReaderPtr pSource) { return decorators.Wrap(std::move(pSource)); });
    if (!pReader)
        return Fail(failure.nStatus, failure.message);
    if (decorators.nOffset >= 0 && pReader->SetPosition(decorators.nOffset, ZU_SEEK_BEGIN) != decorators.nOffset)
        return Fail(EExit::FAILED, "cannot start " + ToUtf8(location) + " at byte " + std::to_string(decorators.nOffset) +
                                       (line.Has(kSeekable) ? "" : " (--seekable lets a URL seek)"));
    if (decorators.pLoop && !StartLoop(*pReader, *decorators.pLoop))
        return Fail(EExit::FAILED, "cannot loop " + ToUtf8(location) + ": its length is unknown (a live stream?)");

    VSplitterReader* pFollow = line.Has(kFollow) ? ZUReaderCast<VSplitterReader>(pReader.get()) : nullptr;
    if (line.Has(kFollow) && !pFollow)
        return Fail(EExit::USAGE, "--follow reads a recording (zureader record) without --buffered, --loop or "
                                  "--truncate; " + ToUtf8(location) + " is not one");
    // Only a follower waits for the user to end it; any other copy ends at the first interrupt.
    std::optional<CInterruptWatch> interrupt;
    std::optional<CFollower> follower;
    const bool bDatagrams = CSocketLocation::IsDatagramLocation(location);
    if (pFollow || bDatagrams)
        interrupt.emplace();
    if (pFollow)
        follower.emplace(*pFollow, *interrupt);

    COutputSink sink;
    if (!sink.Open(output))
        return Fail(EExit::WRITE_FAILED, "cannot create " + ToUtf8(output));

    const bool bWatched = IsTerminal(2) && (!output.empty() || !IsTerminal(1));
    const int64_t nAnnounced = decorators.AnnouncedBytes(*pReader);
    CProgress progress(bWatched, decorators.ExpectedBytes(*pReader));
    // The cut reader limits each read, not the sum: the count of what is left is ours to keep.
    int64_t nLeft = decorators.Quota();
    int64_t nCopied = 0;
    const bool bRecording = ZUReaderCast<VSplitterReader>(pReader.get()) != nullptr;
    const int64_t nFirst = bRecording ? pReader->GetPosition() : 0;
    std::vector<unsigned char> buffer(kChunk);
    while (nLeft > 0 && !(interrupt && interrupt->IsInterrupted())) {
        const uint32_t nRead = pReader->Read(buffer.data(), static_cast<uint32_t>(std::min<int64_t>(kChunk, nLeft)));
        if (nRead == 0 && follower && follower->WaitForMore())
            continue;
        if (nRead == 0 && bDatagrams)
            continue;  // no datagram within the poll; the loop's test sees an interrupt
        if (nRead == 0)
            break;
        // The seekable reader answers all bits set when the bytes cannot be had.
        if (nRead > std::min<int64_t>(kChunk, nLeft))
            return Fail(EExit::CUT_SHORT, "reading " + ToUtf8(location) + " failed after " + std::to_string(nCopied) +
                                              " bytes" + FailureDetail(*pReader));
        if (!sink.Write(buffer.data(), nRead))
            return Fail(EExit::WRITE_FAILED, "cannot write " + sink.Name());
        nLeft -= nRead;
        nCopied += nRead;
        progress.Advance(nRead);
    }
    progress.Finish();
    // A reader ends a body that stops early as it ends a whole one: only the count tells. A
    // rolling recording's reader jumps over the chunks deleted under it, so there the span it
    // moved over tells instead.
    const int64_t nCovered = bRecording ? pReader->GetPosition() - nFirst : nCopied;
    const bool bShort = nCovered < nAnnounced;
    pReader->Close();
    if (!sink.Finish())
        return Fail(EExit::WRITE_FAILED, "cannot finish writing " + sink.Name());
    if (bShort && setup.ExpectsBody())
        return Fail(EExit::CUT_SHORT, "the transfer of " + ToUtf8(location) + " was cut short: " +
                                          std::to_string(nCopied) + " of " + std::to_string(nAnnounced) + " bytes");
    return 0;
}

}  // namespace zucli
