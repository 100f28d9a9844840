// CInternetStatus: what an Internet request ended with, as the reader reports it through GetInfo
// ("StatusCode", "StatusText"): the server's status line when there is one, otherwise the transfer
// error (-1, or -2 when the machine has no network at all) or the FTP server's last reply.
#pragma once

#include "platform/Internet.h"

#include <cstdint>
#include <string>
#include <utility>

class CInternetStatus {
public:
    static constexpr int32_t kTimedOutCode = 408;
    static constexpr int32_t kTransferFailed = -1;
    static constexpr int32_t kNoNetwork = -2;

    CInternetStatus() = default;
    CInternetStatus(int32_t nCode, std::u16string text) : m_nCode(nCode), m_Text(std::move(text)) {}

    // The reader gave up waiting for the request.
    static CInternetStatus TimedOut();
    // The response's status line when bHttp and hRequest has one; otherwise what nLastError (the
    // error of the call that failed, or the last one made) says.
    static CInternetStatus Describe(zu::platform::InternetHandle hRequest, bool bHttp, uint32_t nLastError);

    int32_t Code() const { return m_nCode; }
    const std::u16string& Text() const { return m_Text; }

private:
    static bool FromResponse(zu::platform::InternetHandle hRequest, CInternetStatus& status);
    static CInternetStatus FromError(uint32_t nError);
    static CInternetStatus FromServerReply();

    int32_t m_nCode = 0;
    std::u16string m_Text;
};
