#include "TerminalPrompt.h"

#include "CommandLine.h"

#include "Console.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <string>

namespace zucli {
namespace {

// The library calls from its workers; two prompts must not interleave on one terminal.
std::mutex g_TerminalLock;
std::atomic<bool> g_bSpoken{false};

std::u16string TextOf(const ZUCHAR* psz)
{
    return psz ? reinterpret_cast<const char16_t*>(psz) : u"";
}

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
    callbacks.ChooseMediaServer = &CTerminalPrompt::ChooseMediaServer;
    callbacks.ShowMessage = &CTerminalPrompt::ShowMessage;
    g_bSpoken = false;
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
    const std::u16string site = TextOf(pszSite);
    Ask("User for " + ToUtf8(site) + ": ");
    std::u16string user, password;
    if (!ReadTerminalLine(false, user) || user.empty())
        return 0;
    Ask("Password: ");
    if (!ReadTerminalLine(true, password))
        return 0;
    return CopyAnswer(user, pszUser, nUserCapacity) && CopyAnswer(password, pszPassword, nPasswordCapacity) ? 1 : 0;
}

bool CTerminalPrompt::HasSpoken()
{
    return g_bSpoken;
}

ZUBOOL CTerminalPrompt::ChooseMediaServer(void*, const ZUCHAR* const* ppszEntries, uint32_t nEntries,
                                          uint32_t* pnChosen)
{
    std::lock_guard<std::mutex> lock(g_TerminalLock);
    g_bSpoken = true;
    std::string menu = "Several media servers answered:\n";
    for (uint32_t i = 0; i < nEntries; ++i)
        menu += "  " + std::to_string(i + 1) + ") " + ToUtf8(TextOf(ppszEntries[i])) + "\n";
    Ask(menu);
    for (;;) {
        Ask("Use which (1-" + std::to_string(nEntries) + ", nothing to cancel)? ");
        std::u16string answer;
        uint64_t nChoice = 0;
        if (!ReadTerminalLine(false, answer) || answer.empty())
            return 0;
        if (ParseCount(answer, nEntries, nChoice) && nChoice > 0) {
            *pnChosen = static_cast<uint32_t>(nChoice - 1);
            return 1;
        }
    }
}

void CTerminalPrompt::ShowMessage(void*, const ZUCHAR* pszMessage)
{
    std::lock_guard<std::mutex> lock(g_TerminalLock);
    g_bSpoken = true;
    std::string message = ToUtf8(TextOf(pszMessage));
    message.erase(std::remove(message.begin(), message.end(), '\r'), message.end());
    Ask("zureader: " + message + "\n");
}

}  // namespace zucli
