#include "platform/System.h"

#include "platform/Text.h"
#include "platform/posix/KillPoint.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <cerrno>
#include <sched.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zu::platform {
namespace {

int64_t MonotonicNanoseconds()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

std::u16string WithSeparator(std::u16string folder)
{
    if (folder.empty() || folder.back() != u'/')
        folder += u'/';
    return folder;
}

// $VARIABLE when it is set, otherwise $HOME + the fallback below the home folder.
std::u16string XdgFolder(const char16_t* pszVariable, const char16_t* pszFallback)
{
    std::u16string folder = GetEnvironmentText(pszVariable);
    if (folder.empty())
        folder = WithSeparator(GetEnvironmentText(u"HOME")) + pszFallback;
    return WithSeparator(folder);
}

}  // namespace

uint32_t TickCount()
{
    return static_cast<uint32_t>(MonotonicNanoseconds() / 1000000);
}

int64_t PerformanceCounter()
{
    return MonotonicNanoseconds();
}

int64_t PerformanceFrequency()
{
    return 1000000000;
}

uint32_t CurrentThreadId()
{
    static thread_local const auto id = static_cast<uint32_t>(syscall(SYS_gettid));
    return id;
}

ZU_KILL_POINT void SleepMilliseconds(uint32_t nMilliseconds)
{
    timespec ts{static_cast<time_t>(nMilliseconds / 1000),
                static_cast<long>(nMilliseconds % 1000) * 1000000};
    while (nanosleep(&ts, &ts) != 0) {
    }
}

void YieldThread()
{
    sched_yield();
}

int OperatingSystemClass()
{
    return 11;
}

void DebuggerOutput(const std::u16string& text)
{
    const std::string line = Utf8FromUtf16(text);
    fwrite(line.data(), 1, line.size(), stderr);
}

bool RandomBytes(void* pBuffer, size_t nBytes)
{
    auto* pBytes = static_cast<unsigned char*>(pBuffer);
    while (nBytes > 0) {
        const ssize_t nGot = getrandom(pBytes, nBytes, 0);
        if (nGot < 0 && errno != EINTR)
            return false;
        if (nGot > 0) {
            pBytes += nGot;
            nBytes -= static_cast<size_t>(nGot);
        }
    }
    return true;
}

std::u16string GetEnvironmentText(const char16_t* pszName)
{
    const char* value = getenv(Utf8FromUtf16(pszName).c_str());
    return value ? Utf16FromUtf8(value) : std::u16string();
}

bool SetEnvironmentText(const char16_t* pszName, const std::u16string& value)
{
    const std::string name = Utf8FromUtf16(pszName);
    return (value.empty() ? unsetenv(name.c_str()) : setenv(name.c_str(), Utf8FromUtf16(value).c_str(), 1)) == 0;
}

std::u16string UserDataFolder()
{
    return XdgFolder(u"XDG_DATA_HOME", u".local/share");
}

std::u16string UserConfigFolder()
{
    return XdgFolder(u"XDG_CONFIG_HOME", u".config");
}

std::u16string MachineConfigFolder()
{
    return u"/etc/";
}

std::u16string TempFolder()
{
    const std::u16string folder = GetEnvironmentText(u"TMPDIR");
    return WithSeparator(folder.empty() ? u"/tmp" : folder);
}

char16_t PathSeparator()
{
    return u'/';
}

}  // namespace zu::platform
