#include "ReaderSetup.h"

#include "SocketLocation.h"

#include "Commands.h"

#include <algorithm>
#include <cstdlib>
#include <initializer_list>

namespace zucli {
namespace {

constexpr char16_t kOption[] = u"--option";
constexpr char16_t kTimeout[] = u"--timeout";
constexpr char16_t kData[] = u"--data";
constexpr char16_t kVerb[] = u"HTTPREQUEST_TYPE";

// Servers' texts (and the system's messages on Windows) may end in a line break; the failure must
// stay on one line.
std::string OneLine(const std::string& text)
{
    std::string line;
    for (char c : text)
        line += (c == '\r' || c == '\n') ? ' ' : c;
    while (!line.empty() && line.back() == ' ')
        line.pop_back();
    return line;
}

// The Internet reader reports its own failures beside a server's status: a time-out as 408 with
// its own text, a failed transfer as -1 (-2 without any network) with the system's text for the
// error, which names the kind. The texts differ between the builds (and Wine's between its own
// and Windows'), so each kind is known by the words its texts share.
EExit StatusOfFailure(int32_t nCode, const std::string& text)
{
    const auto says = [&text](std::initializer_list<const char*> parts) {
        return std::any_of(parts.begin(), parts.end(),
                           [&text](const char* pszPart) { return text.find(pszPart) != std::string::npos; });
    };
    if ((nCode == 408 && text == "The request has timed out.") || (nCode < 0 && says({"timed out"})))
        return EExit::TIMED_OUT;
    if (nCode >= 100)
        return EExit::SERVER_ERROR;
    if (says({"URL is invalid", "not use a recognized protocol", "scheme could not be recognized"}))
        return EExit::BAD_URL;
    if (says({"could not be resolved"}))
        return EExit::NOT_RESOLVED;
    if (says({"connection with the server could not be established", "attempt to connect to the server failed"}))
        return EExit::NO_CONNECTION;
    return EExit::FAILED;
}

COpenFailure DescribeFailure(VReader& reader, const std::u16string& location)
{
    COpenFailure failure{EExit::FAILED, "cannot open " + ToUtf8(location)};
    if (!reader.IsRemote())
        return failure;
    const std::string code = ToUtf8(TakeInfo(reader.GetInfo(Z(u"StatusCode"))));
    const std::string text = OneLine(ToUtf8(TakeInfo(reader.GetInfo(Z(u"StatusText")))));
    failure.nStatus = StatusOfFailure(std::atoi(code.c_str()), text);
    failure.message += ": status " + code;
    if (!text.empty())
        failure.message += " (" + text + ")";
    return failure;
}

const char kSetupHelp[] =
    "options for the source:\n"
    "  --option KEY=VALUE  set a reader option before opening (repeatable), for example\n"
    "                      RANGE_START=100, RANGE_FINISH=199, USER_AGENT=..., NO_REDIRECT=1,\n"
    "                      AUTH_USERNAME=..., AUTH_PASSWORD=..., HTTPREQUEST_TYPE=HEAD\n"
    "  --timeout MS        give up opening a network source after MS milliseconds (0: wait\n"
    "                      as long as it takes)\n"
    "  --data TEXT         send TEXT (as UTF-8) as the request body; the request becomes a\n"
    "                      POST unless --option HTTPREQUEST_TYPE=... names another verb\n"
    "\n"
    "A server that asks for credentials is answered from a prompt on the terminal (user, then\n"
    "a password that is not echoed); when standard input is not a terminal the request fails.\n";

}  // namespace

CCommandLine CReaderSetup::CommandLine(const std::vector<std::u16string>& arguments,
                                       std::set<std::u16string> valueOptions, std::set<std::u16string> switches)
{
    valueOptions.insert({kOption, kTimeout, kData});
    switches.insert({u"-h", u"--help"});
    return CCommandLine(arguments, valueOptions, switches);
}

bool CReaderSetup::Prepare(const CCommandLine& line, const char* pszCommand, const char* pszHelp, int& nStatus,
                           const char* pszWord)
{
    const std::string words = std::string("one ") + pszWord;
    return Prepare(line, pszCommand, pszHelp, nStatus, 1, words.c_str());
}

bool CReaderSetup::Prepare(const CCommandLine& line, const char* pszCommand, const char* pszHelp, int& nStatus,
                           size_t nPositional, const char* pszWords)
{
    if (!PrepareCommand(line, pszCommand, pszWords, nPositional, (pszHelp + std::string(kSetupHelp)).c_str(), nStatus))
        return false;
    if (Parse(line))
        return true;
    nStatus = Fail(EExit::USAGE, m_strError + " (see zureader " + pszCommand + " --help)");
    return false;
}

bool CReaderSetup::Parse(const CCommandLine& line)
{
    for (const std::u16string& option : line.Values(kOption)) {
        const size_t nEquals = option.find(u'=');
        if (nEquals == std::u16string::npos || nEquals == 0) {
            m_strError = "--option takes KEY=VALUE, not " + ToUtf8(option);
            return false;
        }
        m_Options.emplace_back(option.substr(0, nEquals), option.substr(nEquals + 1));
    }
    m_bTimeout = line.Has(kTimeout);
    uint64_t nTimeout = 0;
    if (m_bTimeout && !ParseCount(line.Value(kTimeout), UINT32_MAX, nTimeout)) {
        m_strError = "--timeout takes a number of milliseconds, not " + ToUtf8(line.Value(kTimeout));
        return false;
    }
    // The reader takes the largest time-out as no limit at all.
    m_nTimeout = nTimeout == 0 ? UINT32_MAX : static_cast<uint32_t>(nTimeout);
    m_bData = line.Has(kData);
    m_Data = ToUtf8(line.Value(kData));
    return true;
}

void CReaderSetup::Apply(VReader& reader) const
{
    // One pair at a time: a value may hold the "|" that separates the fields of SetOptions' text.
    for (const auto& [key, value] : m_Options)
        reader.SetOption(Z(key), Z(value));
    if (m_bTimeout)
        reader.SetTimeout(m_nTimeout);
    if (!m_bData)
        return;
    reader.SetPostData(m_Data.data(), static_cast<uint32_t>(m_Data.size()));
    if (!Option(kVerb))
        reader.SetOption(Z(kVerb), Z(u"POST"));
}

// The last value given for key, which is the one the reader keeps; null when none was given.
const std::u16string* CReaderSetup::Option(const std::u16string& key) const
{
    const std::u16string* pValue = nullptr;
    for (const auto& option : m_Options) {
        if (option.first == key)
            pValue = &option.second;
    }
    return pValue;
}

bool CReaderSetup::ExpectsBody() const
{
    const std::u16string* pVerb = Option(kVerb);
    if (!pVerb)
        return true;
    std::u16string verb = *pVerb;
    std::transform(verb.begin(), verb.end(), verb.begin(),
                   [](char16_t c) { return static_cast<char16_t>(c >= u'a' && c <= u'z' ? c - 32 : c); });
    return verb != u"HEAD";
}

CReaderPtr CReaderSetup::Open(const std::u16string& location, COpenFailure& failure, const CDecorate& decorate) const
{
    if (CSocketLocation::IsSocketLocation(location))
        return OpenSocket(location, failure, decorate);
    CReaderPtr pSource = MakeReader(location, m_bSeekable);
    if (!pSource) {
        failure = {EExit::BAD_URL,
                   "cannot open " + ToUtf8(location) + ": not a file name or a URL the library can parse"};
        return nullptr;
    }
    Apply(*pSource);
    // The decorators own the source from here on; it stays alive as long as they do, and only it
    // knows what the server answered.
    VReader& source = *pSource;
    CReaderPtr pReader = decorate ? decorate(std::move(pSource)) : std::move(pSource);
    if (!pReader) {
        failure = {EExit::FAILED, "cannot open " + ToUtf8(location) + ": out of memory"};
        return nullptr;
    }
    if (pReader->Open())
        return pReader;
    failure = DescribeFailure(source, location);
    return nullptr;
}

}  // namespace zucli

namespace zucli {

CReaderPtr CReaderSetup::OpenSocket(const std::u16string& location, COpenFailure& failure, const CDecorate& decorate) const
{
    CSocketLocation socket;
    std::string error;
    if (!socket.Parse(location, error)) {
        failure = {EExit::BAD_URL, "cannot open " + ToUtf8(location) + ": " + error};
        return nullptr;
    }
    // The socket reader's own lookup bound when none is given.
    constexpr uint32_t kDefaultLookupMs = 10000;
    CReaderPtr pReader = socket.Make([this](VReader& reader) { Apply(reader); },
                                     m_bTimeout ? m_nTimeout : kDefaultLookupMs, failure);
    if (pReader && decorate)
        pReader = decorate(std::move(pReader));
    if (pReader && pReader->Open())
        return pReader;
    if (failure.message.empty())
        failure = {EExit::FAILED, "cannot open " + ToUtf8(location)};
    return nullptr;
}

}  // namespace zucli
