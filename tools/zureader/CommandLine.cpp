#include "CommandLine.h"

#include <zureader/TextConversion.h>

namespace zucli {

CCommandLine::CCommandLine(const std::vector<std::u16string>& arguments, const std::set<std::u16string>& valueOptions,
                           const std::set<std::u16string>& switches)
{
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::u16string& argument = arguments[i];
        if (argument.size() < 2 || argument[0] != u'-') {
            m_Positional.push_back(argument);
        } else if (switches.count(argument)) {
            m_Options.emplace(argument, u"");
        } else if (valueOptions.count(argument)) {
            if (i + 1 == arguments.size()) {
                m_Error = argument + u" needs a value";
                return;
            }
            m_Options.emplace(argument, arguments[++i]);
        } else {
            m_Error = u"unknown option " + argument;
            return;
        }
    }
}

bool CCommandLine::Has(const std::u16string& name) const
{
    return m_Options.count(name) != 0;
}

std::u16string CCommandLine::Value(const std::u16string& name) const
{
    const auto pEntry = m_Options.find(name);
    return pEntry == m_Options.end() ? std::u16string() : pEntry->second;
}

std::vector<std::u16string> CCommandLine::Values(const std::u16string& name) const
{
    std::vector<std::u16string> values;
    for (auto [p, end] = m_Options.equal_range(name); p != end; ++p)
        values.push_back(p->second);
    return values;
}

bool ParseCount(const std::u16string& text, uint64_t nMax, uint64_t& nValue)
{
    // Twenty digits hold any 64-bit count; more would overflow before the comparison.
    if (text.empty() || text.size() > 20)
        return false;
    uint64_t nTotal = 0;
    for (char16_t c : text) {
        if (c < u'0' || c > u'9')
            return false;
        const uint64_t nDigit = static_cast<uint64_t>(c - u'0');
        if (nDigit > nMax || nTotal > (nMax - nDigit) / 10)
            return false;
        nTotal = nTotal * 10 + nDigit;
    }
    nValue = nTotal;
    return true;
}

std::string ToUtf8(const std::u16string& text)
{
    return zureader::Utf8FromUtf16(text);
}

std::u16string FromUtf8(const std::string& text)
{
    return zureader::Utf16FromUtf8(text);
}

}  // namespace zucli
