// The arguments of one command: positional words, "--name value" options (repeatable), switches.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace zucli {

class CCommandLine {
public:
    // valueOptions take the next argument as their value; switches take none. Anything else that
    // starts with "-" is an error, reported by Error().
    CCommandLine(const std::vector<std::u16string>& arguments, const std::set<std::u16string>& valueOptions,
                 const std::set<std::u16string>& switches);

    const std::vector<std::u16string>& Positional() const { return m_Positional; }
    bool Has(const std::u16string& name) const;
    std::u16string Value(const std::u16string& name) const;
    std::vector<std::u16string> Values(const std::u16string& name) const;
    const std::u16string& Error() const { return m_Error; }

private:
    std::vector<std::u16string> m_Positional;
    std::multimap<std::u16string, std::u16string> m_Options;
    std::u16string m_Error;
};

// Decimal digits only (no sign, no blanks), at most nMax.
bool ParseCount(const std::u16string& text, uint64_t nMax, uint64_t& nValue);

std::string ToUtf8(const std::u16string& text);
std::u16string FromUtf8(const std::string& text);

}  // namespace zucli
