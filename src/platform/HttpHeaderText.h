// How both Internet backends cut HTTP header text into lines and trim its values, for the narrow
// text of one and the wide text of the other.
#pragma once

#include <string>
#include <vector>

namespace zu::platform {

// The text without the blanks and tabs at either end.
template <typename TString>
TString TrimmedHeaderText(const TString& text)
{
    static constexpr typename TString::value_type s_Blanks[] = {' ', '\t', 0};
    const size_t nFirst = text.find_first_not_of(s_Blanks);
    if (nFirst == TString::npos)
        return TString();
    return text.substr(nFirst, text.find_last_not_of(s_Blanks) - nFirst + 1);
}

// The lines of a header text that hold more than blanks, split at CR, LF or both.
template <typename TString>
std::vector<TString> HeaderTextLines(const TString& text)
{
    static constexpr typename TString::value_type s_Breaks[] = {'\r', '\n', 0};
    std::vector<TString> lines;
    size_t nStart = 0;
    while (nStart < text.size()) {
        size_t nEnd = text.find_first_of(s_Breaks, nStart);
        if (nEnd == TString::npos)
            nEnd = text.size();
        TString line = text.substr(nStart, nEnd - nStart);
        if (!TrimmedHeaderText(line).empty())
            lines.push_back(std::move(line));
        nStart = nEnd + 1;
    }
    return lines;
}

}  // namespace zu::platform
