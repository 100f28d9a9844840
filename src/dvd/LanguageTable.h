// The ISO 639-2 language names with their three- and two-letter codes, ordered by English name,
// ending in a row of three empty texts. Generated (make_language_table.py), checked in.
#pragma once

#include <cstddef>

namespace zu::dvd {

struct SLanguage {
    const char16_t* pszName;   // the English name, other names of the language after "; "
    const char16_t* pszCode3;  // ISO 639-2
    const char16_t* pszCode2;  // ISO 639-1, empty when the language has none
};

extern const SLanguage kLanguages[];
extern const size_t kLanguageCount;

}  // namespace zu::dvd
