// CHttpHeaderList: the ordered "Name: value" lines of a request or a response. Names compare
// without regard to case; a name may occur several times, and each occurrence is an instance.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zu::platform {

class CHttpHeaderList {
public:
    // One or more lines separated by CR, LF or both, applied in order with the INET_ADDREQ_FLAG_*
    // modifiers. A line without a colon continues the previous line's value, so that a long
    // Base64 value broken over lines stays one value. On failure, nError holds why and the lines
    // before the failing one stay applied.
    bool Apply(const std::string& text, uint32_t nModifiers, uint32_t& nError);

    void Add(const std::string& name, const std::string& value);
    void Remove(const std::string& name);
    // The value of instance nIndex of the name, or null.
    const std::string* Find(const std::string& name, uint32_t nIndex = 0) const;
    bool Contains(const std::string& name) const { return Find(name) != nullptr; }

    // "Name: value\r\n" for every header, in order.
    std::string Text() const;
    const std::vector<std::pair<std::string, std::string>>& Items() const { return m_Items; }
    void Clear() { m_Items.clear(); }

private:
    bool ApplyLine(const std::string& name, const std::string& value, uint32_t nModifiers, uint32_t& nError);
    int IndexOf(const std::string& name) const;

    std::vector<std::pair<std::string, std::string>> m_Items;
};

}  // namespace zu::platform
