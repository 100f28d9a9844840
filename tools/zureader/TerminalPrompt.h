// Answers the library's credential prompt (a server's 401) on the terminal while it lives: the user
// name, then a password read without echo. Without a terminal on standard input the prompt answers
// "cancelled" at once, so a pipeline never waits for input that cannot come.
#pragma once

#include <zureader/ZUReader.h>

namespace zucli {

class CTerminalPrompt {
public:
    CTerminalPrompt();
    ~CTerminalPrompt();
    CTerminalPrompt(const CTerminalPrompt&) = delete;
    CTerminalPrompt& operator=(const CTerminalPrompt&) = delete;

private:
    static ZUBOOL PromptCredentials(void* pContext, const ZUCHAR* pszSite, const ZUCHAR* pszUrl, ZUCHAR* pszUser,
                                    uint32_t nUserCapacity, ZUCHAR* pszPassword, uint32_t nPasswordCapacity);
};

}  // namespace zucli
