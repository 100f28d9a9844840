#include "net/RequestText.h"

namespace {

bool IsTokenCharacter(char16_t c)
{
    if ((c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'))
        return true;
    return std::u16string(u"!#$%&'*+-.^_`|~").find(c) != std::u16string::npos;
}

bool IsHeaderLine(const std::u16string& line)
{
    const size_t colon = line.find(u':');
    return colon != std::u16string::npos && CRequestText::IsToken(line.substr(0, colon)) &&
           CRequestText::IsOneLine(line.substr(colon + 1));
}

}  // namespace

bool CRequestText::IsOneLine(const std::u16string& text)
{
    return text.find_first_of(std::u16string(u"\r\n\0", 3)) == std::u16string::npos;
}

bool CRequestText::IsToken(const std::u16string& text)
{
    for (char16_t c : text) {
        if (!IsTokenCharacter(c))
            return false;
    }
    return !text.empty();
}

bool CRequestText::IsDigits(const std::u16string& text, bool bEmptyAllowed)
{
    for (char16_t c : text) {
        if (c < u'0' || c > u'9')
            return false;
    }
    return bEmptyAllowed || !text.empty();
}

bool CRequestText::IsHeaderLines(const std::u16string& text)
{
    size_t start = 0;
    do {
        size_t end = text.find(u"\r\n", start);
        if (end == std::u16string::npos)
            end = text.size();
        if (!IsHeaderLine(text.substr(start, end - start)))
            return false;
        start = end + 2;
    } while (start < text.size());
    return true;
}
