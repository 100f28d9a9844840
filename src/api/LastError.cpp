#include "api/LastError.h"

#include <zureader/zureader_c.h>

#include <utility>

namespace {

struct CThreadError {
    int32_t nKind = ZUREADER_OK;
    int32_t nStatus = 0;
    std::string message;
};

thread_local CThreadError t_Error;

}  // namespace

// The message's memory is kept for the thread's next failure, so success costs no allocation.
void CLastError::Clear()
{
    t_Error.nKind = ZUREADER_OK;
    t_Error.nStatus = 0;
    t_Error.message.clear();
}

void CLastError::Set(int32_t nKind, int32_t nStatus, std::string message)
{
    t_Error.nKind = nKind;
    t_Error.nStatus = nStatus;
    t_Error.message = std::move(message);
}

int32_t CLastError::Get(int32_t* pnStatus, const char** ppszMessage)
{
    if (pnStatus)
        *pnStatus = t_Error.nStatus;
    if (ppszMessage)
        *ppszMessage = t_Error.message.c_str();
    return t_Error.nKind;
}
