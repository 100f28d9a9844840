#include "CommandLine.h"
#include "Commands.h"
#include "Progress.h"
#include "ReaderPtr.h"
#include "ReaderSetup.h"

#include "platform/Console.h"

#include <cstdio>
#include <string>
#include <vector>

namespace zucli {
namespace {

constexpr uint32_t kChunk = 1 << 20;

const char kCatHelp[] =
    "usage: zureader cat LOCATION [-o FILE] [--option KEY=VALUE]... [--timeout MS] [--data TEXT]\n"
    "\n"
    "Copies everything the library reads from LOCATION (a file name, or an http, https or ftp URL)\n"
    "to standard output, or to FILE with -o. A progress bar is drawn on standard error when it is a\n"
    "terminal and the data goes elsewhere.\n"
    "\n";

// Where the bytes go: standard output, or a file written through the library's own file reader.
class CSink {
public:
    bool OpenFile(const std::u16string& path)
    {
        m_pFile.reset(GetLocalReader(Z(path)));
        return m_pFile && m_pFile->Create();
    }

    bool Write(const unsigned char* pData, uint32_t nCount)
    {
        if (m_pFile)
            return m_pFile->Write(pData, nCount) == nCount;
        return std::fwrite(pData, 1, nCount, stdout) == nCount;
    }

    bool Finish()
    {
        if (m_pFile) {
            m_pFile->Close();
            return true;
        }
        return std::fflush(stdout) == 0;
    }

private:
    CReaderPtr m_pFile;
};

}  // namespace

int RunCat(const CArguments& arguments)
{
    const CCommandLine line = CReaderSetup::CommandLine(arguments, {u"-o", u"--output"});
    int nStatus = 0;
    CReaderSetup setup;
    if (!setup.Prepare(line, "cat", kCatHelp, nStatus))
        return nStatus;

    const std::u16string location = line.Positional()[0];
    std::u16string output = line.Value(u"-o");
    if (output.empty())
        output = line.Value(u"--output");

    std::string failure;
    CReaderPtr pReader = setup.Open(location, failure);
    if (!pReader)
        return Fail(failure);

    CSink sink;
    if (!output.empty() && !sink.OpenFile(output))
        return Fail("cannot create " + ToUtf8(output));
    if (output.empty())
        zu::platform::SetBinaryMode(stdout);

    const bool bWatched = zu::platform::IsTerminal(2) && (!output.empty() || !zu::platform::IsTerminal(1));
    CProgress progress(bWatched, pReader->IsLengthUnknown() ? -1 : pReader->GetLength());
    std::vector<unsigned char> buffer(kChunk);
    for (;;) {
        const uint32_t nRead = pReader->Read(buffer.data(), kChunk);
        if (nRead == 0)
            break;
        if (!sink.Write(buffer.data(), nRead))
            return Fail("cannot write " + (output.empty() ? std::string("standard output") : ToUtf8(output)));
        progress.Advance(nRead);
    }
    progress.Finish();
    pReader->Close();
    return sink.Finish() ? 0 : Fail("cannot finish writing the output");
}

}  // namespace zucli
