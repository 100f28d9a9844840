// The zureader commands; each takes the arguments after its name and returns the exit status.
#pragma once

#include <string>
#include <vector>

namespace zucli {

using CArguments = std::vector<std::u16string>;

int RunCat(const CArguments& arguments);
int RunInfo(const CArguments& arguments);
int RunDemo(const CArguments& arguments);
int RunRadio(const CArguments& arguments);
int RunDvd(const CArguments& arguments);
int RunRecord(const CArguments& arguments);
int RunFindServer(const CArguments& arguments);
int RunAnnounce(const CArguments& arguments);
int RunEncoders(const CArguments& arguments);
int RunTranscode(const CArguments& arguments);

class CCommandLine;

// Handles --help and malformed arguments for a command that takes nPositional words. Returns false
// when the command is done already, with its exit status in nStatus.
bool PrepareCommand(const CCommandLine& line, const char* pszCommand, const char* pszWords, size_t nPositional,
                    const char* pszHelp, int& nStatus);

// The exit statuses, in the manner of curl's, so that a script can tell what went wrong. Each is
// listed in zureader --help and the README.
enum class EExit : int {
    OK = 0,
    FAILED = 1,        // anything not named below: a missing local file, a certificate, a protocol error
    USAGE = 2,         // a bad command line
    BAD_URL = 3,       // a URL of a scheme the library does not know, or one it cannot parse
    NOT_RESOLVED = 6,  // the host's name could not be resolved
    NO_CONNECTION = 7, // the host refused the connection or could not be reached
    CUT_SHORT = 18,    // the transfer ended before the length the source announced
    SERVER_ERROR = 22, // the server answered with an error status (HTTP, or an FTP reply)
    WRITE_FAILED = 23, // the output could not be created or written
    TIMED_OUT = 28,    // the source did not answer within the time-out
};

// One line on standard error, "zureader: " first, with any password in a URL hidden; returns the
// exit status.
int Fail(EExit nStatus, const std::string& message);
// Every URL's password in text replaced by "***": what the program prints never shows one.
std::string WithoutPasswords(const std::string& text);
void PrintText(const std::string& text);

}  // namespace zucli
