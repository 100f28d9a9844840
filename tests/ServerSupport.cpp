#include "ServerSupport.h"

#include "TestSupport.h"
#include "platform/System.h"
#include "platform/Text.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>

namespace zutest {
namespace {

std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

int HexDigit(char c)
{
    const char* const pszDigits = "0123456789abcdef";
    const char* pszAt = std::strchr(pszDigits, std::tolower(static_cast<unsigned char>(c)));
    return c != 0 && pszAt ? static_cast<int>(pszAt - pszDigits) : -1;
}

std::vector<std::string> SplitLines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line.empty() || line.back() != '\r' ? line : line.substr(0, line.size() - 1));
    return lines;
}

// The JSON string that starts at nAt, which moves past it. The odd server writes its record with
// Python's json.dumps (ASCII only): the only escapes are the short ones and \u00XX, since header
// bytes reach it as the code points U+0000..U+00FF; each becomes its byte again.
bool JsonString(const std::string& text, size_t& nAt, std::string& out)
{
    static const std::string kShort = "\"\"\\\\//b\bf\fn\nr\rt\t";
    for (++nAt; nAt < text.size(); ++nAt) {
        if (text[nAt] == '"') {
            ++nAt;
            return true;
        }
        if (text[nAt] != '\\' || nAt + 1 == text.size()) {
            out += text[nAt];
            continue;
        }
        const size_t nShort = kShort.find(text[++nAt]);
        if (nShort != std::string::npos && nShort % 2 == 0) {
            out += kShort[nShort + 1];
            continue;
        }
        const std::string hex = text.substr(nAt + 1, 4);
        if (text[nAt] != 'u' || hex.size() < 4 || hex.compare(0, 2, "00") != 0 || HexDigit(hex[2]) < 0 ||
            HexDigit(hex[3]) < 0)
            return false;
        out += static_cast<char>(HexDigit(hex[2]) * 16 + HexDigit(hex[3]));
        nAt += 4;
    }
    return false;
}

// A record line has one shape, {"method":"GET","path":"/x","headers":[["Name","value"],...],
// "raw_head":"...","body_length":0}, so its strings in order are the keys and values, and the
// number ends it.
bool ParseRecordedRequest(const std::string& line, CRecordedRequest& request)
{
    std::vector<std::string> strings;
    size_t nAt = line.find('"');
    while (nAt != std::string::npos) {
        strings.emplace_back();
        if (!JsonString(line, nAt, strings.back()))
            return false;
        nAt = line.find_first_of("\"}", nAt);
        if (nAt != std::string::npos && line[nAt] == '}')
            break;
    }
    const size_t nCount = strings.size();
    if (nAt == std::string::npos || nAt + 1 != line.size() || nCount < 8 || nCount % 2 != 0 ||
        strings[0] != "method" || strings[2] != "path" || strings[4] != "headers" ||
        strings[nCount - 3] != "raw_head" || strings.back() != "body_length")
        return false;
    request.m_strMethod = strings[1];
    request.m_strPath = strings[3];
    for (size_t i = 5; i + 4 < nCount; i += 2)
        request.m_Headers.emplace_back(strings[i], strings[i + 1]);
    request.m_strRawHead = strings[nCount - 2];
    request.m_nBodyLength = std::strtoll(line.c_str() + line.rfind(':') + 1, nullptr, 10);
    return true;
}

// Under Wine a Windows program sees the Unix root as drive Z:.
std::u16string LocalPathOfServerPath(const std::string& path)
{
    std::u16string local = zu::platform::Utf16FromUtf8(path);
    const char16_t separator = zu::platform::PathSeparator();
    if (separator == u'/' || local.empty() || local[0] != u'/')
        return local;
    std::replace(local.begin(), local.end(), u'/', separator);
    return u"Z:" + local;
}

std::u16string PortsFile()
{
    return LocalPathOfServerPath(Utf8(zu::platform::GetEnvironmentText(u"ZU_TEST_SERVERS")));
}

