#include "net/InternetStatus.h"

#include "core/DecimalText.h"
#include "platform/NetworkState.h"

using namespace zu::platform;

CInternetStatus CInternetStatus::TimedOut()
{
    return CInternetStatus(kTimedOutCode, u"The request has timed out.");
}

CInternetStatus CInternetStatus::Describe(InternetHandle hRequest, bool bHttp, uint32_t nLastError)
{
    CInternetStatus status;
    if (bHttp && hRequest && FromResponse(hRequest, status))
        return status;
    return nLastError == INET_ERROR_EXTENDED_ERROR ? FromServerReply() : FromError(nLastError);
}

bool CInternetStatus::FromResponse(InternetHandle hRequest, CInternetStatus& status)
{
    uint32_t nCode = 0;
    if (!QueryHttpInfoNumber(hRequest, INET_QUERY_STATUS_CODE, nCode) || nCode == 0)
        return false;
    std::u16string text;
    if (!QueryHttpInfo(hRequest, INET_QUERY_STATUS_TEXT, text) || text.empty())
        return false;
    status = CInternetStatus(static_cast<int32_t>(nCode), text);
    return true;
}

CInternetStatus CInternetStatus::FromError(uint32_t nError)
{
    const std::u16string text = nError == 0 ? u"Unknown error." : InternetErrorText(nError);
    return CInternetStatus(IsNetworkAlive() ? kTransferFailed : kNoNetwork, text);
}

// A server's reply may run over several lines; its last line carries the final number and text.
CInternetStatus CInternetStatus::FromServerReply()
{
    uint32_t nReplyCode = 0;
    std::u16string reply;
    GetInternetLastResponse(nReplyCode, reply);
    if (!reply.empty() && reply.back() == u'\n')
        reply.erase(reply.size() >= 2 ? reply.size() - 2 : 0);
    const size_t lastBreak = reply.rfind(u'\n');
    if (lastBreak == std::u16string::npos)
        return CInternetStatus(static_cast<int32_t>(nReplyCode), reply);
    const std::u16string lastLine = reply.substr(lastBreak + 1);
    return CInternetStatus(CDecimalText::ToInt32(lastLine), lastLine);
}
