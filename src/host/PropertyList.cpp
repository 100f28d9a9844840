#include "host/PropertyList.h"

namespace zu::host {

namespace {

bool SameIgnoringCase(const std::u16string& a, const std::u16string& b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i) {
        const auto lower = [](char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c; };
        if (lower(a[i]) != lower(b[i]))
            return false;
    }
    return true;
}

std::u16string Trimmed(const std::u16string& text)
{
    const size_t first = text.find_first_not_of(u" \t");
    if (first == std::u16string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(u" \t") - first + 1);
}

}  // namespace

bool CPropertyList::Parse(const std::u16string& text)
{
    m_Sections.clear();
    std::u16string current;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find(u'\n', start);
        if (end == std::u16string::npos)
            end = text.size();
        std::u16string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == u'\r')
            line.pop_back();
        if (!ParseLine(line, current)) {
            m_Sections.clear();
            return false;
        }
        start = end + 1;
    }
    return true;
}

bool CPropertyList::ParseLine(const std::u16string& line, std::u16string& current)
{
    const std::u16string trimmed = Trimmed(line);
    if (trimmed.empty() || trimmed[0] == u';' || trimmed[0] == u'#')
        return true;
    if (trimmed[0] == u'[') {
        if (trimmed.back() != u']')
            return false;
        current = Trimmed(trimmed.substr(1, trimmed.size() - 2));
        SectionNamed(current);
        return true;
    }
    const size_t equals = line.find(u'=');
    if (equals == std::u16string::npos)
        return false;
    return SetValue(current, Trimmed(line.substr(0, equals)), line.substr(equals + 1));
}

std::u16string CPropertyList::ToText() const
{
    std::u16string text;
    for (const CSection& section : m_Sections) {
        if (!section.name.empty() || &section != &m_Sections.front())
            text += u"[" + section.name + u"]\r\n";
        for (const auto& pair : section.pairs)
            text += pair.first + u"=" + pair.second + u"\r\n";
    }
    return text;
}

bool CPropertyList::HasValue(const std::u16string& section, const std::u16string& key) const
{
    const CSection* pSection = FindSection(section);
    if (!pSection)
        return false;
    for (const auto& pair : pSection->pairs) {
        if (SameIgnoringCase(pair.first, key))
            return true;
    }
    return false;
}

std::u16string CPropertyList::GetValue(const std::u16string& section, const std::u16string& key) const
{
    const CSection* pSection = FindSection(section);
    if (pSection) {
        for (const auto& pair : pSection->pairs) {
            if (SameIgnoringCase(pair.first, key))
                return pair.second;
        }
    }
    return {};
}

bool CPropertyList::SetValue(const std::u16string& section, const std::u16string& key, const std::u16string& value)
{
    if (value.find_first_of(u"\r\n") != std::u16string::npos || key.find_first_of(u"\r\n=") != std::u16string::npos)
        return false;
    CSection& target = SectionNamed(section);
    for (auto& pair : target.pairs) {
        if (SameIgnoringCase(pair.first, key)) {
            pair.second = value;
            return true;
        }
    }
    target.pairs.emplace_back(key, value);
    return true;
}

CPropertyList::CSection* CPropertyList::FindSection(const std::u16string& name)
{
    for (CSection& section : m_Sections) {
        if (SameIgnoringCase(section.name, name))
            return &section;
    }
    return nullptr;
}

const CPropertyList::CSection* CPropertyList::FindSection(const std::u16string& name) const
{
    return const_cast<CPropertyList*>(this)->FindSection(name);
}

CPropertyList::CSection& CPropertyList::SectionNamed(const std::u16string& name)
{
    if (CSection* pSection = FindSection(name))
        return *pSection;
    m_Sections.push_back(CSection{name, {}});
    return m_Sections.back();
}

}  // namespace zu::host
