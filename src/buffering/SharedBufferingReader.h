// CSharedBufferingReader: one writer's or reader's view of a path's shared cache: its own position
// over the bytes that the cache and the file hold between them. Opening and closing do nothing;
// the cache lives from the first view of its path to the last.
#pragma once

#include <zureader/Reader.h>

#include "buffering/SharedBufferingReaderHelper.h"

class CSharedBufferingReader final : public VReader {
public:
    // Holds one reference of pHelper, given up at destruction.
    explicit CSharedBufferingReader(CSharedBufferingReaderHelper* pHelper) : m_pHelper(pHelper) {}
    ~CSharedBufferingReader() override;

    ZUBOOL Create() override { return 1; }
    ZUBOOL Open() override { return 1; }
    void Close() override {}
    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    uint32_t Write(const void* pBuffer, uint32_t nCount) override;
    int64_t GetLength() override;
    int64_t GetPosition() override { return m_nPosition; }
    int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) override;
    ZUBOOL SetEndOfFile() override;
    ZUBOOL IsLengthUnknown() override { return 0; }
    ZUBOOL IsRemote() override { return 0; }
    ZUBOOL IsOpen() override { return 1; }
    ZUBOOL IsReadOnly() override { return m_pHelper->HasSink() ? 0 : 1; }

private:
    CSharedBufferingReaderHelper* m_pHelper;
    int64_t m_nPosition = 0;
};
