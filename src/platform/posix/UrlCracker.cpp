// The system cracker's rules, reproduced: <scheme>:[//[<user>[:<password>]@]<host>[:<port>]][<path>][<extra>]
// with the Windows cracker's quirks kept where callers could see them: the port is read the way
// the C library reads a long and then cut to 16 bits, a path without extra information ends at a
// line feed, "file" URLs become DOS paths, "res" hosts keep their colons.
#include "platform/UrlCracker.h"

#include <cstdint>
#include <utility>

namespace zu::platform {
namespace {

constexpr size_t npos = std::u16string::npos;

bool IsAsciiLetter(char16_t c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

bool IsAsciiDigit(char16_t c)
{
    return c >= u'0' && c <= u'9';
}

bool IsSchemeCharacter(char16_t c)
{
    return IsAsciiLetter(c) || IsAsciiDigit(c) || c == u'+' || c == u'-' || c == u'.';
}

// The blanks the C library's wide number parsing skips.
bool IsNumberBlank(char16_t c)
{
    return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
           c == 0x3000;
}

// The decimal value of a digit of any of the scripts the C library's wide number parsing reads,
// -1 for anything else.
int DigitValue(char16_t c)
{
    static constexpr char16_t kZeros[] = {0x0030, 0x0660, 0x06F0, 0x0966, 0x09E6, 0x0A66,
                                          0x0AE6, 0x0B66, 0x0C66, 0x0CE6, 0x0D66, 0x0E50,
                                          0x0ED0, 0x0F20, 0x1040, 0x17E0, 0x1810, 0xFF10};
    for (char16_t zero : kZeros) {
        if (c >= zero && c <= zero + 9)
            return c - zero;
    }
    return -1;
}

// A 32-bit long read as the C library reads it (blanks, a sign, digits, saturating at the
// limits), then cut to its low 16 bits: "-1" is 65535 and "65536" is 0.
uint16_t PortNumberAt(const std::u16string& text, size_t nFrom)
{
    size_t i = nFrom;
    while (i < text.size() && IsNumberBlank(text[i]))
        ++i;
    bool bNegative = false;
    if (i < text.size() && (text[i] == u'+' || text[i] == u'-'))
        bNegative = text[i++] == u'-';
    int64_t nMagnitude = 0;
    constexpr int64_t kLimit = int64_t(INT32_MAX) + 1;
    for (int nDigit; i < text.size() && (nDigit = DigitValue(text[i])) >= 0; ++i)
        nMagnitude = nMagnitude >= kLimit ? kLimit : nMagnitude * 10 + nDigit;
    int32_t nValue;
    if (bNegative)
        nValue = nMagnitude >= kLimit ? INT32_MIN : static_cast<int32_t>(-nMagnitude);
    else
        nValue = nMagnitude > INT32_MAX ? INT32_MAX : static_cast<int32_t>(nMagnitude);
    return static_cast<uint16_t>(static_cast<uint32_t>(nValue) & 0xFFFFu);
}

uint16_t DefaultPort(int32_t nScheme)
{
    switch (nScheme) {
    case URL_SCHEME_FTP:
        return 21;
    case URL_SCHEME_HTTP:
        return 80;
    case URL_SCHEME_HTTPS:
        return 443;
    default:
        return 0;
    }
}

bool IsSlash(char16_t c)
{
    return c == u'/' || c == u'\\';
}

// "c:" or the escaped form "c|".
bool IsDriveAt(const std::u16string& text, size_t nAt)
{
    return nAt + 1 < text.size() && IsAsciiLetter(text[nAt]) && (text[nAt + 1] == u':' || text[nAt + 1] == u'|');
}

bool StartsWithLocalhostFolder(const std::u16string& text, size_t nAt)
{
    static constexpr char16_t kLocalhost[] = u"localhost";
    constexpr size_t nLength = sizeof(kLocalhost) / sizeof(kLocalhost[0]) - 1;
    if (text.size() < nAt + nLength + 1 || !IsSlash(text[nAt + nLength]))
        return false;
    for (size_t i = 0; i < nLength; ++i) {
        const char16_t c = text[nAt + i];
        const char16_t lower = (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c - u'A' + u'a') : c;
        if (lower != kLocalhost[i])
            return false;
    }
    return true;
}

int HexValue(char16_t c)
{
    if (IsAsciiDigit(c))
        return c - u'0';
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    return -1;
}

// "%XX" becomes the character XX; a "%" without two hexadecimal digits stays.
std::u16string Unescaped(const std::u16string& text)
{
    std::u16string result;
    result.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == u'%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 && HexValue(text[i + 2]) >= 0) {
            result += static_cast<char16_t>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
            i += 2;
        } else {
            result += text[i];
        }
    }
    return result;
}

void SlashesToBackslashes(std::u16string& text)
{
    for (char16_t& c : text) {
        if (c == u'/')
            c = u'\\';
    }
}

// The DOS path of a whole "file:" URL whose path begins with a slash: the number of slashes
// after "file:" tells a drive path (escaped or not), a local root path, "localhost" and a UNC
// share apart.
std::u16string DosPathOfFileUrl(const std::u16string& url)
{
    const size_t nAfterScheme = 5;  // "file:"
    size_t nSource = nAfterScheme;
    while (nSource < url.size() && IsSlash(url[nSource]))
        ++nSource;
    const size_t nSlashes = nSource - nAfterScheme;
    std::u16string path;
    bool bUnescape = true;
    switch (nSlashes) {
    case 0:
        break;
    case 1:
    case 3:
        if (!IsDriveAt(url, nSource))
            nSource -= 1;
        break;
    case 2:
        if (StartsWithLocalhostFolder(url, nSource)) {
            nSource += 10;
        } else if (IsDriveAt(url, nSource)) {
            bUnescape = false;
        } else {
            // A server name: keep the two slashes, so the path becomes \\server\...
            while (nSource < url.size() && !IsSlash(url[nSource]))
                ++nSource;
            path = url.substr(nAfterScheme, nSource - nAfterScheme);
            if (nSource < url.size() && IsDriveAt(url, nSource + 1))
                ++nSource;
        }
        break;
    case 4:
        bUnescape = false;
        if (IsDriveAt(url, nSource))
            break;
        nSource -= 2;
        break;
    default:
        nSource -= 2;
        break;
    }
    path += url.substr(nSource);
    SlashesToBackslashes(path);
    if (IsDriveAt(path, 0))
        path[1] = u':';
    return bUnescape ? Unescaped(path) : path;
}

// A path that ends in a "." or ".." segment gets a closing backslash.
void CloseDotSegment(std::u16string& path)
{
    const size_t n = path.size();
    if (n < 2 || path[n - 1] != u'.')
        return;
    if (path[n - 2] == u'\\' || (n >= 3 && path[n - 2] == u'.' && path[n - 3] == u'\\'))
        path += u'\\';
}

class CCracker {
public:
    CCracker(const std::u16string& url, CUrlComponents& components)
        : m_Url(url.substr(0, url.find(u'\0'))), m_Parts(components)
    {
    }

