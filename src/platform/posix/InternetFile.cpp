#include "platform/posix/InternetFile.h"

#include "platform/posix/InternetErrors.h"

namespace zu::platform {

bool VInternetFile::Read(void* pBuffer, uint32_t nCount, uint32_t& nRead)
{
    nRead = 0;
    auto lock = LockTransfer();
    CCurlTransfer* pTransfer = BodyTransfer();
    if (!pTransfer)
        return FailInternet(INET_ERROR_INCORRECT_HANDLE_STATE);
    if (!pBuffer && nCount != 0)
        return FailInternet(INET_ERROR_INVALID_PARAMETER);
    uint32_t nError = 0;
    const bool bRead = pTransfer->ReadBody(pBuffer, nCount, nRead, BodyIdleLimit(), nError);
    AfterRead();
    return bRead || FailInternet(nError);
}

int64_t VInternetFile::SetFilePointer(int64_t nDistance, uint32_t nMethod)
{
    auto lock = LockTransfer();
    CCurlTransfer* pTransfer = BodyTransfer();
    if (!pTransfer) {
        FailInternet(INET_ERROR_INCORRECT_HANDLE_STATE);
        return -1;
    }
    const int64_t nPosition = m_nBase + pTransfer->TakenBytes();
    const int64_t nLength = BodyLength();
    const int64_t nTarget = InternetFilePointerTarget(nDistance, nMethod, nPosition, nLength);
    if (nTarget < 0)
        return -1;
    if (nTarget >= nPosition && nTarget - nPosition <= static_cast<int64_t>(pTransfer->BufferedBytes())) {
        pTransfer->SkipBody(static_cast<size_t>(nTarget - nPosition));
        return nTarget;
    }
    // Anything else is fetched anew, which only makes sense for a body of known length.
    if (nLength < 0) {
        FailInternet(INET_ERROR_INVALID_OPERATION);
        return -1;
    }
    if (nTarget == nLength) {
        // Nothing is left to fetch: reads find the end until the next move.
        pTransfer->Abandon();
        m_nBase = nTarget;
        return nTarget;
    }
    return RestartAt(nTarget) ? nTarget : -1;
}

}  // namespace zu::platform
