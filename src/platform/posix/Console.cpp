#include "platform/Console.h"

#include "platform/Text.h"

#include <iostream>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace zu::platform {

std::vector<std::u16string> CommandLineArguments(int argc, char** argv)
{
    std::vector<std::u16string> arguments;
    for (int i = 0; i < argc; ++i)
        arguments.push_back(Utf16FromUtf8(argv[i]));
    return arguments;
}

bool IsTerminal(int nStream)
{
    return isatty(nStream) != 0;
}

int TerminalColumns()
{
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

void SetBinaryMode(std::FILE*) {}

std::u16string ReadTerminalLine(bool bSecret)
{
    termios saved{};
    const bool bEchoOff = bSecret && tcgetattr(STDIN_FILENO, &saved) == 0;
    if (bEchoOff) {
        termios quiet = saved;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
    }
    std::string line;
    std::getline(std::cin, line);
    if (bEchoOff) {
        tcsetattr(STDIN_FILENO, TCSANOW, &saved);
        std::fputc('\n', stderr);
    }
    return Utf16FromUtf8(line);
}

}  // namespace zu::platform
