#include "CommandLine.h"
#include "Commands.h"
#include "ReaderPtr.h"
#include "ReaderSetup.h"

#include <string>

namespace zucli {
namespace {

const char kInfoHelp[] =
    "usage: zureader info LOCATION [--prop NAME]... [--option KEY=VALUE]... [--timeout MS]\n"
    "                     [--data TEXT]\n"
    "\n"
    "Opens LOCATION (a file name, or an http, https or ftp URL) and prints the reader's type, length\n"
    "and flags; for a URL also the server's StatusCode, StatusText, ContentType, ContentLength and\n"
    "AllHeaders (one header a line); then each requested property as the reader reports it (for\n"
    "example --prop Location, or --prop with the name of a response header).\n"
    "\n";

// What an Internet reader learnt from the server's answer.
const char* const kResponseProperties[] = {"StatusCode", "StatusText", "ContentType", "ContentLength",
                                           "AllHeaders"};

const char* TypeName(uint32_t nType)
{
    static const char* const kNames[] = {"local file", "internet", "audio transcoder", "video transcoder",
                                         "string", "truncating", "TCP socket", "UDP socket",
                                         "buffered", "wrapping", "circling", "memory"};
    return nType < sizeof(kNames) / sizeof(kNames[0]) ? kNames[nType] : "unknown";
}

// A value of several lines (the raw headers) continues on indented lines; its empty lines go.
std::string Line(const std::string& name, const std::string& value)
{
    std::string text = name + ":";
    size_t nStart = 0;
    bool bFirst = true;
    while (nStart <= value.size()) {
        size_t nEnd = value.find('\n', nStart);
        if (nEnd == std::string::npos)
            nEnd = value.size();
        std::string part = value.substr(nStart, nEnd - nStart);
        if (!part.empty() && part.back() == '\r')
            part.pop_back();
        if (bFirst || !part.empty())
            text += (bFirst ? " " : "\n  ") + part;
        bFirst = false;
        nStart = nEnd + 1;
    }
    return text + "\n";
}

std::string Property(VReader& reader, const std::u16string& name)
{
    return Line(ToUtf8(name), ToUtf8(TakeInfo(reader.GetInfo(Z(name)))));
}

}  // namespace

int RunInfo(const CArguments& arguments)
{
    const CCommandLine line = CReaderSetup::CommandLine(arguments, {u"--prop"});
    int nStatus = 0;
    CReaderSetup setup;
    if (!setup.Prepare(line, "info", kInfoHelp, nStatus))
        return nStatus;

    const std::u16string location = line.Positional()[0];
    COpenFailure failure;
    CReaderPtr pReader = setup.Open(location, failure);
    if (!pReader)
        return Fail(failure.nStatus, failure.message);

    const uint32_t nType = pReader->GetType();
    std::string text = Line("Location", ToUtf8(location));
    text += Line("Type", std::to_string(nType) + " (" + TypeName(nType) + ")");
    text += Line("Length", std::to_string(pReader->GetLength()));
    text += Line("Length unknown", pReader->IsLengthUnknown() ? "yes" : "no");
    text += Line("Remote", pReader->IsRemote() ? "yes" : "no");
    text += Line("Read-only", pReader->IsReadOnly() ? "yes" : "no");
    if (nType == ZU_READER_INTERNET) {
        for (const char* pszName : kResponseProperties)
            text += Property(*pReader, FromUtf8(pszName));
    }
    for (const std::u16string& name : line.Values(u"--prop"))
        text += Property(*pReader, name);
    pReader->Close();
    PrintText(WithoutPasswords(text));
    return 0;
}

}  // namespace zucli
