// Base64 with the RFC 4648 alphabet and "=" padding.
#pragma once

#include <string>

namespace zu::host {

class CBase64 {
public:
    // With nLineLength above 0, a line feed goes before each further 4-character group once a line
    // holds nLineLength characters (the form HTTP Basic credentials have always been sent in here).
    static std::string Encode(const std::string& bytes, size_t nLineLength = 0);
    // Skips line breaks; false on any other character outside the alphabet or bad padding.
    static bool Decode(const std::string& text, std::string& bytes);
};

}  // namespace zu::host
