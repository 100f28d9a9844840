// CPropertyList: the tools' property-list text, sections of key/value pairs.
//
// The text form, one item a line (lines end in LF or CR LF):
//   [Section]        starts a section; later pairs belong to it
//   Key=Value        a pair: the key is what stands before the first "=", blanks around it cut;
//                    the value is everything after it as it stands (it may hold "=" itself)
//   ; or #           at a line's start: a comment; blank lines are skipped
// Pairs before the first section header belong to the section named "". Section names and keys
// compare case-blind (ASCII letters); a key stored again replaces its value. A line that is none of
// these (text without "=", or "[" without its "]") makes the whole text unreadable.
// Values that hold lists use the separator their reader documents (a DVD rip description's
// "AudioStreamList" separates its entries with "|").
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace zu::host {

class CPropertyList {
public:
    // Replaces everything held with what text holds; false (and nothing held) when it is malformed.
    bool Parse(const std::u16string& text);
    // The text form of what is held, sections and pairs in the order they were first stored.
    std::u16string ToText() const;

    bool HasValue(const std::u16string& section, const std::u16string& key) const;
    // Empty when absent.
    std::u16string GetValue(const std::u16string& section, const std::u16string& key) const;
    // False when the value holds a line break, which the text form could not carry.
    bool SetValue(const std::u16string& section, const std::u16string& key, const std::u16string& value);

private:
    struct CSection {
        std::u16string name;
        std::vector<std::pair<std::u16string, std::u16string>> pairs;
    };

    CSection* FindSection(const std::u16string& name);
    const CSection* FindSection(const std::u16string& name) const;
    CSection& SectionNamed(const std::u16string& name);
    bool ParseLine(const std::u16string& line, std::u16string& current);

    std::vector<CSection> m_Sections;
};

}  // namespace zu::host
