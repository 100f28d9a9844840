// CIcyMetadata: what an Internet-radio (ICY) stream says about itself, read from the two places it
// says it: the station header at the head of the stream (for servers whose header reaches us as
// body bytes) and the metadata blocks between the audio intervals. Titles are kept as the 8-bit
// text the station sent, cut to kMaxText bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

class CIcyMetadata {
public:
    static constexpr size_t kMaxText = 255;
    // How much of the stream's head is searched for the station header.
    static constexpr size_t kHeaderProbe = 1024;

    struct CStreamHeader {
        std::string m_Title;         // the "icy-name:" value, empty when absent
        std::string m_IntervalText;  // the "icy-metaint:" value as it stands
        size_t m_nHeaderLength = 0;  // bytes up to and including the blank line; 0 when none ends
    };

    // Reads the station header among the first bytes of a stream. Values are taken as they stand,
    // leading blanks included. A "Song-Name:" line gives way to "icy-name:", which always decides
    // the title, even when absent.
    static CStreamHeader ParseStreamHeader(const unsigned char* pBytes, size_t nLength);

    // Applies one metadata block to the title: the text of StreamTitle='...'; replaces it, a
    // StreamTitle without its closing "';" empties it, and a block without StreamTitle leaves it.
    // Answers whether the title changed.
    static bool ApplyBlock(const unsigned char* pBlock, size_t nLength, std::string& title);

    // The interval as C's atoi reads it: leading blanks, a sign, digits; anything else is 0.
    static int32_t ParseInterval(const std::string& text);

    // A title for the host: UTF-8 where the bytes are valid UTF-8, otherwise one character per
    // byte (ISO 8859-1), which is what stations without UTF-8 send.
    static std::u16string TitleToText(const std::string& title);
    static std::string TextToTitle(const std::u16string& text);
};
