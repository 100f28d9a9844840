// Owns one file descriptor and closes it however the code that opened it ends.
#pragma once

#include "platform/Thread.h"

#include <unistd.h>

namespace zu::platform {

class CDescriptor {
public:
    explicit CDescriptor(int fd) : m_fd(fd) {}
    ~CDescriptor()
    {
        // close is a cancellation point, and a kill acted on inside a destructor ends the process.
        const CNoKillScope noKill;
        if (m_fd >= 0)
            ::close(m_fd);
    }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    int Get() const { return m_fd; }

private:
    int m_fd;
};

}  // namespace zu::platform
