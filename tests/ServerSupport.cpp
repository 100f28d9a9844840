#include "ServerSupport.h"

#include "TestSupport.h"
#include "platform/System.h"
#include "platform/Text.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>

namespace zutest {
namespace {

const char* const kHowToStart =
    "ctest starts them (fixture servers_start); by hand: tests/servers/start.sh DIR, run the tests "
    "with ZU_TEST_SERVERS=DIR/ports.env, then tests/servers/stop.sh DIR";

std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

void AppendUtf8(std::string& out, uint32_t code)
{
    if (code < 0x80) {
        out += static_cast<char>(code);
        return;
    }
    if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    }
    out += static_cast<char>(0x80 | (code & 0x3F));
}

// Just enough JSON for the request record: objects, arrays, strings, integers, literals.
class CJsonCursor {
public:
    explicit CJsonCursor(const std::string& text) : m_Text(text) {}

    bool Take(char c)
    {
        SkipSpace();
        if (m_nAt >= m_Text.size() || m_Text[m_nAt] != c)
            return false;
        ++m_nAt;
        return true;
    }

    bool AtEnd()
    {
        SkipSpace();
        return m_nAt == m_Text.size();
    }

    // The server writes header bytes as the code points U+0000..U+00FF; those become the bytes
    // again, anything above becomes UTF-8.
    bool String(std::string& out)
    {
        out.clear();
        if (!Take('"'))
            return false;
        while (m_nAt < m_Text.size()) {
            const char c = m_Text[m_nAt++];
            if (c == '"')
                return true;
            if (c != '\\') {
                out += c;
                continue;
            }
            if (!Escape(out))
                return false;
        }
        return false;
    }

    bool Number(int64_t& nValue)
    {
        SkipSpace();
        const size_t nStart = m_nAt;
        if (m_nAt < m_Text.size() && m_Text[m_nAt] == '-')
            ++m_nAt;
        while (m_nAt < m_Text.size() && std::isdigit(static_cast<unsigned char>(m_Text[m_nAt])))
            ++m_nAt;
        const std::string digits = m_Text.substr(nStart, m_nAt - nStart);
        if (digits.empty() || digits == "-")
            return false;
        nValue = std::strtoll(digits.c_str(), nullptr, 10);
        return true;
    }

    bool SkipValue()
    {
        SkipSpace();
        if (m_nAt >= m_Text.size())
            return false;
        std::string ignored;
        switch (m_Text[m_nAt]) {
        case '"':
            return String(ignored);
        case '[':
            return SkipList('[', ']', false);
        case '{':
            return SkipList('{', '}', true);
        default:
            return SkipScalar();
        }
    }

private:
    void SkipSpace()
    {
        while (m_nAt < m_Text.size() && std::isspace(static_cast<unsigned char>(m_Text[m_nAt])))
            ++m_nAt;
    }

    bool Escape(std::string& out)
    {
        if (m_nAt >= m_Text.size())
            return false;
        const char c = m_Text[m_nAt++];
        switch (c) {
        case '"': case '\\': case '/': out += c; return true;
        case 'b': out += '\b'; return true;
        case 'f': out += '\f'; return true;
        case 'n': out += '\n'; return true;
        case 'r': out += '\r'; return true;
        case 't': out += '\t'; return true;
        case 'u': return CodePoint(out);
        default: return false;
        }
    }

    bool Hex4(uint32_t& nCode)
    {
        if (m_Text.size() - m_nAt < 4)
            return false;
        nCode = 0;
        for (int i = 0; i < 4; ++i) {
            const int nDigit = HexDigit(m_Text[m_nAt++]);
            if (nDigit < 0)
                return false;
            nCode = nCode * 16 + static_cast<uint32_t>(nDigit);
        }
        return true;
    }

    bool CodePoint(std::string& out)
    {
        uint32_t nCode = 0;
        if (!Hex4(nCode))
            return false;
        if (nCode >= 0xD800 && nCode < 0xDC00) {
            uint32_t nLow = 0;
            if (!Take('\\') || !Take('u') || !Hex4(nLow) || nLow < 0xDC00 || nLow >= 0xE000)
                return false;
            nCode = 0x10000 + ((nCode - 0xD800) << 10) + (nLow - 0xDC00);
        }
        if (nCode < 0x100)
            out += static_cast<char>(nCode);
        else
            AppendUtf8(out, nCode);
        return true;
    }

