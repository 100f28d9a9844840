// The host's answers to user-interface moments, installed through ZUReaderSetHostCallbacks.
// Readers ask here first and fall back to their platform's own dialog when no host answers.
#pragma once

#include <zureader/ZUReader.h>

#include <mutex>
#include <string>
#include <vector>

namespace zu::host {

enum class EPromptAnswer { NoHost, Retry, Cancelled };

class CHostCallbacks {
public:
    static bool Install(const ZUHostCallbacks* pCallbacks);

    // Asks the host for credentials for site (for example after a 401); NoHost when none was
    // installed, so the caller may use its own default.
    static EPromptAnswer PromptCredentials(const std::u16string& site, const std::u16string& url,
                                           std::u16string& user, std::u16string& password);
    // Asks the host which of the entries to use; Retry with nChosen set when it chose one.
    static EPromptAnswer ChooseMediaServer(const std::vector<std::u16string>& entries, size_t& nChosen);
    // Shows the host's user a message; false when no host takes messages.
    static bool ShowMessage(const std::u16string& message);

private:
    static ZUHostCallbacks Current();

    static std::mutex s_Lock;
    static ZUHostCallbacks s_Callbacks;
};

}  // namespace zu::host
