#include "host/IniSettingsStore.h"

#include "platform/File.h"
#include "platform/System.h"
#include "platform/Text.h"

#include <cerrno>
#include <cstdlib>
#include <string>

namespace zu::host {
namespace {

using platform::Utf16FromUtf8;
using platform::Utf8FromUtf16;

// Values may hold any character; line breaks and backslashes are escaped so one value is one line.
std::string Escape(const std::string& text)
{
    std::string out;
    for (char c : text) {
        switch (c) {
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '=': out += "\\e"; break;
        case '[': out += "\\b"; break;
        default: out += c;
        }
    }
    return out;
}

std::string Unescape(const std::string& text)
{
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            out += text[i];
            continue;
        }
        switch (text[++i]) {
        case 'n': out += '\n'; break;
        case 'r': out += '\r'; break;
        case 'e': out += '='; break;
        case 'b': out += '['; break;
        default: out += text[i];
        }
    }
    return out;
}

std::string ReadWholeFile(const std::u16string& path)
{
    platform::CFile file;
    if (!file.Open(path, platform::FILE_ACCESS_READ, platform::FILE_SHARE_READ_BIT | platform::FILE_SHARE_WRITE_BIT,
                   platform::FILE_OPEN_EXISTING))
        return {};
    std::string contents;
    char buffer[4096];
    uint32_t nRead = 0;
    while (file.Read(buffer, sizeof(buffer), nRead) && nRead > 0)
        contents.append(buffer, nRead);
    return contents;
}

bool WriteWholeFile(const std::u16string& path, const std::string& contents)
{
    platform::CFile file;
    uint32_t nWritten = 0;
    return file.Open(path, platform::FILE_ACCESS_WRITE, 0, platform::FILE_CREATE_ALWAYS) &&
           file.Write(contents.data(), static_cast<uint32_t>(contents.size()), nWritten) &&
           nWritten == contents.size();
}

}  // namespace

CIniSettingsStore::CIniSettingsStore(std::u16string path) : m_Path(std::move(path)) {}

CIniSettingsStore::CContents CIniSettingsStore::Load() const
{
    CContents contents;
    const std::string text = ReadWholeFile(m_Path);
    CSection* pSection = nullptr;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(start, end - start);
        start = end + 1;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.size() >= 2 && line.front() == '[' && line.back() == ']') {
            pSection = &contents[Unescape(line.substr(1, line.size() - 2))];
            continue;
        }
        const size_t equals = line.find('=');
        if (pSection && equals != std::string::npos && line[0] != ';')
            (*pSection)[Unescape(line.substr(0, equals))] = Unescape(line.substr(equals + 1));
    }
    return contents;
}

bool CIniSettingsStore::Save(const CContents& contents) const
{
    std::string text;
    for (const auto& [section, values] : contents) {
        text += "[" + Escape(section) + "]\n";
        for (const auto& [name, value] : values)
            text += Escape(name) + "=" + Escape(value) + "\n";
        text += "\n";
    }
    platform::CreateFolders(platform::FolderOf(m_Path));
    const std::u16string temporary =
        m_Path + u"." + Utf16FromUtf8(std::to_string(platform::CurrentThreadId())) + u".tmp";
    if (WriteWholeFile(temporary, text) && platform::ReplaceFileWith(temporary, m_Path))
        return true;
    platform::DeleteFileByName(temporary);
    return false;
}

bool CIniSettingsStore::HasSection(const std::u16string& section)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    return Load().count(Utf8FromUtf16(section)) != 0;
}

bool CIniSettingsStore::ReadText(const std::u16string& section, const std::u16string& name, std::u16string& value)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    const CContents contents = Load();
    const auto pSection = contents.find(Utf8FromUtf16(section));
    if (pSection == contents.end())
        return false;
    const auto pValue = pSection->second.find(Utf8FromUtf16(name));
    if (pValue == pSection->second.end())
        return false;
    value = Utf16FromUtf8(pValue->second);
    return true;
}

bool CIniSettingsStore::ReadNumber(const std::u16string& section, const std::u16string& name, uint32_t& value)
{
    std::u16string text;
    if (!ReadText(section, name, text) || text.empty())
        return false;
    const std::string digits = Utf8FromUtf16(text);
    char* pEnd = nullptr;
    errno = 0;
    // Accepts decimal, 0x-prefixed hexadecimal and negative numbers (stored as their 32-bit pattern).
    const long long number = std::strtoll(digits.c_str(), &pEnd, 0);
    if (errno != 0 || *pEnd != '\0' || number < INT32_MIN || number > UINT32_MAX)
        return false;
    value = static_cast<uint32_t>(number);
    return true;
}

bool CIniSettingsStore::WriteText(const std::u16string& section, const std::u16string& name,
                                  const std::u16string& value)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    CContents contents = Load();
    contents[Utf8FromUtf16(section)][Utf8FromUtf16(name)] = Utf8FromUtf16(value);
    return Save(contents);
}

bool CIniSettingsStore::WriteNumber(const std::u16string& section, const std::u16string& name, uint32_t value)
{
    return WriteText(section, name, Utf16FromUtf8(std::to_string(value)));
}

bool CIniSettingsStore::DeleteValue(const std::u16string& section, const std::u16string& name)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    CContents contents = Load();
    const auto pSection = contents.find(Utf8FromUtf16(section));
    if (pSection == contents.end() || pSection->second.erase(Utf8FromUtf16(name)) == 0)
        return false;
    return Save(contents);
}

std::vector<std::u16string> CIniSettingsStore::ListSubsections(const std::u16string& section)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    const std::string prefix = Utf8FromUtf16(section) + "\\";
    std::vector<std::u16string> names;
    std::string previous;
    // Sections are sorted, so the ones below section follow each other and repeat only in a row.
    for (const auto& entry : Load()) {
        const std::string& name = entry.first;
        if (name.compare(0, prefix.size(), prefix) != 0)
            continue;
        const std::string child = name.substr(prefix.size(), name.find('\\', prefix.size()) - prefix.size());
        if (!child.empty() && child != previous)
            names.push_back(Utf16FromUtf8(child));
        previous = child;
    }
    return names;
}

}  // namespace zu::host
