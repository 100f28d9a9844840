// CLocalReader: a VReader over a file on a local or network drive. Falls back to read-only access
// when the file cannot be opened for writing, remembers a seek made before it is opened, and can
// delete its file when it closes.
#pragma once

#include <zureader/Reader.h>

#include "platform/File.h"

#include <mutex>

class CLocalReader : public VReader {
public:
    explicit CLocalReader(const ZUCHAR* pszPath);
    ~CLocalReader() override;

    ZUBOOL Create() override;
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

    // A reserved slot after the reader interface's own; it answers -1.
    virtual int64_t QueryReserved();

private:
    ZUBOOL OpenInternal(bool bCreate);
    bool OpenFile(uint32_t nDisposition);

    std::u16string m_Path;
    std::recursive_mutex m_Lock;  // serialises Read and SetPosition between a worker and a client
    zu::platform::CFile m_File;
    uint32_t m_nAccess;
    uint32_t m_nShare;
    uint32_t m_nHints = 0;
    ZUBOOL m_bReadOnly = 0;
    int64_t m_nPendingPosition = 0;  // 0 means none: a pending seek to 0 is indistinguishable
    uint32_t m_nPendingOrigin = 0;
};
