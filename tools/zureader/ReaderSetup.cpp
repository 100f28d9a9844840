#include "ReaderSetup.h"

#include "Commands.h"

namespace zucli {
namespace {

constexpr char16_t kOption[] = u"--option";
constexpr char16_t kTimeout[] = u"--timeout";
constexpr char16_t kData[] = u"--data";

// Digits only, and no more than an unsigned 32-bit count of milliseconds.
bool ParseMilliseconds(const std::u16string& text, uint32_t& nValue)
{
    if (text.empty() || text.size() > 10)
        return false;
    uint64_t nTotal = 0;
    for (char16_t c : text) {
        if (c < u'0' || c > u'9')
            return false;
        nTotal = nTotal * 10 + static_cast<uint64_t>(c - u'0');
    }
    if (nTotal > UINT32_MAX)
        return false;
    nValue = static_cast<uint32_t>(nTotal);
    return true;
}

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
                                       std::set<std::u16string> valueOptions)
{
    valueOptions.insert({kOption, kTimeout, kData});
    return CCommandLine(arguments, valueOptions, {u"-h", u"--help"});
}

bool CReaderSetup::Prepare(const CCommandLine& line, const char* pszCommand, const char* pszHelp, int& nStatus)
{
    if (!PrepareCommand(line, pszCommand, "one LOCATION", 1, (pszHelp + std::string(kSetupHelp)).c_str(), nStatus))
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
    if (m_bTimeout && !ParseMilliseconds(line.Value(kTimeout), m_nTimeout)) {
        m_strError = "--timeout takes a number of milliseconds, not " + ToUtf8(line.Value(kTimeout));
        return false;
    }
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

CReaderPtr CReaderSetup::Open(const std::u16string& location, std::string& failure) const
{
    CReaderPtr pReader = MakeReader(location);
    if (!pReader) {
        failure = "cannot open " + ToUtf8(location) + ": not a file name or a URL the library can parse";
        return nullptr;
    }
    Apply(*pReader);
    if (pReader->Open())
        return pReader;
    failure = DescribeFailure(*pReader, location);
    return nullptr;
}

}  // namespace zucli
