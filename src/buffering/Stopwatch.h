// CStopwatch: milliseconds since it was made or last restarted, from the high-resolution counter.
#pragma once

#include "platform/System.h"

#include <cstdint>

class CStopwatch {
public:
    CStopwatch() { Restart(); }
    void Restart() { m_nStart = zu::platform::PerformanceCounter(); }
    int64_t Milliseconds() const
    {
        return (zu::platform::PerformanceCounter() - m_nStart) * 1000 / zu::platform::PerformanceFrequency();
    }

private:
    int64_t m_nStart = 0;
};
