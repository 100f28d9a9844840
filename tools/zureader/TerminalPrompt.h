// Answers the library's credential prompt (a server's 401) on the terminal while it lives: the user
// name, then a password read without echo. Without a terminal on standard input the prompt answers
// "cancelled" at once, so a pipeline never waits for input that cannot come.
// The choice among several media servers is a numbered menu on standard error, answered by a line
// on standard input, terminal or not (a script may pipe its choice); the input's end cancels. The
// library's messages go to standard error.
#pragma once

#include <zureader/ZUReader.h>

namespace zucli {

class CTerminalPrompt {
public:
    CTerminalPrompt();
    ~CTerminalPrompt();
    CTerminalPrompt(const CTerminalPrompt&) = delete;
    CTerminalPrompt& operator=(const CTerminalPrompt&) = delete;

    // True once the user was shown a message or the menu since the prompt was made: a search that
    // found nothing then did so because of what the user saw, not for want of answers.
    static bool HasSpoken();

private:
    static ZUBOOL ChooseMediaServer(void* pContext, const ZUCHAR* const* ppszEntries, uint32_t nEntries,
                                    uint32_t* pnChosen);
    static void ShowMessage(void* pContext, const ZUCHAR* pszMessage);
    static ZUBOOL PromptCredentials(void* pContext, const ZUCHAR* pszSite, const ZUCHAR* pszUrl, ZUCHAR* pszUser,
                                    uint32_t nUserCapacity, ZUCHAR* pszPassword, uint32_t nPasswordCapacity);
};

}  // namespace zucli
