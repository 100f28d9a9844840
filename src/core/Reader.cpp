#include <zureader/Reader.h>

#include "core/DecimalText.h"
#include "platform/SystemString.h"

#include <exception>

VReader::~VReader() = default;

uint32_t VReader::GetType()
{
    return m_nType;
}

ZUBOOL VReader::Create()
{
    return 0;
}

ZUBOOL VReader::SetLengthHint(uint64_t)
{
    return 0;
}

ZUBSTR VReader::GetInfo(const ZUCHAR*)
{
    return zu::platform::AllocSystemString(u"", 0);
}

void VReader::SetTimeout(uint32_t nMilliseconds)
{
    m_nTimeout = nMilliseconds;
}

void VReader::SetPostData(const void* pData, uint32_t nLength)
{
    m_pPostData = pData;
    m_nPostDataLength = nLength;
}

// "KEY|VALUE|KEY|VALUE": fields are taken in pairs; an odd last field is a key without a value and
// is ignored rather than guessed at. With memory gone, the pairs not yet stored are dropped.
void VReader::SetOptions(const ZUCHAR* pszOptions)
try {
    if (!pszOptions)
        return;
    const std::u16string text(reinterpret_cast<const char16_t*>(pszOptions));
    std::u16string key;
    bool bHaveKey = false;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find(u'|', start);
        if (end == std::u16string::npos)
            end = text.size();
        std::u16string field = text.substr(start, end - start);
        if (bHaveKey) {
            SetOption(reinterpret_cast<const ZUCHAR*>(key.c_str()), reinterpret_cast<const ZUCHAR*>(field.c_str()));
        } else {
            key = std::move(field);
        }
        bHaveKey = !bHaveKey;
        start = end + 1;
    }
} catch (const std::exception&) {
}

// With memory gone the option is dropped: nothing may be thrown at the host.
void VReader::SetOption(const ZUCHAR* pszKey, const ZUCHAR* pszValue)
try {
    if (!pszKey)
        return;
    std::u16string value = pszValue ? std::u16string(reinterpret_cast<const char16_t*>(pszValue)) : std::u16string();
    m_Options[reinterpret_cast<const char16_t*>(pszKey)] = std::move(value);
} catch (const std::exception&) {
}

void VReader::SetDeleteOnClose(ZUBOOL bDelete)
{
    m_bDeleteOnClose = bDelete;
}

std::u16string VReader::GetOption(const std::u16string& key) const
{
    const auto pEntry = m_Options.find(key);
    return pEntry == m_Options.end() ? std::u16string() : pEntry->second;
}

bool VReader::GetOptionFlag(const std::u16string& key) const
{
    return CDecimalText::ToInt32(GetOption(key)) != 0;
}
