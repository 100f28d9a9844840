#include "core/MemoryReader.h"

#include "core/FunctionLog.h"
#include "platform/Text.h"

#include <cstring>
#include <limits>
#include <new>

using namespace zu;

CMemoryReader::CMemoryReader(uint32_t nType)
{
    m_nType = nType;
    m_bOpen = 1;
}

void CMemoryReader::Borrow(const void* pData, int64_t nLength)
{
    const bool bEmpty = !pData || nLength < 1;
    m_pCopy.reset();
    m_pData = bEmpty ? nullptr : static_cast<const unsigned char*>(pData);
    m_nLength = bEmpty ? 0 : nLength;
    m_nPosition = 0;
}

bool CMemoryReader::Copy(const void* pData, int64_t nLength)
{
    Borrow(nullptr, 0);
    if (!pData || nLength < 1)
        return true;
    // Lengths come from the caller and may be anything up to 2 GB: a failed allocation is an
    // answer, not an abort.
    std::unique_ptr<unsigned char[]> pCopy(new (std::nothrow) unsigned char[static_cast<size_t>(nLength)]);
    if (!pCopy)
        return false;
    std::memcpy(pCopy.get(), pData, static_cast<size_t>(nLength));
    m_pCopy = std::move(pCopy);
    m_pData = m_pCopy.get();
    m_nLength = nLength;
    return true;
}

bool CMemoryReader::CopyText(const ZUCHAR* pszText, bool bAnsi)
{
    const std::u16string text(pszText ? reinterpret_cast<const char16_t*>(pszText) : u"");
    const std::string bytes = bAnsi ? platform::AnsiFromUtf16(text) : platform::Utf8FromUtf16(text);
    return Copy(bytes.data(), static_cast<int64_t>(bytes.size()));
}

ZUBOOL CMemoryReader::Open()
{
    CFunctionLog log(LOG_READER, u"CMemoryReader::Open");
    m_bOpen = 1;
    return 1;
}

// Nothing to release: the bytes live as long as the reader, and Read keeps serving them.
void CMemoryReader::Close()
{
    CFunctionLog log(LOG_READER, u"CMemoryReader::Close");
    m_bOpen = 0;
}

uint32_t CMemoryReader::Read(void* pBuffer, uint32_t nCount)
{
    const int64_t nAvailable = m_nLength - m_nPosition;
    const int64_t nBytes = nCount > nAvailable ? nAvailable : nCount;
    if (nBytes < 1 || !pBuffer)
        return 0;
    std::memcpy(pBuffer, m_pData + m_nPosition, static_cast<size_t>(nBytes));
    m_nPosition += nBytes;
    return static_cast<uint32_t>(nBytes);
}

uint32_t CMemoryReader::Write(const void*, uint32_t)
{
    return 0;
}

int64_t CMemoryReader::GetLength()
{
    return m_nLength;
}

int64_t CMemoryReader::GetPosition()
{
    return m_nPosition;
}

// An unknown origin keeps the position; the result is clamped to the data either way. A target
// beyond what 64 bits hold is no place at all, nor is an offset whose distance they cannot hold
// (the most negative one, which has no positive counterpart): refused, and the position stays.
int64_t CMemoryReader::SetPosition(int64_t nOffset, uint32_t nOrigin)
{
    if (nOffset == std::numeric_limits<int64_t>::min())
        return -1;
    int64_t nBase = 0;
    switch (nOrigin) {
    case ZU_SEEK_BEGIN: nBase = 0; break;
    case ZU_SEEK_CURRENT: nBase = m_nPosition; break;
    case ZU_SEEK_END: nBase = m_nLength; break;
    default: nBase = m_nPosition, nOffset = 0; break;
    }
    int64_t nTarget;
    if (__builtin_add_overflow(nBase, nOffset, &nTarget))
        return -1;
    m_nPosition = nTarget < 0 ? 0 : (nTarget > m_nLength ? m_nLength : nTarget);
    return m_nPosition;
}

ZUBOOL CMemoryReader::SetEndOfFile()
{
    return 0;
}

ZUBOOL CMemoryReader::IsLengthUnknown()
{
    return 0;
}

ZUBOOL CMemoryReader::IsRemote()
{
    return 0;
}

ZUBOOL CMemoryReader::IsOpen()
{
    return 1;
}

ZUBOOL CMemoryReader::IsReadOnly()
{
    return 1;
}
