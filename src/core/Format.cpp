#include "core/Format.h"

#include "platform/Text.h"

#include <cstdio>

namespace zu {
namespace {

std::atomic<uint64_t> g_nFormatCalls{0};

struct CSpec {
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

// Parses the specification after "%"; leaves p on the character after the conversion.
CSpec ParseSpec(const char16_t*& p)
{
    CSpec spec;
    while (IsFlag(*p))
        spec.flags += static_cast<char>(*p++);
    if (*p >= u'0' && *p <= u'9')
        spec.nWidth = ReadNumber(p);
    if (*p == u'.') {
        ++p;
        spec.nPrecision = ReadNumber(p);
    }
    while (*p == u'l' || *p == u'h' || *p == u'z' || *p == u'L' || *p == u'q' || *p == u'j' || *p == u't')
        ++p;
    if (p[0] == u'I' && ((p[1] == u'6' && p[2] == u'4') || (p[1] == u'3' && p[2] == u'2')))
        p += 3;
    if (*p)
        spec.conversion = *p++;
    return spec;
}

std::string NarrowSpec(const CSpec& spec, const char* pszConversion)
{
    std::string text = "%" + spec.flags;
    if (spec.nWidth >= 0)
        text += std::to_string(spec.nWidth);
    if (spec.nPrecision >= 0)
        text += "." + std::to_string(spec.nPrecision);
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

std::u16string Pad(std::u16string text, const CSpec& spec)
{
    if (spec.nPrecision >= 0 && text.size() > static_cast<size_t>(spec.nPrecision))
        text.resize(spec.nPrecision);
    if (spec.nWidth > 0 && text.size() < static_cast<size_t>(spec.nWidth)) {
        const std::u16string fill(spec.nWidth - text.size(), u' ');
        text = spec.flags.find('-') != std::string::npos ? text + fill : fill + text;
    }
    return text;
}

std::u16string Convert(const CSpec& spec, const CFormatArg& arg)
{
    switch (spec.conversion) {
    case u'd':
    case u'i':
        return Printf(NarrowSpec(spec, "lld"), arg.Signed());
    case u'u':
        return Printf(NarrowSpec(spec, "llu"), arg.Unsigned());
    case u'x':
        return Printf(NarrowSpec(spec, "llx"), arg.Unsigned());
    case u'X':
        return Printf(NarrowSpec(spec, "llX"), arg.Unsigned());
    case u'o':
        return Printf(NarrowSpec(spec, "llo"), arg.Unsigned());
    case u'f':
    case u'e':
    case u'g':
    case u'E':
    case u'G': {
        const char conversion[2] = {static_cast<char>(spec.conversion), 0};
        return Printf(NarrowSpec(spec, conversion), arg.Real());
    }
    case u'c':
        return Pad(std::u16string(1, static_cast<char16_t>(arg.Unsigned())), spec);
    case u'p':
        return Printf(NarrowSpec(spec, "llx"), arg.Unsigned());
    default:  // s, S
        return Pad(arg.Text(), spec);
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
        const CSpec spec = ParseSpec(p);
        if (!spec.conversion)
            break;
        // A specification without its argument prints nothing rather than reading past the list.
        if (nNext < nArgs)
            out += Convert(spec, pArgs[nNext++]);
    }
    return out;
}

uint64_t FormatCallCount()
{
    return g_nFormatCalls.load(std::memory_order_relaxed);
}

}  // namespace zu
