// printf-style formatting into UTF-16 with arguments checked at compile time: each argument is
// captured with its type, so "%s" with a number or "%d" with a text prints something sensible
// instead of reading the wrong bytes.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace zu {

class CFormatArg {
public:
    enum EKind { SIGNED, UNSIGNED, REAL, TEXT16, TEXT8, POINTER };

    CFormatArg(int value) : m_eKind(SIGNED), m_nSigned(value) {}
    CFormatArg(long value) : m_eKind(SIGNED), m_nSigned(value) {}
    CFormatArg(long long value) : m_eKind(SIGNED), m_nSigned(value) {}
    CFormatArg(unsigned value) : m_eKind(UNSIGNED), m_nUnsigned(value) {}
    CFormatArg(unsigned long value) : m_eKind(UNSIGNED), m_nUnsigned(value) {}
    CFormatArg(unsigned long long value) : m_eKind(UNSIGNED), m_nUnsigned(value) {}
    CFormatArg(double value) : m_eKind(REAL), m_dReal(value) {}
    CFormatArg(const char16_t* psz) : m_eKind(TEXT16), m_pText16(psz) {}
    CFormatArg(const std::u16string& text) : m_eKind(TEXT16), m_pText16(text.c_str()) {}
    CFormatArg(const char* psz) : m_eKind(TEXT8), m_pText8(psz) {}
    CFormatArg(const std::string& text) : m_eKind(TEXT8), m_pText8(text.c_str()) {}
    CFormatArg(const void* p) : m_eKind(POINTER), m_pPointer(p) {}

    EKind Kind() const { return m_eKind; }
    long long Signed() const;
    unsigned long long Unsigned() const;
    double Real() const;
    std::u16string Text() const;

private:
    EKind m_eKind;
    union {
        long long m_nSigned;
        unsigned long long m_nUnsigned;
        double m_dReal;
        const char16_t* m_pText16;
        const char* m_pText8;
        const void* m_pPointer;
    };
};

// Formats with the conversions %d %i %u %x %X %o %c %s %S %f %e %g %p and %%, with flags, width,
// precision and length modifiers (l, ll, h, I64, which are accepted and ignored).
std::u16string FormatArgs(const char16_t* pszFormat, const CFormatArg* pArgs, size_t nArgs);

template <class... TArgs>
std::u16string Format(const char16_t* pszFormat, const TArgs&... args)
{
    const CFormatArg list[] = {CFormatArg(args)..., CFormatArg(0)};
    return FormatArgs(pszFormat, list, sizeof...(TArgs));
}

// How many texts have been formatted in this process; lets tests prove that a disabled log line
// costs no formatting.
uint64_t FormatCallCount();

}  // namespace zu
