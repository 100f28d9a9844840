// CRequestText: checks of the texts a caller hands the Internet reader that end up on the wire (the
// URL, the agent, the verb, credentials, ranges, extra header lines, the shared cookie). A CR, LF
// or NUL in any of them would end a header line early, add lines of the caller's choosing or start
// a second request on the same connection, so such a text is refused before anything is sent.
#pragma once

#include <string>

class CRequestText {
public:
    // No CR, LF or NUL anywhere.
    static bool IsOneLine(const std::u16string& text);
    // A non-empty HTTP token: what a method or a header's name may be.
    static bool IsToken(const std::u16string& text);
    // Decimal digits only; empty when bEmptyAllowed.
    static bool IsDigits(const std::u16string& text, bool bEmptyAllowed);
    // One or more "Name: value" lines, each ended by CRLF (the last one's optional): no empty line,
    // no bare CR or LF, no NUL, and every name a token.
    static bool IsHeaderLines(const std::u16string& text);
};
