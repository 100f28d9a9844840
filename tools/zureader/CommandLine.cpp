#include "CommandLine.h"

#include "platform/Text.h"

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

std::string ToUtf8(const std::u16string& text)
{
    return zu::platform::Utf8FromUtf16(text);
}

std::u16string FromUtf8(const std::string& text)
{
    return zu::platform::Utf16FromUtf8(text);
}

}  // namespace zucli
