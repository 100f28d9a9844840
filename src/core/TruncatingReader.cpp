#include "core/TruncatingReader.h"

CTruncatingReader::CTruncatingReader(VReader* pInner, int64_t nLimit) : VWrappingReader(pInner, EChild::OWNED), m_nLimit(nLimit)
{
    m_nType = ZU_READER_TRUNCATING;
}

// The truncated stream is never written from scratch, nor is its length announced.
ZUBOOL CTruncatingReader::Create()
{
    return 0;
}

ZUBOOL CTruncatingReader::SetLengthHint(uint64_t)
{
    return 0;
}

uint32_t CTruncatingReader::Read(void* pBuffer, uint32_t nCount)
{
    if (m_nLimit <= 0)
        return 0;
    if (nCount > m_nLimit)
        nCount = static_cast<uint32_t>(m_nLimit);
    return VWrappingReader::Read(pBuffer, nCount);
}

// Only the low 32 bits of the inner length are held against the limit, so an inner stream of
// 4 GiB and more can come through whole; consumers were built against exactly this answer.
int64_t CTruncatingReader::GetLength()
{
    const int64_t nInner = VWrappingReader::GetLength();
    if (nInner < 0)
        return m_nLimit;
    return static_cast<uint32_t>(nInner) <= m_nLimit ? nInner : m_nLimit;
}