    bool Crack()
    {
        const size_t nColon = SchemeEnd();
        if (nColon == npos)
            return false;
        m_Parts.strScheme = m_Url.substr(0, nColon);
        m_Parts.nScheme = SchemeNumberOfName(m_Parts.strScheme);
        m_nExtra = m_Url.find_first_of(u"?#", nColon);
        if (m_nExtra != npos)
            m_Parts.strExtra = m_Url.substr(m_nExtra);
        m_nAt = nColon + 1;
        if (m_Url.compare(m_nAt, 2, u"//") == 0) {
            m_nAt += 2;
            CrackNetLocation();
        }
        CrackPath();
        return true;
    }

private:
    // The ":" after a non-empty scheme word, npos when the text has none.
    size_t SchemeEnd() const
    {
        size_t i = 0;
        while (i < m_Url.size() && IsSchemeCharacter(m_Url[i]))
            ++i;
        return (i > 0 && i < m_Url.size() && m_Url[i] == u':') ? i : npos;
    }

    // The location ends at the first "/" or at the extra information.
    void CrackNetLocation()
    {
        size_t nEnd = m_Url.find(u'/', m_nAt);
        if (m_nExtra != npos && (nEnd == npos || m_nExtra < nEnd))
            nEnd = m_nExtra;
        if (nEnd == npos)
            nEnd = m_Url.size();
        CrackCredentials(nEnd);
        if (m_Parts.nScheme == URL_SCHEME_RES) {
            m_Parts.strHost = m_Url.substr(m_nAt, nEnd - m_nAt);
            m_nAt = nEnd;
            return;
        }
        const size_t nPortColon = PortColon(nEnd);
        const size_t nHostEnd = nPortColon == npos ? nEnd : nPortColon;
        // A "file" location of one letter is a drive, and the path starts there.
        if (m_Parts.nScheme == URL_SCHEME_FILE && nHostEnd - m_nAt <= 1)
            return;
        m_Parts.strHost = m_Url.substr(m_nAt, nHostEnd - m_nAt);
        m_Parts.nPort = nPortColon == npos ? DefaultPort(m_Parts.nScheme) : PortNumberAt(m_Url, nPortColon + 1);
        m_nAt = nEnd;
    }

