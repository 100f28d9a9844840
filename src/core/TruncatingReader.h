// CTruncatingReader: shows a consumer that trusts GetLength (a parser, a player) a stream no longer
// than a limit. It caps the length it reports and each single read at the limit, and forwards
// everything else to the inner reader, which it owns.
//
// It keeps no count of the bytes already delivered and does not limit seeks: a consumer that reads
// on past GetLength gets the inner reader's bytes, up to the limit per call. Callers rely on that,
// so it stays so.
#pragma once

#include <zureader/WrappingReader.h>

class CTruncatingReader : public VWrappingReader {
public:
    CTruncatingReader(VReader* pInner, int64_t nLimit);

    ZUBOOL Create() override;
    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    int64_t GetLength() override;
    ZUBOOL SetLengthHint(uint64_t nLength) override;

private:
    const int64_t m_nLimit;
};
