#include "buffering/IcyMetadata.h"

#include "core/DecimalText.h"
#include "platform/Text.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr char kTitleKey[] = "StreamTitle='";
constexpr char kTitleEnd[] = "';";

// The bytes between key and terminator, cut to the longest value kept; empty when either is
// missing.
std::string ValueAfter(const std::string& text, const char* pszKey, const char* pszTerminator)
{
    const size_t nKey = text.find(pszKey);
    if (nKey == std::string::npos)
        return {};
    const size_t nStart = nKey + std::strlen(pszKey);
    const size_t nEnd = text.find(pszTerminator, nStart);
    if (nEnd == std::string::npos)
        return {};
    return text.substr(nStart, std::min(nEnd - nStart, CIcyMetadata::kMaxText));
}

}  // namespace

CIcyMetadata::CStreamHeader CIcyMetadata::ParseStreamHeader(const unsigned char* pBytes, size_t nLength)
{
    // The header is searched as text: the last probed byte ends the text and a NUL among the
    // others must not end it early.
    std::string text(reinterpret_cast<const char*>(pBytes), std::min(nLength, kHeaderProbe - 1));
    std::replace(text.begin(), text.end(), '\0', '\n');

    CStreamHeader header;
    // A "Song-Name:" title is read and then replaced by the "icy-name:" look-up whatever it
    // finds: the station's name is the title a stream starts with. The artist is not kept.
    header.m_Title = ValueAfter(text, "Song-Name:", "\n");
    header.m_Title = ValueAfter(text, "icy-name:", "\r\n");
    header.m_IntervalText = ValueAfter(text, "icy-metaint:", "\r\n");

    size_t nEnd = text.find("\r\n\r\n");
    if (nEnd != std::string::npos) {
        header.m_nHeaderLength = nEnd + 4;
    } else if ((nEnd = text.find("\n\n")) != std::string::npos) {
        header.m_nHeaderLength = nEnd + 2;
    }
    return header;
}

bool CIcyMetadata::ApplyBlock(const unsigned char* pBlock, size_t nLength, std::string& title)
{
    // Blocks are NUL-padded text; the text ends at the first NUL.
    const auto* pText = reinterpret_cast<const char*>(pBlock);
    const std::string text(pText, std::find(pText, pText + nLength, '\0'));
    const size_t nKey = text.find(kTitleKey);
    if (nKey == std::string::npos)
        return false;
    const std::string previous = title;
    title = ValueAfter(text.substr(nKey), kTitleKey, kTitleEnd);
    return title != previous;
}

int32_t CIcyMetadata::ParseInterval(const std::string& text)
{
    return CDecimalText::ToInt32(std::u16string(text.begin(), text.end()));
}

std::u16string CIcyMetadata::TitleToText(const std::string& title)
{
    std::u16string text = zu::platform::Utf16FromUtf8(title);
    if (zu::platform::Utf8FromUtf16(text) == title)
        return text;
    std::u16string latin;
    for (const char c : title)
        latin += static_cast<char16_t>(static_cast<unsigned char>(c));
    return latin;
}

std::string CIcyMetadata::TextToTitle(const std::u16string& text)
{
    // A reader that decoded the station's bytes one to one gives them back the same way.
    const bool bBytes = std::all_of(text.begin(), text.end(), [](char16_t c) { return c <= 0xFF; });
    std::string title = bBytes ? std::string(text.begin(), text.end()) : zu::platform::Utf8FromUtf16(text);
    if (title.size() > kMaxText)
        title.resize(kMaxText);
    return title;
}
