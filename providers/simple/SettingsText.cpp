#include "SettingsText.h"

#include <cstdlib>

namespace zu::simple {

std::string Narrow(const ZUCHAR* pszText)
{
    std::string text;
    for (; pszText && *pszText; ++pszText)
        text += *pszText < 128 ? static_cast<char>(*pszText) : '?';
    return text;
}

double SettingNumber(const std::string& settings, const std::string& key, double fallback, bool& bOk)
{
    size_t start = 0;
    while (start <= settings.size()) {
        size_t end = settings.find(';', start);
        if (end == std::string::npos)
            end = settings.size();
        const std::string pair = settings.substr(start, end - start);
        const size_t equals = pair.find('=');
        if (equals != std::string::npos && pair.substr(0, equals) == key) {
            const std::string value = pair.substr(equals + 1);
            char* pEnd = nullptr;
            const double number = std::strtod(value.c_str(), &pEnd);
            bOk = bOk && !value.empty() && *pEnd == '\0';
            return number;
        }
        start = end + 1;
    }
    return fallback;
}

}  // namespace zu::simple
