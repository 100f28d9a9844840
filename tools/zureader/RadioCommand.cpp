#include "CommandLine.h"
#include "Commands.h"
#include "InterruptWatch.h"
#include "OutputSink.h"
#include "ReaderPtr.h"
#include "ReaderSetup.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace zucli {
namespace {

using CClock = std::chrono::steady_clock;

constexpr uint32_t kChunk = 64 << 10;
constexpr char16_t kSeconds[] = u"--seconds";
// More than a century; keeps the deadline's arithmetic far from overflow.
constexpr uint64_t kMaxSeconds = 4000000000u;
// How long to wait for the station when nothing is buffered: short, so that titles are printed
// when they come and the deadline and an interrupt are noticed at once.
constexpr auto kIdleWait = std::chrono::milliseconds(20);

const char kRadioHelp[] =
    "usage: zureader radio URL [-o FILE] [--seconds N] [--option KEY=VALUE]... [--timeout MS]\n"
    "\n"
    "Plays an Internet-radio stream: reads URL through the read-ahead reader, which asks the station\n"
    "for its titles and strips them out of the stream, and writes the pure audio to standard output,\n"
    "or to FILE with -o. Each time the title changes it prints a line \"[HH:MM:SS] TITLE\", the time\n"
    "counted from the start; the first title is the station's name until the stream tells what it\n"
    "plays. The titles go to standard output when the audio goes to FILE, and to standard error\n"
    "when the audio goes to standard output.\n"
    "\n"
    "  --seconds N  stop after N seconds (a whole number above 0). Without it the radio plays until\n"
    "               the stream ends or an interrupt (Ctrl-C), which ends the audio cleanly and\n"
    "               exits with status 0; a second interrupt ends the program at once.\n"
    "\n";

std::string Timestamp(CClock::duration elapsed)
{
    const long long nSeconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
    char text[32];
    std::snprintf(text, sizeof(text), "[%02lld:%02lld:%02lld]", nSeconds / 3600, nSeconds / 60 % 60, nSeconds % 60);
    return text;
}

// Prints the title of the audio about to be written whenever it differs from the one printed
// last, so that a title shows when its audio does, however far ahead the station's bytes came.
class CTitleLog {
public:
    CTitleLog(std::FILE* pStream, CClock::time_point start) : m_pStream(pStream), m_Start(start) {}

    // Answers how many bytes may be written before another title takes over.
    uint32_t Update(VBufferedReader& radio)
    {
        uint32_t nToNext = UINT32_MAX;
        const std::string title = ToUtf8(TakeInfo(radio.GetStreamTitleAtReadPosition(&nToNext)));
        if (!title.empty() && title != m_Last)
            Print(title);
        return nToNext;
    }

private:
    void Print(const std::string& title)
    {
        m_Last = title;
        const std::string text = Timestamp(CClock::now() - m_Start) + " " + title + "\n";
        std::fwrite(text.data(), 1, text.size(), m_pStream);
        std::fflush(m_pStream);
    }

    std::FILE* m_pStream;
    CClock::time_point m_Start;
    std::string m_Last;
};

// Copies the audio as it arrives until the stream ends, the deadline passes or the user
// interrupts. Reads take only what is buffered, so that none of them waits for the station.
class CRadioPlayer {
public:
    CRadioPlayer(VBufferedReader& radio, COutputSink& sink, CTitleLog& titles)
        : m_Radio(radio), m_Sink(sink), m_Titles(titles), m_Buffer(kChunk)
    {
    }

    // False when the output refused the bytes.
    bool Play(bool bTimed, CClock::time_point deadline, const CInterruptWatch& interrupt)
    {
        for (;;) {
            const uint32_t nToNextTitle = m_Titles.Update(m_Radio);
            if (interrupt.IsInterrupted() || (bTimed && CClock::now() >= deadline))
                return true;
            uint32_t nActive = 0, nBuffered = 0, nCapacity = 0, nEnd = 0;
            m_Radio.GetBufferState(&nActive, &nBuffered, &nCapacity, &nEnd);
            if (nBuffered > 0)
                Copy(std::min({nBuffered, kChunk, nToNextTitle}));
            else if (!nActive || nEnd)
                Drain();
            else
                std::this_thread::sleep_for(kIdleWait);
            if (m_bWriteFailed || m_bEnded)
                return !m_bWriteFailed;
        }
    }

private:
    // Whatever came between the last look at the buffer and the worker's end: reads at the end
    // wait only until the worker has finished.
    void Drain()
    {
        while (Copy(std::min(kChunk, m_Titles.Update(m_Radio))) > 0) {
        }
        m_bEnded = true;
    }

    uint32_t Copy(uint32_t nCount)
    {
        const uint32_t nRead = m_Radio.Read(m_Buffer.data(), nCount);
        if (nRead > 0 && !m_Sink.Write(m_Buffer.data(), nRead)) {
            m_bWriteFailed = true;
            return 0;
        }
        return nRead;
    }

    VBufferedReader& m_Radio;
    COutputSink& m_Sink;
    CTitleLog& m_Titles;
    std::vector<unsigned char> m_Buffer;
    bool m_bWriteFailed = false;
    bool m_bEnded = false;
};

bool ParseSeconds(const CCommandLine& line, uint64_t& nSeconds)
{
    return !line.Has(kSeconds) || (ParseCount(line.Value(kSeconds), kMaxSeconds, nSeconds) && nSeconds > 0);
}

}  // namespace

int RunRadio(const CArguments& arguments)
{
    const CCommandLine line = CReaderSetup::CommandLine(arguments, {u"-o", u"--output", kSeconds});
    int nStatus = 0;
    CReaderSetup setup;
    if (!setup.Prepare(line, "radio", kRadioHelp, nStatus, "URL"))
        return nStatus;
    uint64_t nSeconds = 0;
    if (!ParseSeconds(line, nSeconds))
        return Fail(EExit::USAGE, "--seconds takes a whole number of seconds above 0, not " +
                                      ToUtf8(line.Value(kSeconds)) + " (see zureader radio --help)");

    const std::u16string output = COutputSink::PathFrom(line);

    // From the start: an interrupt while the station answers ends the command as cleanly as one
    // during the play.
    const CInterruptWatch interrupt;
    VBufferedReader* pRadio = nullptr;
    COpenFailure failure;
    CReaderPtr pReader = setup.Open(line.Positional()[0], failure, [&](CReaderPtr pSource) {
        CReaderPtr pReadAhead = MakeReadAhead(std::move(pSource));
        pRadio = ZUReaderCast<VBufferedReader>(pReadAhead.get());
        if (pRadio)
            pRadio->EnableIcyMetadata();
        return pReadAhead;
    });
    if (!pReader)
        return Fail(failure.nStatus, failure.message);
    const CClock::time_point start = CClock::now();

    COutputSink sink;
    if (!sink.Open(output))
        return Fail(EExit::WRITE_FAILED, "cannot create " + ToUtf8(output));
    CTitleLog titles(sink.IsStandardOutput() ? stderr : stdout, start);
    CRadioPlayer player(*pRadio, sink, titles);
    const bool bPlayed = player.Play(line.Has(kSeconds), start + std::chrono::seconds(nSeconds), interrupt);
    pReader->Close();
    if (!bPlayed)
        return Fail(EExit::WRITE_FAILED, "cannot write " + sink.Name());
    return sink.Finish() ? 0 : Fail(EExit::WRITE_FAILED, "cannot finish writing " + sink.Name());
}

}  // namespace zucli
