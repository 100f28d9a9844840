#include "CommandLine.h"
#include "Commands.h"
#include "ReaderPtr.h"

#include <string>

namespace zucli {
namespace {

const char kInfoHelp[] =
    "usage: zureader info LOCATION [--prop NAME]...\n"
    "\n"
    "Opens LOCATION and prints the reader's type, length and flags, then each requested\n"
    "property as the reader reports it (for example --prop StatusCode).\n";

const char* TypeName(uint32_t nType)
{
    static const char* const kNames[] = {"local file", "internet", "audio transcoder", "video transcoder",
                                         "string", "truncating", "TCP socket", "UDP socket",
                                         "buffered", "wrapping", "circling", "memory"};
    return nType < sizeof(kNames) / sizeof(kNames[0]) ? kNames[nType] : "unknown";
}

std::string Line(const char* pszName, const std::string& value)
{
    return std::string(pszName) + ": " + value + "\n";
}

}  // namespace

int RunInfo(const CArguments& arguments)
{
    const CCommandLine line(arguments, {u"--prop"}, {u"-h", u"--help"});
    int nStatus = 0;
    if (!PrepareCommand(line, "info", "one LOCATION", 1, kInfoHelp, nStatus))
        return nStatus;

    const std::u16string location = line.Positional()[0];
    CReaderPtr pReader = MakeReader(location);
    if (!pReader || !pReader->Open())
        return Fail("cannot open " + ToUtf8(location));

    const uint32_t nType = pReader->GetType();
    std::string text = Line("Location", ToUtf8(location));
    text += Line("Type", std::to_string(nType) + " (" + TypeName(nType) + ")");
    text += Line("Length", std::to_string(pReader->GetLength()));
    text += Line("Length unknown", pReader->IsLengthUnknown() ? "yes" : "no");
    text += Line("Remote", pReader->IsRemote() ? "yes" : "no");
    text += Line("Read-only", pReader->IsReadOnly() ? "yes" : "no");
    for (const std::u16string& name : line.Values(u"--prop"))
        text += Line(ToUtf8(name).c_str(), ToUtf8(TakeInfo(pReader->GetInfo(Z(name)))));
    pReader->Close();
    PrintText(text);
    return 0;
}

}  // namespace zucli
