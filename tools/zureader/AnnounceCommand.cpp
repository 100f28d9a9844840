#include "CommandLine.h"
#include "Commands.h"
#include "InterruptWatch.h"
#include "ReaderPtr.h"

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

namespace zucli {
namespace {

const char kAnnounceHelp[] =
    "usage: zureader announce ADDRESS PORT\n"
    "\n"
    "Answers the requests of find-server on the local network (UDP port 5556) with\n"
    "m01p://ADDRESS:PORT, under this machine's name, until an interrupt (Ctrl-C) or SIGTERM.\n"
    "Prints one line on standard output once it answers.\n";

// How often the command looks for an interrupt; the locator answers from a thread of its own.
constexpr auto kInterruptPoll = std::chrono::milliseconds(50);

bool IsDottedAddress(const std::u16string& text)
{
    int nParts = 0;
    uint64_t nPart = 0;
    std::u16string::size_type nStart = 0;
    for (;;) {
        const auto nDot = text.find(u'.', nStart);
        if (!ParseCount(text.substr(nStart, nDot - nStart), 255, nPart))
            return false;
        ++nParts;
        if (nDot == std::u16string::npos)
            return nParts == 4;
        nStart = nDot + 1;
    }
}

}  // namespace

int RunAnnounce(const CArguments& arguments)
{
    const CCommandLine line(arguments, {}, {u"-h", u"--help"});
    int nStatus = 0;
    if (!PrepareCommand(line, "announce", "an ADDRESS and a PORT", 2, kAnnounceHelp, nStatus))
        return nStatus;
    const std::u16string& address = line.Positional()[0];
    const std::u16string& port = line.Positional()[1];
    uint64_t nPort = 0;
    if (!IsDottedAddress(address))
        return Fail(EExit::USAGE, "announce takes a dotted IPv4 ADDRESS, not " + ToUtf8(address));
    if (!ParseCount(port, 65535, nPort) || nPort == 0)
        return Fail(EExit::USAGE, "announce takes a PORT from 1 to 65535, not " + ToUtf8(port));

    const CInterruptWatch interrupt;
    std::unique_ptr<VMediaServerLocator> pLocator(GetFindMediaServer());
    if (!pLocator || !pLocator->StartAnnouncing(Z(address), Z(port)))
        return Fail(EExit::FAILED, "cannot answer on UDP port 5556 (is another announcer running here?)");
    PrintText("announcing m01p://" + ToUtf8(address) + ":" + ToUtf8(port) + "\n");
    std::fflush(stdout);
    while (!interrupt.IsInterrupted())
        std::this_thread::sleep_for(kInterruptPoll);
    // Deleting the locator ends its thread within one receive cycle.
    pLocator.reset();
    return 0;
}

}  // namespace zucli