    bool SkipList(char open, char close, bool bKeyed)
    {
        Take(open);
        if (Take(close))
            return true;
        do {
            std::string key;
            if (bKeyed && (!String(key) || !Take(':')))
                return false;
            if (!SkipValue())
                return false;
        } while (Take(','));
        return Take(close);
    }

    bool SkipScalar()
    {
        const size_t nStart = m_nAt;
        while (m_nAt < m_Text.size() && std::string("-+.eE0123456789truefalsn").find(m_Text[m_nAt]) != std::string::npos)
            ++m_nAt;
        return m_nAt > nStart;
    }

    const std::string& m_Text;
    size_t m_nAt = 0;
};

bool ParseHeaders(CJsonCursor& json, std::vector<std::pair<std::string, std::string>>& headers)
{
    if (!json.Take('['))
        return false;
    if (json.Take(']'))
        return true;
    do {
        std::pair<std::string, std::string> header;
        if (!json.Take('[') || !json.String(header.first) || !json.Take(',') || !json.String(header.second) ||
            !json.Take(']'))
            return false;
        headers.push_back(std::move(header));
    } while (json.Take(','));
    return json.Take(']');
}

bool ParseRecordedRequest(const std::string& line, CRecordedRequest& request)
{
    CJsonCursor json(line);
    if (!json.Take('{'))
        return false;
    if (json.Take('}'))
        return json.AtEnd();
    do {
        std::string key;
        if (!json.String(key) || !json.Take(':'))
            return false;
        bool bParsed = false;
        if (key == "method")
            bParsed = json.String(request.m_strMethod);
        else if (key == "path")
            bParsed = json.String(request.m_strPath);
        else if (key == "headers")
            bParsed = ParseHeaders(json, request.m_Headers);
        else if (key == "body_length")
            bParsed = json.Number(request.m_nBodyLength);
        else
            bParsed = json.SkipValue();
        if (!bParsed)
            return false;
    } while (json.Take(','));
    return json.Take('}') && json.AtEnd();
}

std::vector<std::string> SplitLines(const std::string& text)
{
    std::vector<std::string> lines;
    size_t nStart = 0;
    while (nStart < text.size()) {
        size_t nEnd = text.find('\n', nStart);
        if (nEnd == std::string::npos)
            nEnd = text.size();
        std::string line = text.substr(nStart, nEnd - nStart);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        lines.push_back(std::move(line));
        nStart = nEnd + 1;
    }
    return lines;
}

bool FileExists(const std::u16string& path)
{
    std::error_code error;
    return std::filesystem::is_regular_file(std::filesystem::path(path), error);
}

}  // namespace

std::map<std::string, std::string> ParseServerTable(const std::string& text)
{
    std::map<std::string, std::string> values;
    for (const std::string& line : SplitLines(text)) {
        const size_t nEquals = line.find('=');
        if (line.empty() || line[0] == '#' || nEquals == std::string::npos || nEquals == 0)
            continue;
        values[line.substr(0, nEquals)] = line.substr(nEquals + 1);
    }
    return values;
}

std::u16string LocalPathOfServerPath(const std::string& path, char16_t separator)
{
    std::u16string local = zu::platform::Utf16FromUtf8(path);
    if (separator == u'/' || local.empty() || local[0] != u'/')
        return local;
    std::replace(local.begin(), local.end(), u'/', separator);
    return u"Z:" + local;
}

bool CServerTable::Load(const std::u16string& path)
{
    m_Values.clear();
    m_bLoaded = false;
    const std::string where = Utf8(path);
    if (path.empty()) {
        m_strProblem = "the loopback test servers are not running (ZU_TEST_SERVERS is not set); " +
                       std::string(kHowToStart);
        return false;
    }
    if (!FileExists(path)) {
        m_strProblem = "the loopback test servers are not running: " + where + " does not exist; " + kHowToStart;
        return false;
    }
    m_Values = ParseServerTable(ReadFile(path));
    if (m_Values.empty()) {
        m_strProblem = where + " names no servers; " + kHowToStart;
        return false;
    }
    m_strProblem.clear();
    m_bLoaded = true;
    return true;
}

