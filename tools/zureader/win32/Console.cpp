#include "../Console.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>
#include <shellapi.h>

namespace zucli {
namespace {

// The console's input mode while echo is off, for a Ctrl-C or Ctrl-Break handler to put back:
// the default handler ends the process, and the console would keep the mode after it.
HANDLE g_hEchoInput = nullptr;
DWORD g_nEchoMode = 0;

BOOL WINAPI RestoreEcho(DWORD)
{
    if (g_hEchoInput)
        SetConsoleMode(g_hEchoInput, g_nEchoMode);
    return FALSE;
}

// Puts the console mode back when the read ends, and on an interrupt while it runs.
class CEchoRestore {
public:
    CEchoRestore(HANDLE hInput, DWORD nMode, bool bActive) : m_hInput(hInput), m_nMode(nMode), m_bActive(bActive)
    {
        if (!m_bActive)
            return;
        g_hEchoInput = hInput;
        g_nEchoMode = nMode;
        SetConsoleCtrlHandler(&RestoreEcho, TRUE);
    }

    ~CEchoRestore()
    {
        if (!m_bActive)
            return;
        SetConsoleMode(m_hInput, m_nMode);
        SetConsoleCtrlHandler(&RestoreEcho, FALSE);
        g_hEchoInput = nullptr;
    }

    CEchoRestore(const CEchoRestore&) = delete;
    CEchoRestore& operator=(const CEchoRestore&) = delete;

private:
    HANDLE m_hInput;
    DWORD m_nMode;
    bool m_bActive;
};

}  // namespace

std::vector<std::u16string> CommandLineArguments(int, char**)
{
    std::vector<std::u16string> arguments;
    int nCount = 0;
    LPWSTR* pArguments = CommandLineToArgvW(GetCommandLineW(), &nCount);
    for (int i = 0; pArguments && i < nCount; ++i)
        arguments.push_back(reinterpret_cast<const char16_t*>(pArguments[i]));
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

bool ReadTerminalLine(bool bSecret, std::u16string& line)
{
    HANDLE hInput = GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    const bool bConsole = GetConsoleMode(hInput, &mode) != FALSE;
    const bool bEchoOff = bConsole && bSecret;
    const CEchoRestore restore(hInput, mode, bEchoOff);
    if (bEchoOff)
        SetConsoleMode(hInput, mode & ~static_cast<DWORD>(ENABLE_ECHO_INPUT));
    line.clear();
    DWORD nRead = 0;
    bool bEnded = false;
    for (;;) {
        // A pipe gives one byte at a time, into the low byte.
        wchar_t c = 0;
        if (!(bConsole ? ReadConsoleW(hInput, &c, 1, &nRead, nullptr) : ReadFile(hInput, &c, 1, &nRead, nullptr)) ||
            nRead == 0)
            break;
        if (c == L'\n') {
            bEnded = true;
            break;
        }
        if (c != L'\r')
            line += static_cast<char16_t>(c);
    }
    if (bEchoOff)
        std::fputc('\n', stderr);
    // A Ctrl-C ends the read with a failure, and its handlers run on a thread of their own.
    return bEnded;
}

}  // namespace zucli
