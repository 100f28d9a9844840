// Reads "Key=Value;Key=Value" settings texts (ASCII keys and numbers) for the simple provider.
#pragma once

#include <zureader/Types.h>

#include <string>

namespace zu::simple {

// The text narrowed to ASCII; other characters become '?'.
std::string Narrow(const ZUCHAR* pszText);
// The number given for key, or fallback when the key is absent; false in ok for a value that is
// not a number.
double SettingNumber(const std::string& settings, const std::string& key, double fallback, bool& bOk);

}  // namespace zu::simple
