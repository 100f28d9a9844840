// System seam: clocks, threads' identity, sleeping, the OS classification, debugger output,
// environment and the per-user folders.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace zu::platform {

// Milliseconds since an arbitrary start; wraps at 2^32.
uint32_t TickCount();
int64_t PerformanceCounter();
int64_t PerformanceFrequency();
uint32_t CurrentThreadId();
void SleepMilliseconds(uint32_t nMilliseconds);
// Gives up the rest of the time slice (a sleep of 0 ms).
void YieldThread();

// 1 Windows 95, 2 Windows 98, 3 98 SE, 4 Me, 5 NT before 5.0, 6 Windows 2000, 7 XP, 8 version 5.2,
// 9 Vista, 10 Windows 7, 11 later, 0 unknown. Systems that are not Windows answer 11.
int OperatingSystemClass();

void DebuggerOutput(const std::u16string& text);

// Fills the buffer from the system's source of unpredictable bytes; false when it cannot.
bool RandomBytes(void* pBuffer, size_t nBytes);

// Empty when unset.
std::u16string GetEnvironmentText(const char16_t* pszName);
bool SetEnvironmentText(const char16_t* pszName, const std::u16string& value);

// Base folders, each ending in the separator: roaming application data, temporary files.
std::u16string UserDataFolder();
std::u16string UserConfigFolder();
std::u16string TempFolder();
// Where machine-wide configuration files live: /etc on Linux, the common application data folder
// on Windows.
std::u16string MachineConfigFolder();
char16_t PathSeparator();

}  // namespace zu::platform
