// CLastError: what the calling thread's last call of the C interface came to, kept per thread as a
// C host expects of errno: a kind (ZUREADER_OK or ZUREADER_ERROR_*), a network status and a UTF-8
// message that stays valid until the thread's next call.
#pragma once

#include <cstdint>
#include <string>

class CLastError {
public:
    static void Clear();
    static void Set(int32_t nKind, int32_t nStatus, std::string message);
    static int32_t Get(int32_t* pnStatus, const char** ppszMessage);
};
