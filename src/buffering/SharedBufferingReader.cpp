#include "buffering/SharedBufferingReader.h"

#include "buffering/SharedBufferingRegistry.h"
#include "core/FunctionLog.h"

#include <cstdlib>

using namespace zu;

CSharedBufferingReader::~CSharedBufferingReader()
{
    CSharedBufferingRegistry::Instance().Release(m_pHelper);
}

uint32_t CSharedBufferingReader::Read(void* pBuffer, uint32_t nCount)
{
    CFunctionLog log(LOG_READER, u"CSharedBufferingReader::Read");
    if (!pBuffer)
        return 0;
    const uint32_t nRead = m_pHelper->ReadAt(m_nPosition, pBuffer, nCount);
    m_nPosition += nRead;
    return nRead;
}

uint32_t CSharedBufferingReader::Write(const void* pBuffer, uint32_t nCount)
{
    CFunctionLog log(LOG_READER, u"CSharedBufferingReader::Write");
    if (!pBuffer)
        return 0;
    m_pHelper->WriteAt(m_nPosition, pBuffer, nCount);
    m_nPosition += nCount;
    return nCount;
}

int64_t CSharedBufferingReader::GetLength()
{
    return m_pHelper->GetLength();
}

// Never fails. From the end, only the offset's low 32 bits count, as a signed number whose
// distance from the end is taken whatever its sign.
int64_t CSharedBufferingReader::SetPosition(int64_t nOffset, uint32_t nOrigin)
{
    CFunctionLog log(LOG_READER, u"CSharedBufferingReader::SetPosition");
    if (nOrigin == ZU_SEEK_CURRENT) {
        m_nPosition += nOffset;
    } else if (nOrigin == ZU_SEEK_END) {
        const int64_t nBack = std::llabs(static_cast<int32_t>(static_cast<uint32_t>(nOffset)));
        const int64_t nTarget = GetLength() - nBack;
        m_nPosition = nTarget < 1 ? 0 : nTarget;
    } else {
        m_nPosition = nOffset;
    }
    return m_nPosition;
}

ZUBOOL CSharedBufferingReader::SetEndOfFile()
{
    CFunctionLog log(LOG_READER, u"CSharedBufferingReader::SetEndOfFile");
    return m_pHelper->SetEndOfFile();
}
