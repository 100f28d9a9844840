#include "CommandLine.h"
#include "Commands.h"
#include "ReaderPtr.h"

#include <string>

namespace zucli {
namespace {

// The embedded default: a short text with non-ASCII letters, so the round trip proves the bytes.
const char kSample[] =
    "ZUReader demo: one reader interface over every byte source.\n"
    "Grüße aus der Bibliothek - written, sought and read back through VReader.\n";

const char kDemoHelp[] =
    "usage: zureader demo FOLDER\n"
    "\n"
    "Writes an embedded sample into FOLDER through the library's file reader, seeks in it, reads\n"
    "it back to standard output and deletes it on close. Touches nothing outside FOLDER.\n";

}  // namespace

int RunDemo(const CArguments& arguments)
{
    const CCommandLine line(arguments, {}, {u"-h", u"--help"});
    int nStatus = 0;
    if (!PrepareCommand(line, "demo", "one FOLDER", 1, kDemoHelp, nStatus))
        return nStatus;

    const std::u16string path = line.Positional()[0] + u"/demo/sample.txt";
    CReaderPtr pWriter(GetLocalReader(Z(path)));
    const uint32_t nSample = sizeof(kSample) - 1;
    if (!pWriter || !pWriter->Create() || pWriter->Write(kSample, nSample) != nSample)
        return Fail(EExit::WRITE_FAILED, "cannot write " + ToUtf8(path));
    pWriter->Close();

    CReaderPtr pReader(GetLocalReader(Z(path)));
    pReader->SetOptions(Z(u"READ_ONLY|1"));
    pReader->SetDeleteOnClose(1);
    // A seek made before Open is applied when the file opens.
    pReader->SetPosition(7, ZU_SEEK_BEGIN);
    if (!pReader->Open())
        return Fail(EExit::FAILED, "cannot open " + ToUtf8(path));
    std::string text = "wrote " + std::to_string(pReader->GetLength()) + " bytes to " + ToUtf8(path) +
                       "; read back from byte " + std::to_string(pReader->GetPosition()) + ":\n";
    std::string body(nSample, '\0');
    body.resize(pReader->Read(body.data(), nSample));
    pReader->Close();
    PrintText(text + body);
    return body == std::string(kSample + 7) ? 0 : Fail(EExit::FAILED, "the sample did not read back whole");
}

}  // namespace zucli