    // Credentials end at the first "@" of the rest of the text when it lies inside the location;
    // the password starts after the last ":" before it.
    void CrackCredentials(size_t nEnd)
    {
        const size_t nAtSign = m_Url.find(u'@', m_nAt);
        if (nAtSign == npos || nAtSign > nEnd)
            return;
        const size_t nColon = m_Url.rfind(u':', nAtSign);
        if (nColon != npos && nColon >= m_nAt) {
            m_Parts.strUser = m_Url.substr(m_nAt, nColon - m_nAt);
            m_Parts.strPassword = m_Url.substr(nColon + 1, nAtSign - nColon - 1);
        } else {
            m_Parts.strUser = m_Url.substr(m_nAt, nAtSign - m_nAt);
        }
        m_nAt = nAtSign + 1;
    }

    // The last ":" of the host part; an IPv6 literal in brackets hides the colons inside it.
    size_t PortColon(size_t nEnd) const
    {
        size_t nFrom = m_nAt;
        if (nFrom < nEnd && m_Url[nFrom] == u'[') {
            const size_t nClose = m_Url.find(u']', nFrom);
            if (nClose != npos && nClose < nEnd)
                nFrom = nClose;
        }
        if (nFrom >= nEnd)
            return npos;
        const size_t nColon = m_Url.rfind(u':', nEnd - 1);
        return (nColon != npos && nColon >= nFrom) ? nColon : npos;
    }

    void CrackPath()
    {
        if (m_nAt >= m_Url.size() || (m_nExtra != npos && m_nAt > m_nExtra))
            return;
        size_t nLength;
        if (m_nExtra != npos) {
            nLength = m_nExtra - m_nAt;
        } else {
            const size_t nLineFeed = m_Url.find(u'\n', m_nAt);
            nLength = (nLineFeed == npos ? m_Url.size() : nLineFeed) - m_nAt;
        }
        if (m_Parts.nScheme != URL_SCHEME_FILE) {
            m_Parts.strPath = m_Url.substr(m_nAt, nLength);
            return;
        }
        if (m_Url[m_nAt] == u'/') {
            m_Parts.strPath = DosPathOfFileUrl(m_Url);
        } else {
            m_Parts.strPath = m_Url.substr(m_nAt, nLength);
            SlashesToBackslashes(m_Parts.strPath);
        }
        CloseDotSegment(m_Parts.strPath);
    }

    const std::u16string m_Url;
    CUrlComponents& m_Parts;
    size_t m_nExtra = npos;
    size_t m_nAt = 0;
};

// Each component must leave room for its terminating zero in a buffer as long as the text.
bool FitsBuffers(const CUrlComponents& parts, size_t nCapacity)
{
    for (const std::u16string* pPart : {&parts.strScheme, &parts.strHost, &parts.strUser, &parts.strPassword,
                                        &parts.strPath, &parts.strExtra}) {
        if (pPart->size() >= nCapacity)
            return false;
    }
    return true;
}

}  // namespace

bool CrackUrl(const std::u16string& url, CUrlComponents& components)
{
    CUrlComponents parts;
    if (!CCracker(url, parts).Crack() || !FitsBuffers(parts, url.size()))
        return false;
    components = std::move(parts);
    return true;
}

}  // namespace zu::platform
