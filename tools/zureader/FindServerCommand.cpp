#include "CommandLine.h"
#include "Commands.h"
#include "ReaderPtr.h"
#include "TerminalPrompt.h"

#include <cstdio>
#include <memory>
#include <string>

namespace zucli {
namespace {

const char kFindServerHelp[] =
    "usage: zureader find-server\n"
    "\n"
    "Asks the local network for the application's media servers (a broadcast on UDP port 5556)\n"
    "and prints the location of the one that answers, as m01p://ADDRESS:PORT. Servers on this\n"
    "machine are passed over. When several answer, a numbered menu on standard error asks which;\n"
    "a line on standard input answers it (nothing, or the input's end, cancels). Exits with 28\n"
    "when none answered within 5.5 seconds, 1 when none was chosen or an answer was unusable.\n";

// The locator made by the library, deleted through its virtual destructor.
using CLocatorPtr = std::unique_ptr<VMediaServerLocator>;

}  // namespace

int RunFindServer(const CArguments& arguments)
{
    const CCommandLine line(arguments, {}, {u"-h", u"--help"});
    int nStatus = 0;
    if (!PrepareCommand(line, "find-server", "no words", 0, kFindServerHelp, nStatus))
        return nStatus;
    CLocatorPtr pLocator(GetFindMediaServer());
    if (!pLocator)
        return Fail(EExit::FAILED, "out of memory");
    ZUCHAR aUrl[512] = {};
    if (pLocator->FindMediaServer(aUrl, sizeof(aUrl) / sizeof(aUrl[0])))
        PrintText(ToUtf8(reinterpret_cast<const char16_t*>(aUrl)) + "\n");
    else if (CTerminalPrompt::HasSpoken())
        return Fail(EExit::FAILED, "no media server was chosen");
    else
        return Fail(EExit::TIMED_OUT, "no media server answered within 5.5 s");
    return 0;
}

}  // namespace zucli
