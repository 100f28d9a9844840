#include "../Console.h"

#include <zureader/TextConversion.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace zucli {
namespace {

// The signals that end a program at a prompt: the user's interrupt and quit, a hang-up, a kill
// request.
constexpr int kEndingSignals[] = {SIGINT, SIGQUIT, SIGHUP, SIGTERM};
constexpr size_t kSignalCount = sizeof(kEndingSignals) / sizeof(kEndingSignals[0]);

// What a handler may touch. The handler runs on whichever thread the signal meets, so what the
// prompt's thread sets up is published by g_bArmed (lock-free atomics are safe in a handler).
termios g_Saved{};
bool g_bRestore = false;
int g_nWakeFd = -1;
struct sigaction g_Previous[kSignalCount];
std::atomic<bool> g_bArmed{false};
std::atomic<bool> g_bHandedOn[kSignalCount];
std::atomic<int> g_nHandlersRunning{0};

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
        g_bRestore = pSaved != nullptr;
        if (pSaved)
            g_Saved = *pSaved;
        for (size_t i = 0; i < kSignalCount; ++i) {
            sigaction(kEndingSignals[i], nullptr, &g_Previous[i]);
            g_bHandedOn[i].store(false, std::memory_order_relaxed);
        }
        g_bArmed.store(true, std::memory_order_release);
        struct sigaction action {};
        action.sa_handler = &CPromptSignals::OnSignal;
        sigemptyset(&action.sa_mask);
        for (int nSignal : kEndingSignals)
            sigaction(nSignal, &action, nullptr);
    }

    // A signal handed on already stays with what the program's own handler made of it (a handler
    // may well have moved on to the default for the next time).
    ~CPromptSignals()
    {
        for (size_t i = 0; i < kSignalCount; ++i) {
            if (!g_bHandedOn[i].load(std::memory_order_acquire))
                sigaction(kEndingSignals[i], &g_Previous[i], nullptr);
        }
        g_bArmed.store(false);
        // A handler that took the signal on another thread just before may still write.
        while (g_nHandlersRunning.load() != 0)
            sched_yield();
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
        for (const std::atomic<bool>& bHandedOn : g_bHandedOn) {
            if (bHandedOn.load(std::memory_order_acquire))
                return true;
        }
        return false;
    }

private:
    static void OnSignal(int nSignal)
    {
        const int nSavedErrno = errno;
        g_nHandlersRunning.fetch_add(1);
        if (g_bArmed.load()) {
            if (g_bRestore)
                tcsetattr(STDIN_FILENO, TCSANOW, &g_Saved);
            if (g_nWakeFd >= 0) {
                const char c = 0;
                (void)!write(g_nWakeFd, &c, 1);
            }
            HandOn(nSignal);
        }
        g_nHandlersRunning.fetch_sub(1);
        // Delivered once this handler returns (the signal stays blocked until then) to what the
        // program had in place: HandOn put it back, or the prompt's end did.
        raise(nSignal);
        errno = nSavedErrno;
    }

    static void HandOn(int nSignal)
    {
        for (size_t i = 0; i < kSignalCount; ++i) {
            if (kEndingSignals[i] == nSignal && !g_bHandedOn[i].exchange(true, std::memory_order_acq_rel))
                sigaction(nSignal, &g_Previous[i], nullptr);
        }
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
        arguments.push_back(zureader::Utf16FromUtf8(argv[i]));
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
    text = zureader::Utf16FromUtf8(line);
    return bEnded && !signals.IsSignalled();
}

}  // namespace zucli
