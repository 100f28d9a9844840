#include "TerminalPrompt.h"

#include "CommandLine.h"

#include "Console.h"

#include <cstdio>
#include <mutex>
#include <string>

namespace zucli {
namespace {

// The library calls from its workers; two prompts must not interleave on one terminal.
std::mutex g_TerminalLock;

// An answer longer than the library's buffer is refused rather than cut: a cut password is wrong.
bool CopyAnswer(const std::u16string& answer, ZUCHAR* pBuffer, uint32_t nCapacity)
{
    if (!pBuffer || answer.size() >= nCapacity)
        return false;
    for (size_t i = 0; i < answer.size(); ++i)
        pBuffer[i] = static_cast<ZUCHAR>(answer[i]);
    pBuffer[answer.size()] = 0;
    return true;
}

void Ask(const std::string& question)
{
    std::fputs(question.c_str(), stderr);
    std::fflush(stderr);
}

}  // namespace

CTerminalPrompt::CTerminalPrompt()
{
    ZUHostCallbacks callbacks{};
    callbacks.cbSize = sizeof(callbacks);
    callbacks.PromptCredentials = &CTerminalPrompt::PromptCredentials;
    ZUReaderSetHostCallbacks(&callbacks);
}

CTerminalPrompt::~CTerminalPrompt()
{
    ZUReaderSetHostCallbacks(nullptr);
}

ZUBOOL CTerminalPrompt::PromptCredentials(void*, const ZUCHAR* pszSite, const ZUCHAR*, ZUCHAR* pszUser,
                                          uint32_t nUserCapacity, ZUCHAR* pszPassword, uint32_t nPasswordCapacity)
{
    if (!IsTerminal(0))
        return 0;
    std::lock_guard<std::mutex> lock(g_TerminalLock);
    const std::u16string site = pszSite ? reinterpret_cast<const char16_t*>(pszSite) : u"";
    Ask("User for " + ToUtf8(site) + ": ");
    std::u16string user, password;
    if (!ReadTerminalLine(false, user) || user.empty())
        return 0;
    Ask("Password: ");
    if (!ReadTerminalLine(true, password))
        return 0;
    return CopyAnswer(user, pszUser, nUserCapacity) && CopyAnswer(password, pszPassword, nPasswordCapacity) ? 1 : 0;
}

}  // namespace zucli
