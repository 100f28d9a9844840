// What the two backends of the Internet seam share beneath it: the calling thread's last error and
// last FTP reply, the kinds of object a handle stands for, the options every object records and
// hands down, and where a move of a body's file pointer leads.
#pragma once

#include "platform/Internet.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <string>

namespace zu::platform {

// Stores the error for InternetLastError() and returns false, so failures read "return Fail(...)".
bool FailInternet(uint32_t nError);
void SetInternetLastError(uint32_t nError);

// The calling thread's last FTP reply, for GetInternetLastResponse: its number and every line.
void SetLastFtpReply(uint32_t nCode, const std::u16string& text);

enum class EInternetObjectType { SESSION, CONNECTION, HTTP_REQUEST, FTP_FILE };

// A new backend object, or null with INET_ERROR_NOT_ENOUGH_MEMORY as the last error.
template <typename T, typename... Args>
std::shared_ptr<T> MakeInternetObject(Args&&... args)
{
    std::shared_ptr<T> pObject(new (std::nothrow) T(std::forward<Args>(args)...));
    if (!pObject)
        FailInternet(INET_ERROR_NOT_ENOUGH_MEMORY);
    return pObject;
}

// The options an object keeps for itself and hands down to the objects made below it.
constexpr uint32_t INET_TIMEOUT_OPTIONS[] = {
    INET_OPTION_CONNECT_TIMEOUT,      INET_OPTION_SEND_TIMEOUT,         INET_OPTION_RECEIVE_TIMEOUT,
    INET_OPTION_DATA_SEND_TIMEOUT,    INET_OPTION_DATA_RECEIVE_TIMEOUT, INET_OPTION_LISTEN_TIMEOUT,
};
constexpr uint32_t INET_CREDENTIAL_OPTIONS[] = {
    INET_OPTION_USERNAME,
    INET_OPTION_PASSWORD,
    INET_OPTION_PROXY_USERNAME,
    INET_OPTION_PROXY_PASSWORD,
};

inline bool IsInternetTimeoutOption(uint32_t nOption)
{
    return std::find(std::begin(INET_TIMEOUT_OPTIONS), std::end(INET_TIMEOUT_OPTIONS), nOption) !=
           std::end(INET_TIMEOUT_OPTIONS);
}

inline bool IsInternetCredentialOption(uint32_t nOption)
{
    return std::find(std::begin(INET_CREDENTIAL_OPTIONS), std::end(INET_CREDENTIAL_OPTIONS), nOption) !=
           std::end(INET_CREDENTIAL_OPTIONS);
}

// The certificate errors a request may be told to ignore (INET_OPTION_SECURITY_FLAGS).
constexpr uint32_t INET_SECURITY_IGNORE_BITS =
    INET_SECURITY_FLAG_IGNORE_REVOCATION | INET_SECURITY_FLAG_IGNORE_UNKNOWN_CA |
    INET_SECURITY_FLAG_IGNORE_WRONG_USAGE | INET_SECURITY_FLAG_IGNORE_CERT_CN_INVALID |
    INET_SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;

// Where SetInternetFilePointer leads from nPosition in a body of nLength bytes (-1: unknown); -1,
// with the reason as the last error, for a method or place that leads nowhere.
int64_t InternetFilePointerTarget(int64_t nDistance, uint32_t nMethod, int64_t nPosition, int64_t nLength);

// The decimal number at the start of the text; -1 when there is none or it does not fit.
int64_t LeadingDecimal(const std::u16string& text);

}  // namespace zu::platform
