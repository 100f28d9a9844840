// CMediaTranscoderReader: the transcoder reader. A thin front of a streaming encoder: it passes the
// configuration on at Open and pulls the encoder's output, waiting while none is ready.
#pragma once

#include <zureader/TranscoderReader.h>

#include "transcode/StreamingEncoder.h"

#include <memory>

class CMediaTranscoderReader final : public VMediaTranscoderReader {
public:
    // The audio form (type 2): the encoder named, with its settings text and flag.
    CMediaTranscoderReader(const std::u16string& encoderName, const std::u16string& encoderSettings, uint32_t nFlag,
                           std::u16string sourcePath, std::u16string sourceType);
    // The video form (type 3): the video converter, handed nFlag at Open.
    CMediaTranscoderReader(std::u16string sourcePath, std::u16string sourceType, uint32_t nFlag);
    ~CMediaTranscoderReader() override;

    ZUBOOL Open() override;
    void Close() override;
    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    uint32_t Write(const void* pBuffer, uint32_t nCount) override;
    int64_t GetLength() override;
    int64_t GetPosition() override;
    int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) override;
    ZUBOOL SetEndOfFile() override;
    ZUBOOL SetLengthHint(uint64_t nLength) override;
    ZUBOOL IsLengthUnknown() override;
    ZUBOOL IsRemote() override;
    ZUBOOL IsOpen() override;
    ZUBOOL IsReadOnly() override;
    ZUBSTR GetInfo(const ZUCHAR* pszName) override;

    void SetStartTime(uint32_t nMilliseconds) override;
    void SetEncodeArgument(const ZUCHAR* pszText) override;

private:
    static constexpr uint32_t kWaitMs = 100;

    void WaitForOutput();

    std::unique_ptr<zu::transcode::CStreamingEncoder> m_pEncoder;
    std::u16string m_SourcePath;
    std::u16string m_SourceType;
    uint32_t m_nStartTime = 0;
    int64_t m_nStartOffset = 0;
    int64_t m_nLengthLimit = -1;
    uint32_t m_nOpenFlag = 0;
    // Set once the encoder answered the end: later reads answer 0 at once.
    bool m_bEnded = false;
};
