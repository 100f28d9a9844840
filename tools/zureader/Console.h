// The console for the command-line host: wide arguments, terminal detection, binary standard output.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace zucli {

// The program's arguments as UTF-16 (the system's wide command line on Windows).
std::vector<std::u16string> CommandLineArguments(int argc, char** argv);
// 0 standard input, 1 standard output, 2 standard error.
bool IsTerminal(int nStream);
// Columns of the terminal on standard error, 80 when unknown.
int TerminalColumns();
void SetBinaryMode(std::FILE* pStream);
// Reads one line from the terminal, without echo when bSecret is set. False when the input ends
// first or the user interrupts; the terminal is left as it was found in every case, and an
// interrupt then goes on to whatever the program does with it (by default, the program ends).
bool ReadTerminalLine(bool bSecret, std::u16string& line);

}  // namespace zucli
