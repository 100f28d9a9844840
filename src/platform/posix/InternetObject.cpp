#include "platform/posix/InternetObject.h"

#include "platform/posix/InternetErrors.h"

namespace zu::platform {
namespace {

// The time-outs a session starts with, as on Windows: a minute to connect, half a minute of
// silence while waiting for data.
const std::map<uint32_t, uint32_t>& DefaultNumbers()
{
    static const std::map<uint32_t, uint32_t> s_Defaults = {
        {INET_OPTION_CONNECT_TIMEOUT, 60000},      {INET_OPTION_SEND_TIMEOUT, 30000},
        {INET_OPTION_RECEIVE_TIMEOUT, 30000},      {INET_OPTION_DATA_SEND_TIMEOUT, 30000},
        {INET_OPTION_DATA_RECEIVE_TIMEOUT, 30000}, {INET_OPTION_LISTEN_TIMEOUT, 30000},
    };
    return s_Defaults;
}

// Whether the option holds a number (or a text); false, with the reason as the last error, when it
// holds the other kind (a wrong length) or is none of ours.
bool HoldsNumber(uint32_t nOption)
{
    return IsInternetTimeoutOption(nOption) ||
           FailInternet(IsInternetCredentialOption(nOption) ? INET_ERROR_BAD_OPTION_LENGTH : INET_ERROR_INVALID_OPTION);
}

bool HoldsText(uint32_t nOption)
{
    return IsInternetCredentialOption(nOption) ||
           FailInternet(IsInternetTimeoutOption(nOption) ? INET_ERROR_BAD_OPTION_LENGTH : INET_ERROR_INVALID_OPTION);
}

}  // namespace

VInternetObject::VInternetObject(EInternetObjectType type, std::shared_ptr<VInternetObject> pParent)
    : m_Type(type), m_Numbers(DefaultNumbers())
{
    if (pParent) {
        std::lock_guard<std::recursive_mutex> lock(pParent->m_Lock);
        m_Numbers = pParent->m_Numbers;
        m_Texts = pParent->m_Texts;
    }
}

bool VInternetObject::SetOption(uint32_t nOption, uint32_t nValue)
{
    if (!HoldsNumber(nOption))
        return false;
    m_Numbers[nOption] = nValue;
    return true;
}

bool VInternetObject::QueryOption(uint32_t nOption, uint32_t& nValue)
{
    if (!HoldsNumber(nOption))
        return false;
    nValue = NumberOption(nOption);
    return true;
}

bool VInternetObject::SetOptionText(uint32_t nOption, const std::u16string& value)
{
    if (!HoldsText(nOption))
        return false;
    m_Texts[nOption] = value;
    return true;
}

bool VInternetObject::QueryOptionText(uint32_t nOption, std::u16string& value)
{
    if (!HoldsText(nOption))
        return false;
    value = TextOption(nOption);
    return true;
}

bool VInternetObject::Read(void*, uint32_t, uint32_t& nRead)
{
    nRead = 0;
    return FailInternet(INET_ERROR_INCORRECT_HANDLE_TYPE);
}

int64_t VInternetObject::SetFilePointer(int64_t, uint32_t)
{
    FailInternet(INET_ERROR_INCORRECT_HANDLE_TYPE);
    return -1;
}

uint32_t VInternetObject::NumberOption(uint32_t nOption) const
{
    const auto found = m_Numbers.find(nOption);
    return found == m_Numbers.end() ? 0 : found->second;
}

std::u16string VInternetObject::TextOption(uint32_t nOption) const
{
    const auto found = m_Texts.find(nOption);
    return found == m_Texts.end() ? std::u16string() : found->second;
}

uint32_t VInternetObject::TimeoutOption(uint32_t nOption) const
{
    const uint32_t nValue = NumberOption(nOption);
    return nValue == 0xFFFFFFFFu ? 0 : nValue;
}

}  // namespace zu::platform
