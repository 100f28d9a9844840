// CSplitterReader: the splitter reader behind VSplitterReader.
#pragma once

#include <zureader/SplitterReader.h>

#include "buffering/ChunkNames.h"
#include "buffering/SplitterHeader.h"
#include "buffering/Stopwatch.h"

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

class CSplitterReader final : public VSplitterReader {
public:
    // nRefreshInterval: the least time in milliseconds between two reads of the header by a
    // reading instance; 0xFFFFFFFF reads it every time.
    CSplitterReader(const ZUCHAR* pszPath, int64_t nChunkSize, uint32_t nRefreshInterval);
    ~CSplitterReader() override;

    ZUBOOL Create() override;
    ZUBOOL Open() override;
    void Close() override;
    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    uint32_t Write(const void* pBuffer, uint32_t nCount) override;
    int64_t GetLength() override;
    int64_t GetPosition() override;
    int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) override;
    ZUBOOL SetEndOfFile() override { return 0; }
    ZUBOOL IsLengthUnknown() override { return 0; }
    ZUBOOL IsRemote() override { return m_bUrl; }
    ZUBOOL IsOpen() override;
    ZUBOOL IsReadOnly() override;

    ZUBOOL SetFirstNeededPosition(int64_t nPosition, ZUBOOL bDeleteNow) override;
    ZUBOOL KeepRangeUpTo(int64_t nPosition) override;
    void SetTemporaryNames(ZUBOOL bTemporary) override;
    void SetDeleteAllOnClose(ZUBOOL bDelete) override;
    ZUBOOL IsBeingWritten() override;

private:
    // Open, with no chunk open yet.
    ZUBOOL StartAtTheBeginning();
    bool RefreshHeader(bool bForced);
    void WriteRecord();
    // nIndex -1: the chunk after the current one.
    bool OpenChunk(int64_t nIndex);
    std::unique_ptr<VReader> OpenChunkFile(int64_t nIndex, bool bNew, bool bTemporary);
    void CloseChunk(bool bFinal);
    bool ReopenGrowingChunk();
    bool SkipToNextKeptChunk();
    uint32_t ReadFromChunk(unsigned char* pBuffer, uint32_t nWanted);
    uint32_t WriteIntoChunk(const unsigned char* pBuffer, uint32_t nCount);
    int64_t SeekTarget(int64_t nOffset, uint32_t nOrigin);
    void DeleteStaleChunks(bool bFinal);
    bool IsKept(int64_t nIndex) const;
    void DeleteChunk(int64_t nIndex);

    std::recursive_mutex m_Lock;  // guards every operation
    std::u16string m_Path;
    int64_t m_nTotalLength = 0;
    int64_t m_nChunkSize;
    ZUBOOL m_bUrl;
    bool m_bWrite = false;
    int64_t m_nCurrentChunk = -1;
    int64_t m_nChunkOffset = 0;
    std::unique_ptr<VReader> m_pChunk;
    CStopwatch m_HeaderTimer;
    CStopwatch m_ReopenTimer;
    uint32_t m_nRefreshInterval;
    bool m_bTemporaryNames = true;
    int64_t m_nFirstKept = 0;
    int64_t m_nRangeEnd = -1;
    int64_t m_nLastDeleted = -1;
    CSplitterHeader m_Header;
    CChunkNames m_Names;
    std::vector<std::pair<int64_t, int64_t>> m_KeptRanges;
    bool m_bDeleteAllOnClose = false;
};
