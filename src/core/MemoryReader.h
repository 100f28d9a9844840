// CMemoryReader: a read-only VReader over bytes already in memory, so that code written against
// readers can parse a buffer or a piece of text as if it were a file. It is open from construction;
// seeks outside the bytes are clamped, never refused.
#pragma once

#include <zureader/Reader.h>

#include <memory>

class CMemoryReader : public VReader {
public:
    // nType is the code GetType answers: ZU_READER_MEMORY or ZU_READER_STRING. No bytes until
    // Borrow or Copy.
    explicit CMemoryReader(uint32_t nType);

    // Reads the caller's bytes in place; they must stay valid and unchanged for the reader's life.
    // A null pointer or a length below 1 leaves the reader empty.
    void Borrow(const void* pData, int64_t nLength);
    // Reads a copy of its own; false (and empty) when the copy cannot be allocated.
    bool Copy(const void* pData, int64_t nLength);
    // Copies a zero-terminated text as UTF-8 (bAnsi false) or in the system's ANSI code page,
    // without the terminating zero; a null text is an empty one.
    bool CopyText(const ZUCHAR* pszText, bool bAnsi);

    ZUBOOL Open() override;
    void Close() override;
    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    uint32_t Write(const void* pBuffer, uint32_t nCount) override;
    int64_t GetLength() override;
    int64_t GetPosition() override;
    int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) override;
    ZUBOOL SetEndOfFile() override;
    ZUBOOL IsLengthUnknown() override;
    ZUBOOL IsRemote() override;
    ZUBOOL IsOpen() override;
    ZUBOOL IsReadOnly() override;

private:
    const unsigned char* m_pData = nullptr;
    int64_t m_nLength = 0;
    int64_t m_nPosition = 0;
    std::unique_ptr<unsigned char[]> m_pCopy;
};
