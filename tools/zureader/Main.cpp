// zureader: the library's command-line host.
#include "CommandLine.h"
#include "Commands.h"
#include "TerminalPrompt.h"

#include "Console.h"

#include <zureader/ZUReader.h>

namespace {

const char kHelp[] =
    "usage: zureader COMMAND [ARGUMENTS]\n"
    "\n"
    "commands:\n"
    "  cat LOCATION [-o FILE]          copy a file, URL or socket (tcp://HOST:PORT, udp://:PORT,\n"
    "                                  udp://@GROUP:PORT) to standard output or a file; with\n"
    "      [--buffered] [--loop]       --buffered through the read-ahead reader, --loop over and\n"
    "      [--truncate BYTES]          over again, --truncate cut after BYTES bytes\n"
    "  radio URL [-o FILE]             play an Internet-radio stream: the audio to standard output\n"
    "      [--seconds N]               or FILE, each new title with its time; stop after N seconds\n"
    "  record SOURCE PATH              record SOURCE into chunk files beside the header file PATH,\n"
    "      [--chunk-size BYTES]        which cat reads, also while it grows (cat PATH --follow);\n"
    "      [--keep BYTES] [--seconds N]  --keep deletes chunks older than BYTES as it goes\n"
    "  info LOCATION [--prop NAME]...  print a reader's type, length, flags and properties\n"
    "  dvd FOLDER [--description]      list a DVD-Video folder's titles, or print its rip description\n"
    "      [--title N] [--audio K]     with -o: write title N with audio stream K as an MPEG\n"
    "      [-o OUT.mpg]                program stream\n"
    "  encoders [--register]           list the encoder plug-ins; --register registers the ones\n"
    "      [--machine]                 installed beside the library (--machine: for every user)\n"
    "  transcode SOURCE -o OUT         transcode the audio of SOURCE with the encoder NAME while\n"
    "      --encoder NAME | --video    reading it (--video: the video, as fragmented MP4)\n"
    "      [--settings TEXT] [--start-ms N] [--limit BYTES]\n"
    "  demo FOLDER                     write, seek and read back an embedded sample in FOLDER\n"
    "  find-server                     print the m01p:// location of a media server on the network\n"
    "  announce ADDRESS PORT           answer find-server with m01p://ADDRESS:PORT until interrupted\n"
    "\n"
    "cat, radio, record and info also take --option KEY=VALUE, --timeout MS and --data TEXT.\n"
    "zureader COMMAND --help tells more.\n"
    "\n"
    "exit status:\n"
    "   0  success\n"
    "   1  another failure (a local file that cannot be opened, a certificate or protocol error)\n"
    "   2  a bad command line\n"
    "   3  a URL of a scheme the library does not know, or one it cannot parse\n"
    "   6  the host's name could not be resolved\n"
    "   7  no connection to the host (refused or unreachable)\n"
    "  18  the transfer ended short of the length the source announced\n"
    "  22  the server answered with an error status (HTTP, or an FTP reply)\n"
    "  23  the output could not be created or written\n"
    "  28  the source did not answer within the time-out\n";

// Pairs the library's start-up and tear-down around the command.
class CLibraryScope {
public:
    CLibraryScope() { ZUReaderInitialize(0); }
    ~CLibraryScope() { ZUReaderUninitialize(0); }
};

}  // namespace

int main(int argc, char** argv)
{
    using namespace zucli;
    const std::vector<std::u16string> arguments = CommandLineArguments(argc, argv);
    if (arguments.size() < 2 || arguments[1] == u"--help" || arguments[1] == u"-h") {
        PrintText(kHelp);
        return static_cast<int>(arguments.size() < 2 ? EExit::USAGE : EExit::OK);
    }
    const CArguments rest(arguments.begin() + 2, arguments.end());
    CLibraryScope library;
    CTerminalPrompt prompt;
    if (arguments[1] == u"cat")
        return RunCat(rest);
    if (arguments[1] == u"info")
        return RunInfo(rest);
    if (arguments[1] == u"radio")
        return RunRadio(rest);
    if (arguments[1] == u"dvd")
        return RunDvd(rest);
    if (arguments[1] == u"record")
        return RunRecord(rest);
    if (arguments[1] == u"encoders")
        return RunEncoders(rest);
    if (arguments[1] == u"transcode")
        return RunTranscode(rest);
    if (arguments[1] == u"demo")
        return RunDemo(rest);
    if (arguments[1] == u"find-server")
        return RunFindServer(rest);
    if (arguments[1] == u"announce")
        return RunAnnounce(rest);
    return Fail(EExit::USAGE, "unknown command " + ToUtf8(arguments[1]) + " (see zureader --help)");
}
