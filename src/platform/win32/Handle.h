// Owns one system handle (a failed open's INVALID_HANDLE_VALUE reads as none) and closes it
// however the code that opened it ends.
#pragma once

#include <windows.h>

namespace zu::platform {

class CHandle {
public:
    explicit CHandle(HANDLE h) : m_h(h == INVALID_HANDLE_VALUE ? nullptr : h) {}
    ~CHandle()
    {
        if (m_h)
            CloseHandle(m_h);
    }
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;
    HANDLE Get() const { return m_h; }
    // Hands the handle over to a caller that keeps it past this owner's end.
    HANDLE Release()
    {
        HANDLE h = m_h;
        m_h = nullptr;
        return h;
    }

private:
    HANDLE m_h;
};

}  // namespace zu::platform
