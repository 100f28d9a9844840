#include "ReaderSetup.h"

#include "Commands.h"

namespace zucli {
namespace {

constexpr char16_t kOption[] = u"--option";
constexpr char16_t kTimeout[] = u"--timeout";
constexpr char16_t kData[] = u"--data";

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

std::string DescribeFailure(VReader& reader, const std::u16string& location)
{
    std::string failure = "cannot open " + ToUtf8(location);
    if (reader.GetType() != ZU_READER_INTERNET)
        return failure;
    const std::string code = ToUtf8(TakeInfo(reader.GetInfo(Z(u"StatusCode"))));
    const std::string text = OneLine(ToUtf8(TakeInfo(reader.GetInfo(Z(u"StatusText")))));
    failure += ": status " + code;
    return text.empty() ? failure : failure + " (" + text + ")";
}

const char kSetupHelp[] =
    "options for the source:\n"
    "  --option KEY=VALUE  set a reader option before opening (repeatable), for example\n"
    "                      RANGE_START=100, RANGE_FINISH=199, USER_AGENT=..., NO_REDIRECT=1,\n"
    "                      AUTH_USERNAME=..., AUTH_PASSWORD=..., HTTPREQUEST_TYPE=HEAD\n"
    "  --timeout MS        give up opening a network source after MS milliseconds\n"
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
    if (!PrepareCommand(line, pszCommand, words.c_str(), 1, (pszHelp + std::string(kSetupHelp)).c_str(), nStatus))
        return false;
    if (Parse(line))
        return true;
    nStatus = Fail(m_strError + " (see zureader " + pszCommand + " --help)");
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
    m_nTimeout = static_cast<uint32_t>(nTimeout);
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
    bool bVerbGiven = false;
    for (const auto& option : m_Options)
        bVerbGiven = bVerbGiven || option.first == u"HTTPREQUEST_TYPE";
    if (!bVerbGiven)
        reader.SetOption(Z(u"HTTPREQUEST_TYPE"), Z(u"POST"));
}

CReaderPtr CReaderSetup::Open(const std::u16string& location, std::string& failure, const CDecorate& decorate) const
{
    CReaderPtr pSource = MakeReader(location);
    if (!pSource) {
        failure = "cannot open " + ToUtf8(location) + ": not a file name or a URL the library can parse";
        return nullptr;
    }
    Apply(*pSource);
    // The decorators own the source from here on; it stays alive as long as they do, and only it
    // knows what the server answered.
    VReader& source = *pSource;
    CReaderPtr pReader = decorate ? decorate(std::move(pSource)) : std::move(pSource);
    if (!pReader) {
        failure = "cannot open " + ToUtf8(location) + ": out of memory";
        return nullptr;
    }
    if (pReader->Open())
        return pReader;
    failure = DescribeFailure(source, location);
    return nullptr;
}

}  // namespace zucli
