#include "host/HostCallbacks.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

namespace zu::host {

namespace {

constexpr uint32_t kCredentialCapacity = 256;  // characters, as the system dialog allows

constexpr size_t kMinimumSize = offsetof(ZUHostCallbacks, PromptCredentials) + sizeof(ZUHostCallbacks::PromptCredentials);

std::u16string FromBuffer(const std::vector<ZUCHAR>& buffer)
{
    std::u16string text;
    for (ZUCHAR c : buffer) {
        if (c == 0)
            break;
        text.push_back(static_cast<char16_t>(c));
    }
    return text;
}

}  // namespace

std::mutex CHostCallbacks::s_Lock;
ZUHostCallbacks CHostCallbacks::s_Callbacks{};

bool CHostCallbacks::Install(const ZUHostCallbacks* pCallbacks)
{
    ZUHostCallbacks callbacks{};
    if (pCallbacks) {
        if (pCallbacks->cbSize < kMinimumSize)
            return false;
        std::memcpy(&callbacks, pCallbacks, std::min<size_t>(pCallbacks->cbSize, sizeof(callbacks)));
    }
    callbacks.cbSize = sizeof(callbacks);
    std::lock_guard<std::mutex> lock(s_Lock);
    s_Callbacks = callbacks;
    return true;
}

ZUHostCallbacks CHostCallbacks::Current()
{
    std::lock_guard<std::mutex> lock(s_Lock);
    return s_Callbacks;
}

EPromptAnswer CHostCallbacks::PromptCredentials(const std::u16string& site, const std::u16string& url,
                                                std::u16string& user, std::u16string& password)
{
    ZUHostCallbacks callbacks = Current();
    if (!callbacks.PromptCredentials)
        return EPromptAnswer::NoHost;
    std::vector<ZUCHAR> userBuffer(kCredentialCapacity, 0), passwordBuffer(kCredentialCapacity, 0);
    std::u16string siteText(site), urlText(url);
    ZUBOOL bRetry = callbacks.PromptCredentials(callbacks.pContext, reinterpret_cast<const ZUCHAR*>(siteText.c_str()),
                                                reinterpret_cast<const ZUCHAR*>(urlText.c_str()), userBuffer.data(),
                                                kCredentialCapacity, passwordBuffer.data(), kCredentialCapacity);
    // A host that forgot the terminator still gets a bounded read.
    userBuffer.back() = 0;
    passwordBuffer.back() = 0;
    if (!bRetry)
        return EPromptAnswer::Cancelled;
    user = FromBuffer(userBuffer);
    password = FromBuffer(passwordBuffer);
    return EPromptAnswer::Retry;
}

EPromptAnswer CHostCallbacks::ChooseMediaServer(const std::vector<std::u16string>& entries, size_t& nChosen)
{
    ZUHostCallbacks callbacks = Current();
    if (!callbacks.ChooseMediaServer)
        return EPromptAnswer::NoHost;
    std::vector<const ZUCHAR*> texts;
    for (const std::u16string& entry : entries)
        texts.push_back(reinterpret_cast<const ZUCHAR*>(entry.c_str()));
    uint32_t nIndex = 0xFFFFFFFFu;
    if (!callbacks.ChooseMediaServer(callbacks.pContext, texts.data(), static_cast<uint32_t>(texts.size()), &nIndex) ||
        nIndex >= entries.size())
        return EPromptAnswer::Cancelled;
    nChosen = nIndex;
    return EPromptAnswer::Retry;
}

bool CHostCallbacks::ShowMessage(const std::u16string& message)
{
    ZUHostCallbacks callbacks = Current();
    if (!callbacks.ShowMessage)
        return false;
    callbacks.ShowMessage(callbacks.pContext, reinterpret_cast<const ZUCHAR*>(message.c_str()));
    return true;
}

}  // namespace zu::host
