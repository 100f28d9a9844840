// The zureader commands; each takes the arguments after its name and returns the exit status.
#pragma once

#include <string>
#include <vector>

namespace zucli {

using CArguments = std::vector<std::u16string>;

int RunCat(const CArguments& arguments);
int RunInfo(const CArguments& arguments);
int RunDemo(const CArguments& arguments);
int RunRadio(const CArguments& arguments);

class CCommandLine;

// Handles --help and malformed arguments for a command that takes nPositional words. Returns false
// when the command is done already, with its exit status in nStatus.
bool PrepareCommand(const CCommandLine& line, const char* pszCommand, const char* pszWords, size_t nPositional,
                    const char* pszHelp, int& nStatus);

// One line on standard error, "zureader: " first; returns the failure status.
int Fail(const std::string& message);
void PrintText(const std::string& text);

}  // namespace zucli
