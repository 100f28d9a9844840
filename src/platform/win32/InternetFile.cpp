#include "platform/win32/InternetFile.h"

#include "platform/Internet.h"
#include "platform/win32/InternetErrors.h"

#include <algorithm>
#include <cstring>

namespace zu::platform {
namespace {

// The most one read takes; a short count is an answer like any other.
constexpr uint32_t LANDING_SIZE = 256 * 1024;
// How far forward a move reads through rather than asking the server again.
constexpr int64_t SKIP_LIMIT = 64 * 1024;

}  // namespace

bool VInternetFile::ReadBody(void* pBuffer, uint32_t nCount, uint32_t& nRead)
{
    nRead = 0;
    if (m_bAbandoned || nCount == 0)
        return true;
    if (!m_pLanding)
        m_pLanding = std::make_shared<std::vector<char>>(LANDING_SIZE);
    const HINTERNET hBody = BodyHandle();
    const DWORD nAsked = std::min(nCount, LANDING_SIZE);
    std::shared_ptr<std::vector<char>> pLanding = m_pLanding;
    const auto pOutcome = Call(
        [hBody, nAsked, pLanding](CCallOutcome& outcome) {
            return InternetReadFile(hBody, pLanding->data(), nAsked, &outcome.nCount) != FALSE;
        },
        IsFtp());
    if (!Succeeded(pOutcome))
        return false;
    nRead = std::min<uint32_t>(pOutcome->nCount, nAsked);
    std::memcpy(pBuffer, pLanding->data(), nRead);
    return true;
}

bool VInternetFile::Read(void* pBuffer, uint32_t nCount, uint32_t& nRead)
{
    nRead = 0;
    if (!HasBody())
        return FailInternet(INET_ERROR_INCORRECT_HANDLE_STATE);
    if (!pBuffer && nCount != 0)
        return FailInternet(INET_ERROR_INVALID_PARAMETER);
    if (!ReadBody(pBuffer, nCount, nRead))
        return false;
    m_nPosition += nRead;
    return true;
}

int64_t VInternetFile::Discard(int64_t nCount)
{
    std::vector<char> scratch(static_cast<size_t>(std::min<int64_t>(nCount, LANDING_SIZE)));
    int64_t nDropped = 0;
    while (nDropped < nCount) {
        uint32_t nRead = 0;
        const auto nAsked = static_cast<uint32_t>(std::min<int64_t>(nCount - nDropped, scratch.size()));
        if (!ReadBody(scratch.data(), nAsked, nRead))
            return -1;
        if (nRead == 0)
            break;
        nDropped += nRead;
    }
    return nDropped;
}

void VInternetFile::StartBody()
{
    m_nPosition = 0;
    m_bAbandoned = false;
}

int64_t VInternetFile::SetFilePointer(int64_t nDistance, uint32_t nMethod)
{
    if (!HasBody()) {
        FailInternet(INET_ERROR_INCORRECT_HANDLE_STATE);
        return -1;
    }
    const int64_t nLength = BodyLength();
    const int64_t nTarget = InternetFilePointerTarget(nDistance, nMethod, m_nPosition, nLength);
    if (nTarget < 0)
        return -1;
    if (nTarget == m_nPosition)
        return nTarget;
    if (!m_bAbandoned && nTarget > m_nPosition && nTarget - m_nPosition <= SKIP_LIMIT) {
        const int64_t nDropped = Discard(nTarget - m_nPosition);
        if (nDropped < 0)
            return -1;
        m_nPosition += nDropped;
        if (m_nPosition == nTarget)
            return nTarget;
        // The body ended before the place: only a body of known length is asked for again.
    }
    // Anything else is fetched anew, which only makes sense for a body of known length.
    if (nLength < 0) {
        FailInternet(INET_ERROR_INVALID_OPERATION);
        return -1;
    }
    if (nTarget == nLength) {
        m_bAbandoned = true;
        m_nPosition = nTarget;
        return nTarget;
    }
    m_bAbandoned = false;
    if (!RestartAt(nTarget)) {
        m_bAbandoned = true;  // a failed move leaves nothing to read rather than the wrong bytes
        return -1;
    }
    m_nPosition = nTarget;
    return nTarget;
}

}  // namespace zu::platform
