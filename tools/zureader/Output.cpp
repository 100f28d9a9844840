#include "Commands.h"

#include "CommandLine.h"

#include <algorithm>
#include <cstdio>

namespace zucli {

int Fail(EExit nStatus, const std::string& message)
{
    std::fprintf(stderr, "zureader: %s\n", WithoutPasswords(message).c_str());
    return static_cast<int>(nStatus);
}

// As the library parses a URL: the user information ends at the last "@" before the path, and
// the password starts after its first ":". Text around the URLs (a message, a header) stays.
std::string WithoutPasswords(const std::string& text)
{
    std::string result = text;
    for (size_t nScheme = result.find("://"); nScheme != std::string::npos; nScheme = result.find("://", nScheme + 3)) {
        const size_t nStart = nScheme + 3;
        const size_t nEnd = std::min(result.find_first_of("/?# \t\r\n", nStart), result.size());
        const size_t nAt = result.rfind('@', nEnd - 1);
        if (nAt == std::string::npos || nAt < nStart)
            continue;
        const size_t nColon = result.find(':', nStart);
        if (nColon < nAt)
            result.replace(nColon + 1, nAt - nColon - 1, "***");
    }
    return result;
}

bool PrepareCommand(const CCommandLine& line, const char* pszCommand, const char* pszWords, size_t nPositional,
                    const char* pszHelp, int& nStatus)
{
    const std::string seeHelp = std::string(" (see zureader ") + pszCommand + " --help)";
    if (line.Has(u"-h") || line.Has(u"--help")) {
        PrintText(pszHelp);
        nStatus = 0;
    } else if (!line.Error().empty()) {
        nStatus = Fail(EExit::USAGE, ToUtf8(line.Error()) + seeHelp);
    } else if (line.Positional().size() != nPositional) {
        nStatus = Fail(EExit::USAGE, std::string(pszCommand) + " takes exactly " + pszWords + seeHelp);
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
