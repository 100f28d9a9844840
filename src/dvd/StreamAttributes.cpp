#include "dvd/StreamAttributes.h"

#include "dvd/LanguageTable.h"

namespace zu::dvd {

namespace {

std::u16string Number(int nValue)
{
    const std::string text = std::to_string(nValue);
    return std::u16string(text.begin(), text.end());
}

const char16_t* AudioCodingName(int nCoding)
{
    switch (nCoding) {
    case 0: return u"AC3";
    case 2: return u"MPEG-1";
    case 3: return u"MPEG-2";
    case 4: return u"LPCM";
    case 6: return u"DTS";
    default: return u"Undefined";
    }
}

const char16_t* QuantisationName(int nValue)
{
    static const char16_t* const kNames[] = {u"16 bps", u"20 bps", u"24 bps", u"DRC"};
    return nValue >= 0 && nValue < 4 ? kNames[nValue] : u"";
}

const char16_t* AudioExtensionName(int nValue)
{
    switch (nValue) {
    case 2: return u"For visually impaired";
    case 3: return u"Directors comments";
    case 4: return u"Alternate directors comments";
    default: return u"";
    }
}

// The program's own numbering, one below the values discs carry for captions and commentary.
const char16_t* SubpictureExtensionName(int nValue)
{
    static const char16_t* const kNames[] = {u"Large", u"Children", u"Normal captions", u"Large captions",
                                             u"Children's captions", u"", u"Director comments",
                                             u"Large director comments", u"Director comments for children"};
    return nValue >= 2 && nValue <= 10 ? kNames[nValue - 2] : u"";
}

char16_t LowerAscii(uint8_t nByte)
{
    return nByte >= 'A' && nByte <= 'Z' ? static_cast<char16_t>(nByte + 32) : static_cast<char16_t>(nByte);
}

}  // namespace

CStreamAttributes CStreamAttributes::Video(const uint8_t* pBlock)
{
    CStreamAttributes attributes(0xE0);
    attributes.Set(u"Stream: Type", VIDEO);
    attributes.Set(u"Stream: ID", 224);
    attributes.Set(u"Stream: Video Letterboxed", pBlock[1] & 4);
    const bool bPal = (pBlock[0] & 0x30) == 1;
    attributes.Set(u"Stream: Video Standard", bPal ? u"PAL" : u"NTSC");
    // The aspect shares the standard's key.
    if ((pBlock[0] & 0x0C) == 0)
        attributes.Set(u"Stream: Video Standard", u"4:3");
    static const int kWidths[] = {720, 704, 352, 352};
    const int kHeights[] = {480, bPal ? 576 : 480, bPal ? 576 : 480, bPal ? 288 : 240};
    const int nResolution = pBlock[1] & 0x38;
    if (nResolution < 4) {
        attributes.Set(u"Stream: Video Xres", kWidths[nResolution]);
        attributes.Set(u"Stream: Video Yres", kHeights[nResolution]);
    }
    return attributes;
}

// Audio and sub-pictures share private stream 1, told apart by their sub-stream ids.
CStreamAttributes CStreamAttributes::PrivateStream(EKind eKind, uint8_t nOutputId, int nSubStream, const uint8_t* pBlock)
{
    CStreamAttributes attributes(nOutputId);
    attributes.Set(u"Stream: Type", eKind);
    attributes.Set(u"Stream: ID", 189);
    attributes.Set(u"SubStream: ID", nSubStream);
    attributes.Set(u"Stream: Language", LanguageName(pBlock[2], pBlock[3]));
    return attributes;
}

CStreamAttributes CStreamAttributes::Audio(const uint8_t* pBlock, int nIndex)
{
    CStreamAttributes attributes = PrivateStream(AUDIO, 0x80, 128 + nIndex, pBlock);
    attributes.Set(u"Stream: Encoding", AudioCodingName(pBlock[0] & 0xE0));
    attributes.Set(u"Stream: Lang Extension", AudioExtensionName(pBlock[5]));
    attributes.Set(u"Stream: Karaoke", pBlock[0] & 0x10);
    attributes.Set(u"Stream: Audio Application", pBlock[0] & 3);
    attributes.Set(u"Stream: Audio BPS", QuantisationName(pBlock[1] & 0xC0));
    attributes.Set(u"Stream: Audio Sample Rate", (pBlock[1] & 0x30) == 0 ? u"48Kbps" : u"");
    attributes.Set(u"Stream: Audio Channels", (pBlock[1] & 7) + 1);
    return attributes;
}

CStreamAttributes CStreamAttributes::Subpicture(const uint8_t* pBlock, int nIndex)
{
    CStreamAttributes attributes = PrivateStream(SUBPICTURE, 0x20, 32 + nIndex, pBlock);
    attributes.Set(u"Stream: Encoding", (pBlock[0] & 0xE0) == 0 ? u"2-bit RLE" : u"");
    attributes.Set(u"Stream: Lang Extension", SubpictureExtensionName(pBlock[5]));
    return attributes;
}

std::u16string CStreamAttributes::GetValue(const std::u16string& key) const
{
    const auto found = m_Properties.find(key);
    return found == m_Properties.end() ? std::u16string() : found->second;
}

// "%c%c" of the bytes: a zero byte ends the code there.
std::u16string CStreamAttributes::LanguageName(uint8_t nFirst, uint8_t nSecond)
{
    std::u16string code;
    if (nFirst != 0) {
        code += LowerAscii(nFirst);
        if (nSecond != 0)
            code += LowerAscii(nSecond);
    }
    for (size_t i = 0; i < kLanguageCount; ++i) {
        if (code == kLanguages[i].pszCode2) {
            const std::u16string name = kLanguages[i].pszName;
            return name.substr(0, name.find(u';'));
        }
    }
    return {};
}

void CStreamAttributes::Set(const std::u16string& key, const std::u16string& value)
{
    m_Properties[key] = value;
}

void CStreamAttributes::Set(const std::u16string& key, int nValue)
{
    Set(key, Number(nValue));
}

}  // namespace zu::dvd
