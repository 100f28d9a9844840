#include "core/Format.h"

#include "platform/Text.h"

#include <cstdio>

namespace zu {
namespace {

std::atomic<uint64_t> g_nFormatCalls{0};

struct CDirective {
    std::string flags;
    int nWidth = -1;
    int nPrecision = -1;
    char16_t conversion = 0;
};

bool IsFlag(char16_t c)
{
    return c == u'-' || c == u'0' || c == u'+' || c == u' ' || c == u'#';
}

int ReadNumber(const char16_t*& p)
{
    int n = 0;
    while (*p >= u'0' && *p <= u'9' && n < 100000)
        n = n * 10 + (*p++ - u'0');
    return n;
}

// Parses the directive after "%"; leaves p on the character after the conversion.
CDirective ParseDirective(const char16_t*& p)
{
    CDirective directive;
    while (IsFlag(*p))
        directive.flags += static_cast<char>(*p++);
    if (*p >= u'0' && *p <= u'9')
        directive.nWidth = ReadNumber(p);
    if (*p == u'.') {
        ++p;
        directive.nPrecision = ReadNumber(p);
    }
    while (*p == u'l' || *p == u'h' || *p == u'z' || *p == u'L' || *p == u'q' || *p == u'j' || *p == u't')
        ++p;
    if (p[0] == u'I' && ((p[1] == u'6' && p[2] == u'4') || (p[1] == u'3' && p[2] == u'2')))
        p += 3;
    if (*p)
        directive.conversion = *p++;
    return directive;
}

std::string NarrowDirective(const CDirective& directive, const char* pszConversion)
{
    std::string text = "%" + directive.flags;
    if (directive.nWidth >= 0)
        text += std::to_string(directive.nWidth);
    if (directive.nPrecision >= 0)
        text += "." + std::to_string(directive.nPrecision);
    return text + pszConversion;
}

template <class T>
std::u16string Printf(const std::string& format, T value)
{
    char buffer[512];
    int n = std::snprintf(buffer, sizeof(buffer), format.c_str(), value);
    if (n < 0)
        n = 0;
    if (static_cast<size_t>(n) >= sizeof(buffer))
        n = sizeof(buffer) - 1;
    return std::u16string(buffer, buffer + n);
}

std::u16string Pad(std::u16string text, const CDirective& directive)
{
    if (directive.nPrecision >= 0 && text.size() > static_cast<size_t>(directive.nPrecision))
        text.resize(directive.nPrecision);
    if (directive.nWidth > 0 && text.size() < static_cast<size_t>(directive.nWidth)) {
        const std::u16string fill(directive.nWidth - text.size(), u' ');
        text = directive.flags.find('-') != std::string::npos ? text + fill : fill + text;
    }
    return text;
}

std::u16string Convert(const CDirective& directive, const CFormatArg& arg)
{
    switch (directive.conversion) {
    case u'd':
    case u'i':
        return Printf(NarrowDirective(directive, "lld"), arg.Signed());
    case u'u':
        return Printf(NarrowDirective(directive, "llu"), arg.Unsigned());
    case u'x':
        return Printf(NarrowDirective(directive, "llx"), arg.Unsigned());
    case u'X':
        return Printf(NarrowDirective(directive, "llX"), arg.Unsigned());
    case u'o':
        return Printf(NarrowDirective(directive, "llo"), arg.Unsigned());
    case u'f':
    case u'e':
    case u'g':
    case u'E':
    case u'G': {
        const char conversion[2] = {static_cast<char>(directive.conversion), 0};
        return Printf(NarrowDirective(directive, conversion), arg.Real());
    }
    case u'c':
        return Pad(std::u16string(1, static_cast<char16_t>(arg.Unsigned())), directive);
    case u'p':
        return Printf(NarrowDirective(directive, "llx"), arg.Unsigned());
    default:  // s, S
        return Pad(arg.Text(), directive);
    }
}

}  // namespace

long long CFormatArg::Signed() const
{
    switch (m_eKind) {
    case SIGNED: return m_nSigned;
    case UNSIGNED: return static_cast<long long>(m_nUnsigned);
    case REAL: return static_cast<long long>(m_dReal);
    default: return 0;
    }
}

unsigned long long CFormatArg::Unsigned() const
{
    switch (m_eKind) {
    case SIGNED: return static_cast<unsigned long long>(m_nSigned);
    case UNSIGNED: return m_nUnsigned;
    case REAL: return static_cast<unsigned long long>(m_dReal);
    case POINTER: return reinterpret_cast<uintptr_t>(m_pPointer);
    default: return 0;
    }
}

double CFormatArg::Real() const
{
    switch (m_eKind) {
    case SIGNED: return static_cast<double>(m_nSigned);
    case UNSIGNED: return static_cast<double>(m_nUnsigned);
    case REAL: return m_dReal;
    default: return 0;
    }
}

std::u16string CFormatArg::Text() const
{
    switch (m_eKind) {
    case TEXT16: return m_pText16 ? m_pText16 : u"(null)";
    case TEXT8: return m_pText8 ? platform::Utf16FromUtf8(m_pText8) : u"(null)";
    case SIGNED: return Printf("%lld", m_nSigned);
    case UNSIGNED: return Printf("%llu", m_nUnsigned);
    case REAL: return Printf("%g", m_dReal);
    default: return Printf("%llx", Unsigned());
    }
}

std::u16string FormatArgs(const char16_t* pszFormat, const CFormatArg* pArgs, size_t nArgs)
{
    g_nFormatCalls.fetch_add(1, std::memory_order_relaxed);
    std::u16string out;
    if (!pszFormat)
        return out;
    size_t nNext = 0;
    for (const char16_t* p = pszFormat; *p;) {
        if (*p != u'%') {
            out += *p++;
            continue;
        }
        ++p;
        if (*p == u'%') {
            out += *p++;
            continue;
        }
        const CDirective directive = ParseDirective(p);
        if (!directive.conversion)
            break;
        // A directive without its argument prints nothing rather than reading past the list.
        if (nNext < nArgs)
            out += Convert(directive, pArgs[nNext++]);
    }
    return out;
}

uint64_t FormatCallCount()
{
    return g_nFormatCalls.load(std::memory_order_relaxed);
}

}  // namespace zu