const std::map<std::string, std::string>& Servers()
{
    static const std::map<std::string, std::string> values = [] {
        std::map<std::string, std::string> loaded;
        for (const std::string& line : SplitLines(ReadFile(PortsFile()))) {
            const size_t nEquals = line.find('=');
            if (line[0] != '#' && nEquals != std::string::npos && nEquals > 0)
                loaded[line.substr(0, nEquals)] = line.substr(nEquals + 1);
        }
        return loaded;
    }();
    return values;
}

}  // namespace

bool ServersAvailable()
{
    return !Servers().empty();
}

std::string ServersUnavailableReason()
{
    return "the loopback test servers are not running (ZU_TEST_SERVERS=\"" + Utf8(PortsFile()) +
           "\" names no ports file); ctest starts them (fixture servers_start); by hand: tests/servers/start.sh DIR, "
           "run the tests with ZU_TEST_SERVERS=DIR/ports.env, then tests/servers/stop.sh DIR";
}

std::string ServerValue(const std::string& name)
{
    const auto found = Servers().find(name);
    return found == Servers().end() ? std::string() : found->second;
}

int ServerPort(const std::string& name)
{
    return std::atoi(ServerValue(name).c_str());
}

std::u16string ServerPath(const std::string& name)
{
    return LocalPathOfServerPath(ServerValue(name));
}

std::u16string ServerUrl(const std::string& name, const std::string& path, const std::string& login)
{
    const std::string scheme = name.find("HTTPS") != std::string::npos ? "https"
                               : name.rfind("FTP", 0) == 0          ? "ftp"
                                                                    : "http";
    return U16(scheme + "://" + (login.empty() ? "" : login + "@") + "127.0.0.1:" + ServerValue(name) +
               (path.empty() || path[0] != '/' ? "/" : "") + path);
}

std::string ServedPattern(const std::string& prefix)
{
    return PatternBytes(std::stoul(ServerValue(prefix + "PATTERN_SIZE")),
                        static_cast<uint32_t>(std::stoul(ServerValue(prefix + "PATTERN_SEED"))));
}

std::vector<std::string> CRecordedRequest::HeaderValues(const std::string& name) const
{
    std::vector<std::string> values;
    for (const auto& header : m_Headers)
        if (Lower(header.first) == Lower(name))
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
    return SplitLines(ReadFile(ServerPath(name)));
}

std::vector<std::string> LogLinesWith(const std::string& logName, const std::string& needle, uint32_t nWaitMs,
                                      size_t nAtLeast)
{
    for (const auto start = CClock::now();; zu::platform::SleepMilliseconds(50)) {
        std::vector<std::string> found;
        for (const std::string& line : ServerLogLines(logName))
            if (line.find(needle) != std::string::npos)
                found.push_back(line);
        if (found.size() >= nAtLeast || MillisecondsSince(start) > nWaitMs)
            return found;
    }
}

std::string AccessLogField(const std::string& line, const std::string& key)
{
    const std::string opening = " " + key + "=\"";
    const size_t nOpening = (" " + line).find(opening);  // whole names only: "auth" is not "pauth"
    const size_t nStart = nOpening + opening.size() - 1;
    const size_t nEnd = nOpening == std::string::npos ? nOpening : line.find('"', nStart);
    if (nEnd == std::string::npos)
        return std::string();
    std::string value;
    for (size_t i = nStart; i < nEnd; ++i) {
        const bool bEscape = line[i] == '\\' && i + 3 < nEnd && line[i + 1] == 'x' && HexDigit(line[i + 2]) >= 0 &&
                             HexDigit(line[i + 3]) >= 0;
        value += bEscape ? static_cast<char>(HexDigit(line[i + 2]) * 16 + HexDigit(line[i + 3])) : line[i];
        i += bEscape ? 3 : 0;
    }
    return value;
}

std::string UniqueTag(const char* pszWhat)
{
    static std::atomic<int> s_nCounter{0};
    return std::string(pszWhat) + "-" + std::to_string(zu::platform::TickCount()) + "-" +
           std::to_string(++s_nCounter);
}

std::u16string U16(const std::string& ascii)
{
    return std::u16string(ascii.begin(), ascii.end());
}

int64_t MillisecondsSince(CClock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(CClock::now() - start).count();
}

}  // namespace zutest
