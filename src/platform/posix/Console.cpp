#include "platform/Console.h"

#include "platform/Text.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace zu::platform {
namespace {

// The signals that end a program at a prompt: the user's interrupt and quit, a hang-up, a kill
// request.
constexpr int kEndingSignals[] = {SIGINT, SIGQUIT, SIGHUP, SIGTERM};
constexpr size_t kSignalCount = sizeof(kEndingSignals) / sizeof(kEndingSignals[0]);

// What a handler may touch: set before the handlers go in, cleared after they are out.
termios g_Saved{};
volatile sig_atomic_t g_bRestore = 0;
int g_nWakeFd = -1;
struct sigaction g_Previous[kSignalCount];
volatile sig_atomic_t g_bHandedOn[kSignalCount];

// A line is read while these signals are caught. A signal puts the terminal back as it was and
// wakes the reader, which gives the line up; the signal then meets what the program had in place
// before (by default the end of the program), so echo is never left off behind it.
class CPromptSignals {
public:
    explicit CPromptSignals(const termios* pSaved)
    {
        if (pipe2(m_Wake, O_CLOEXEC | O_NONBLOCK) != 0)
            m_Wake[0] = m_Wake[1] = -1;
        g_nWakeFd = m_Wake[1];
        g_bRestore = pSaved ? 1 : 0;
        if (pSaved)
            g_Saved = *pSaved;
        struct sigaction action {};
        action.sa_handler = &CPromptSignals::OnSignal;
        sigemptyset(&action.sa_mask);
        for (size_t i = 0; i < kSignalCount; ++i) {
            g_bHandedOn[i] = 0;
            sigaction(kEndingSignals[i], &action, &g_Previous[i]);
        }
    }

    // A signal handed on already stays with what the program's own handler made of it (a handler
    // may well have moved on to the default for the next time).
    ~CPromptSignals()
    {
        for (size_t i = 0; i < kSignalCount; ++i) {
            if (!g_bHandedOn[i])
                sigaction(kEndingSignals[i], &g_Previous[i], nullptr);
        }
        g_bRestore = 0;
        g_nWakeFd = -1;
        for (int nFd : m_Wake) {
            if (nFd >= 0)
                close(nFd);
        }
    }

    CPromptSignals(const CPromptSignals&) = delete;
    CPromptSignals& operator=(const CPromptSignals&) = delete;

    int WakeFd() const { return m_Wake[0]; }
    bool IsSignalled() const
    {
        for (size_t i = 0; i < kSignalCount; ++i) {
            if (g_bHandedOn[i])
                return true;
        }
        return false;
    }

private:
    static void OnSignal(int nSignal)
    {
        const int nSavedErrno = errno;
        if (g_bRestore)
            tcsetattr(STDIN_FILENO, TCSANOW, &g_Saved);
        if (g_nWakeFd >= 0) {
            const char c = 0;
            (void)!write(g_nWakeFd, &c, 1);
        }
        // Handed on once this handler returns: the signal stays blocked until then.
        for (size_t i = 0; i < kSignalCount; ++i) {
            if (kEndingSignals[i] == nSignal && !g_bHandedOn[i]) {
                g_bHandedOn[i] = 1;
                sigaction(nSignal, &g_Previous[i], nullptr);
            }
        }
        raise(nSignal);
        errno = nSavedErrno;
    }

    int m_Wake[2];
};

// One byte from standard input, waiting for it or for the wake-up; false at the end of input, on
// an error or when woken.
bool ReadByte(int nWakeFd, char& c)
{
    for (;;) {
        pollfd fds[2] = {{STDIN_FILENO, POLLIN, 0}, {nWakeFd, POLLIN, 0}};
        const int nReady = poll(fds, nWakeFd >= 0 ? 2 : 1, -1);
        if (nReady < 0 && errno == EINTR)
            continue;
        if (nReady < 0 || (fds[1].revents & POLLIN))
            return false;
        const ssize_t nRead = read(STDIN_FILENO, &c, 1);
        if (nRead == 1)
            return true;
        if (nRead == 0 || (errno != EINTR && errno != EAGAIN))
            return false;
    }
}

}  // namespace

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

// Read byte by byte from the descriptor: nothing typed after the line is taken from the terminal
// on the line's behalf.
bool ReadTerminalLine(bool bSecret, std::u16string& text)
{
    termios saved{};
    const bool bEchoOff = bSecret && tcgetattr(STDIN_FILENO, &saved) == 0;
    const CPromptSignals signals(bEchoOff ? &saved : nullptr);
    if (bEchoOff) {
        termios quiet = saved;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
    }
    std::string line;
    char c = 0;
    bool bEnded = false;
    while ((bEnded = ReadByte(signals.WakeFd(), c)) && c != '\n')
        line += c;
    if (bEchoOff) {
        tcsetattr(STDIN_FILENO, TCSANOW, &saved);
        std::fputc('\n', stderr);
    }
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    text = Utf16FromUtf8(line);
    return bEnded && !signals.IsSignalled();
}

}  // namespace zu::platform
