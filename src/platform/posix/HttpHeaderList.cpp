#include "platform/posix/HttpHeaderList.h"

#include "platform/HttpHeaderText.h"
#include "platform/Internet.h"

#include <strings.h>

namespace zu::platform {

bool CHttpHeaderList::Apply(const std::string& text, uint32_t nModifiers, uint32_t& nError)
{
    // Continuation lines are gathered first, so each header is judged once, whole.
    std::vector<std::pair<std::string, std::string>> headers;
    for (const std::string& line : HeaderTextLines(text)) {
        const size_t colon = line.find(':');
        if (colon == std::string::npos) {
            if (headers.empty()) {
                nError = INET_ERROR_HTTP_INVALID_HEADER;
                return false;
            }
            headers.back().second += TrimmedHeaderText(line);
            continue;
        }
        headers.emplace_back(TrimmedHeaderText(line.substr(0, colon)),
                             TrimmedHeaderText(line.substr(colon + 1)));
    }
    for (const auto& header : headers) {
        if (!ApplyLine(header.first, header.second, nModifiers, nError))
            return false;
    }
    return true;
}

bool CHttpHeaderList::ApplyLine(const std::string& name, const std::string& value, uint32_t nModifiers,
                                uint32_t& nError)
{
    if (name.empty() || name.find_first_of(" \t") != std::string::npos) {
        nError = INET_ERROR_HTTP_INVALID_HEADER;
        return false;
    }
    const int existing = IndexOf(name);
    if (nModifiers & INET_ADDREQ_FLAG_ADD_IF_NEW) {
        if (existing >= 0) {
            nError = INET_ERROR_HTTP_HEADER_ALREADY_EXISTS;
            return false;
        }
        Add(name, value);
        return true;
    }
    if (nModifiers & INET_ADDREQ_FLAG_REPLACE) {
        if (existing < 0) {
            if (!(nModifiers & INET_ADDREQ_FLAG_ADD)) {
                nError = INET_ERROR_HTTP_HEADER_NOT_FOUND;
                return false;
            }
            if (!value.empty())
                Add(name, value);
            return true;
        }
        Remove(name);
        if (!value.empty())
            m_Items.insert(m_Items.begin() + existing, {name, value});
        return true;
    }
    const bool bComma = (nModifiers & INET_ADDREQ_FLAG_COALESCE) != 0;
    const bool bSemicolon = (nModifiers & INET_ADDREQ_FLAG_COALESCE_WITH_SEMICOLON) != 0;
    if ((bComma || bSemicolon) && existing >= 0) {
        std::string& current = m_Items[existing].second;
        current += (bComma ? ", " : "; ") + value;
        return true;
    }
    Add(name, value);
    return true;
}

void CHttpHeaderList::Add(const std::string& name, const std::string& value)
{
    m_Items.emplace_back(name, value);
}

void CHttpHeaderList::Remove(const std::string& name)
{
    for (size_t i = m_Items.size(); i-- > 0;) {
        if (strcasecmp(m_Items[i].first.c_str(), name.c_str()) == 0)
            m_Items.erase(m_Items.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

const std::string* CHttpHeaderList::Find(const std::string& name, uint32_t nIndex) const
{
    for (const auto& item : m_Items) {
        if (strcasecmp(item.first.c_str(), name.c_str()) == 0 && nIndex-- == 0)
            return &item.second;
    }
    return nullptr;
}

int CHttpHeaderList::IndexOf(const std::string& name) const
{
    for (size_t i = 0; i < m_Items.size(); ++i) {
        if (strcasecmp(m_Items[i].first.c_str(), name.c_str()) == 0)
            return static_cast<int>(i);
    }
    return -1;
}

std::string CHttpHeaderList::Text() const
{
    std::string text;
    for (const auto& item : m_Items)
        text += item.first + ": " + item.second + "\r\n";
    return text;
}

}  // namespace zu::platform
