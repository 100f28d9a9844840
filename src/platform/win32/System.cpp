#include "platform/System.h"

#include "platform/win32/Wide.h"

#include <windows.h>
#include <ntsecapi.h>

namespace zu::platform {
namespace {

std::u16string WithSeparator(std::u16string folder)
{
    if (folder.empty() || (folder.back() != u'\\' && folder.back() != u'/'))
        folder += u'\\';
    return folder;
}

typedef LONG(WINAPI* RtlGetVersionFn)(OSVERSIONINFOEXW*);

// GetVersionEx lies to applications without a manifest; the runtime library does not.
OSVERSIONINFOEXW QueryVersion()
{
    OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof(info);
    const auto rtlGetVersion = reinterpret_cast<RtlGetVersionFn>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion")));
    if (!rtlGetVersion || rtlGetVersion(&info) != 0)
        info.dwMajorVersion = 0;
    return info;
}

}  // namespace

uint32_t TickCount()
{
    return GetTickCount();
}

int64_t PerformanceCounter()
{
    LARGE_INTEGER counter;
    QueryPerformanceCounter(&counter);
    return counter.QuadPart;
}

int64_t PerformanceFrequency()
{
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return frequency.QuadPart;
}

uint32_t CurrentThreadId()
{
    return GetCurrentThreadId();
}

void SleepMilliseconds(uint32_t nMilliseconds)
{
    Sleep(nMilliseconds);
}

void YieldThread()
{
    Sleep(0);
}

int OperatingSystemClass()
{
    const OSVERSIONINFOEXW info = QueryVersion();
    const DWORD major = info.dwMajorVersion;
    const DWORD minor = info.dwMinorVersion;
    if (major == 0)
        return 0;
    if (major < 5)
        return 5;
    if (major == 5)
        return minor == 0 ? 6 : minor == 1 ? 7 : 8;
    if (major == 6 && minor == 0)
        return 9;
    if (major == 6 && minor == 1)
        return 10;
    return 11;
}

void DebuggerOutput(const std::u16string& text)
{
    OutputDebugStringW(Wide(text));
}

bool RandomBytes(void* pBuffer, size_t nBytes)
{
    auto* pBytes = static_cast<unsigned char*>(pBuffer);
    while (nBytes > 0) {
        const ULONG nPart = nBytes > 0x10000 ? 0x10000 : static_cast<ULONG>(nBytes);
        if (!RtlGenRandom(pBytes, nPart))
            return false;
        pBytes += nPart;
        nBytes -= nPart;
    }
    return true;
}

std::u16string GetEnvironmentText(const char16_t* pszName)
{
    const std::u16string name(pszName);
    const DWORD nSize = GetEnvironmentVariableW(Wide(name), nullptr, 0);
    if (nSize == 0)
        return {};
    std::u16string value(nSize, u'\0');
    const DWORD nLength = GetEnvironmentVariableW(Wide(name), reinterpret_cast<wchar_t*>(value.data()), nSize);
    value.resize(nLength < nSize ? nLength : 0);
    return value;
}

bool SetEnvironmentText(const char16_t* pszName, const std::u16string& value)
{
    const std::u16string name(pszName);
    return SetEnvironmentVariableW(Wide(name), value.empty() ? nullptr : Wide(value)) != FALSE;
}

std::u16string UserDataFolder()
{
    return WithSeparator(GetEnvironmentText(u"APPDATA"));
}

std::u16string UserConfigFolder()
{
    return UserDataFolder();
}

std::u16string MachineConfigFolder()
{
    return WithSeparator(GetEnvironmentText(u"ProgramData"));
}

std::u16string TempFolder()
{
    wchar_t buffer[MAX_PATH + 1];
    const DWORD nLength = GetTempPathW(MAX_PATH + 1, buffer);
    return WithSeparator(nLength ? FromWide(buffer) : u"C:\\Windows\\Temp");
}

char16_t PathSeparator()
{
    return u'\\';
}

}  // namespace zu::platform