std::string CServerTable::Value(const std::string& name) const
{
    const auto found = m_Values.find(name);
    return found == m_Values.end() ? std::string() : found->second;
}

int CServerTable::Port(const std::string& name) const
{
    const std::string text = Value(name);
    if (text.empty() || !std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c); }))
        return 0;
    const long nPort = std::strtol(text.c_str(), nullptr, 10);
    return nPort > 0 && nPort < 65536 ? static_cast<int>(nPort) : 0;
}

std::u16string CServerTable::Path(const std::string& name) const
{
    return LocalPathOfServerPath(Value(name), zu::platform::PathSeparator());
}

std::u16string CServerTable::Url(const std::string& name, const std::string& path, const std::string& login) const
{
    std::string scheme = "http";
    if (name.find("HTTPS") != std::string::npos)
        scheme = "https";
    else if (name.rfind("FTP", 0) == 0)
        scheme = "ftp";
    std::string url = scheme + "://";
    if (!login.empty())
        url += login + "@";
    url += "127.0.0.1:" + std::to_string(Port(name));
    if (path.empty() || path[0] != '/')
        url += "/";
    return zu::platform::Utf16FromUtf8(url + path);
}

const CServerTable& Servers()
{
    static const CServerTable table = [] {
        CServerTable loaded;
        const std::u16string named = zu::platform::GetEnvironmentText(u"ZU_TEST_SERVERS");
        loaded.Load(LocalPathOfServerPath(Utf8(named), zu::platform::PathSeparator()));
        return loaded;
    }();
    return table;
}

std::vector<std::string> CRecordedRequest::HeaderValues(const std::string& name) const
{
    std::vector<std::string> values;
    const std::string wanted = Lower(name);
    for (const auto& header : m_Headers)
        if (Lower(header.first) == wanted)
            values.push_back(header.second);
    return values;
}

std::string CRecordedRequest::Header(const std::string& name) const
{
    const std::vector<std::string> values = HeaderValues(name);
    return values.empty() ? std::string() : values.front();
}

std::vector<CRecordedRequest> ParseRecordedRequests(const std::string& jsonLines)
{
    std::vector<CRecordedRequest> requests;
    for (const std::string& line : SplitLines(jsonLines)) {
        CRecordedRequest request;
        if (ParseRecordedRequest(line, request))
            requests.push_back(std::move(request));
    }
    return requests;
}

std::vector<CRecordedRequest> RecordedRequests(const std::string& pathPrefix)
{
    std::vector<CRecordedRequest> matching;
    for (CRecordedRequest& request : ParseRecordedRequests(ReadFile(ServerPath("ODD_REQUESTS"))))
        if (request.m_strPath.rfind(pathPrefix, 0) == 0)
            matching.push_back(std::move(request));
    return matching;
}

std::vector<std::string> ServerLogLines(const std::string& name)
{
    std::vector<std::string> lines = SplitLines(ReadFile(ServerPath(name)));
    if (!lines.empty() && lines.back().empty())
        lines.pop_back();
    return lines;
}

std::string AccessLogField(const std::string& line, const std::string& key)
{
    const std::string opening = key + "=\"";
    size_t nStart = 0;
    while ((nStart = line.find(opening, nStart)) != std::string::npos && nStart > 0 && line[nStart - 1] != ' ')
        nStart += opening.size();
    if (nStart == std::string::npos)
        return std::string();
    nStart += opening.size();
    const size_t nEnd = line.find('"', nStart);
    if (nEnd == std::string::npos)
        return std::string();
    std::string value;
    for (size_t i = nStart; i < nEnd; ++i) {
        if (line[i] == '\\' && i + 3 < nEnd && line[i + 1] == 'x' && HexDigit(line[i + 2]) >= 0 &&
            HexDigit(line[i + 3]) >= 0) {
            value += static_cast<char>(HexDigit(line[i + 2]) * 16 + HexDigit(line[i + 3]));
            i += 3;
        } else {
            value += line[i];
        }
    }
    return value;
}

}  // namespace zutest
