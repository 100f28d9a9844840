#include "Commands.h"

#include "CommandLine.h"

#include <cstdio>

namespace zucli {

int Fail(const std::string& message)
{
    std::fprintf(stderr, "zureader: %s\n", message.c_str());
    return 1;
}

bool PrepareCommand(const CCommandLine& line, const char* pszCommand, const char* pszWords, size_t nPositional,
                    const char* pszHelp, int& nStatus)
{
    const std::string seeHelp = std::string(" (see zureader ") + pszCommand + " --help)";
    if (line.Has(u"-h") || line.Has(u"--help")) {
        PrintText(pszHelp);
        nStatus = 0;
    } else if (!line.Error().empty()) {
        nStatus = Fail(ToUtf8(line.Error()) + seeHelp);
    } else if (line.Positional().size() != nPositional) {
        nStatus = Fail(std::string(pszCommand) + " takes exactly " + pszWords + seeHelp);
    } else {
        return true;
    }
    return false;
}

void PrintText(const std::string& text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace zucli
