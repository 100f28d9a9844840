#include "platform/Console.h"

#include "platform/win32/Wide.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>
#include <shellapi.h>

namespace zu::platform {

std::vector<std::u16string> CommandLineArguments(int, char**)
{
    std::vector<std::u16string> arguments;
    int nCount = 0;
    LPWSTR* pArguments = CommandLineToArgvW(GetCommandLineW(), &nCount);
    for (int i = 0; pArguments && i < nCount; ++i)
        arguments.push_back(FromWide(pArguments[i]));
    LocalFree(pArguments);
    return arguments;
}

bool IsTerminal(int nStream)
{
    return _isatty(nStream) != 0;
}

int TerminalColumns()
{
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info))
        return info.srWindow.Right - info.srWindow.Left + 1;
    return 80;
}

void SetBinaryMode(std::FILE* pStream)
{
    _setmode(_fileno(pStream), _O_BINARY);
}

std::u16string ReadTerminalLine(bool bSecret)
{
    HANDLE hInput = GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    const bool bConsole = GetConsoleMode(hInput, &mode) != FALSE;
    if (bConsole && bSecret)
        SetConsoleMode(hInput, mode & ~static_cast<DWORD>(ENABLE_ECHO_INPUT));
    std::u16string line;
    wchar_t c;
    DWORD nRead = 0;
    while (bConsole ? ReadConsoleW(hInput, &c, 1, &nRead, nullptr) : ReadFile(hInput, &c, 1, &nRead, nullptr)) {
        if (nRead == 0 || c == L'\n')
            break;
        if (c != L'\r')
            line += static_cast<char16_t>(c);
    }
    if (bConsole && bSecret) {
        SetConsoleMode(hInput, mode);
        std::fputc('\n', stderr);
    }
    return line;
}

}  // namespace zu::platform
