#include "transcode/MediaTranscoderReader.h"

#include "core/FunctionLog.h"
#include "platform/File.h"
#include "platform/System.h"
#include "platform/SystemString.h"
#include "platform/Text.h"
#include "transcode/AudioStreamingEncoder.h"
#include "transcode/VideoStreamingEncoder.h"

#include <cstdint>
#include <exception>
#include <string>

using namespace zu;
using namespace zu::transcode;

namespace {

const ZUInterfaceId kVideoConverterId = ZU_IID_VIDEO_CONVERTER;

}  // namespace

CMediaTranscoderReader::CMediaTranscoderReader(const std::u16string& encoderName,
                                               const std::u16string& encoderSettings, uint32_t nFlag,
                                               std::u16string sourcePath, std::u16string sourceType)
    : m_pEncoder(std::make_unique<CAudioStreamingEncoder>(encoderName, encoderSettings, nFlag)),
      m_SourcePath(std::move(sourcePath)), m_SourceType(std::move(sourceType))
{
    CFunctionLog log(LOG_READER, u"CMediaTranscoderReader::CMediaTranscoderReader (audio)");
    log.Log(u"Audio constructor using %s encoder", encoderName);
    m_nType = ZU_READER_MUSIC_TRANSCODER;
}

CMediaTranscoderReader::CMediaTranscoderReader(std::u16string sourcePath, std::u16string sourceType, uint32_t nFlag)
    : m_pEncoder(std::make_unique<CVideoStreamingEncoder>(kVideoConverterId)), m_SourcePath(std::move(sourcePath)),
      m_SourceType(std::move(sourceType)), m_nOpenFlag(nFlag)
{
    CFunctionLog log(LOG_READER, u"CMediaTranscoderReader::CMediaTranscoderReader (video)");
    log.Log(u"Video constructor");
    m_nType = ZU_READER_VIDEO_TRANSCODER;
}

CMediaTranscoderReader::~CMediaTranscoderReader()
{
    Close();
}

ZUBOOL CMediaTranscoderReader::Open()
try {
    CFunctionLog log(LOG_READER, u"CMediaTranscoderReader::Open");
    if (m_bOpen)
        return 1;
    if (!m_pEncoder)
        return 0;
    m_pEncoder->SetStartTime(m_nStartTime);
    m_pEncoder->SetStartOffset(m_nStartOffset);
    m_pEncoder->SetLengthLimit(m_nLengthLimit);
    log.Log(u"Starting with file %s, type %s", m_SourcePath, m_SourceType);
    m_bOpen = m_pEncoder->Open(m_SourcePath, m_SourceType, m_nOpenFlag);
    return m_bOpen;
} catch (const std::exception&) {
    return 0;
}

void CMediaTranscoderReader::Close()
{
    if (!m_bOpen)
        return;
    CFunctionLog log(LOG_READER, u"CMediaTranscoderReader::Close");
    m_bOpen = 0;
    m_pEncoder.reset();
    if (m_bDeleteOnClose && !platform::DeleteFileByName(m_SourcePath))
        log.Log(u"The source %s cannot be deleted", m_SourcePath);
}

uint32_t CMediaTranscoderReader::Read(void* pBuffer, uint32_t nCount)
{
    if (nCount == 0 || !m_bOpen || m_bEnded)
        return 0;
    auto* pBytes = static_cast<uint8_t*>(pBuffer);
    uint32_t nDone = 0;
    while (nDone < nCount) {
        const int32_t nGot = m_pEncoder->GetData(pBytes + nDone, nCount - nDone);
        if (nGot < 0) {
            m_bEnded = true;
            break;
        }
        if (nGot == 0)
            WaitForOutput();
        nDone += static_cast<uint32_t>(nGot);
    }
    return nDone;
}

// Waits the 100 ms for more output, but no longer once the worker has ended: the last bytes are
// then all in the file, and a full wait would only hold back the end of the stream.
void CMediaTranscoderReader::WaitForOutput()
{
    const uint32_t nWaited = m_pEncoder->WaitForStopOrExit(kWaitMs);
    // 0 with the worker still running means a stop was asked for, which does not end the wait.
    if (nWaited == 0 && m_pEncoder->IsRunning())
        platform::SleepMilliseconds(kWaitMs);
}

uint32_t CMediaTranscoderReader::Write(const void*, uint32_t)
{
    return 0;
}

int64_t CMediaTranscoderReader::GetLength()
{
    return -1;
}

int64_t CMediaTranscoderReader::GetPosition()
{
    return -1;
}

int64_t CMediaTranscoderReader::SetPosition(int64_t nOffset, uint32_t nOrigin)
{
    CFunctionLog log(LOG_READER, u"CMediaTranscoderReader::SetPosition");
    if (!m_bOpen && nOrigin == ZU_SEEK_BEGIN && nOffset >= 0)
        m_nStartOffset = nOffset;
    return -1;
}

ZUBOOL CMediaTranscoderReader::SetEndOfFile()
{
    return 0;
}

ZUBOOL CMediaTranscoderReader::SetLengthHint(uint64_t nLength)
{
    if (!m_bOpen)
        m_nLengthLimit = nLength > static_cast<uint64_t>(INT64_MAX) ? -1 : static_cast<int64_t>(nLength);
    return 1;
}

ZUBOOL CMediaTranscoderReader::IsLengthUnknown()
{
    return 1;
}

ZUBOOL CMediaTranscoderReader::IsRemote()
{
    return 0;
}

ZUBOOL CMediaTranscoderReader::IsOpen()
{
    return 1;
}

ZUBOOL CMediaTranscoderReader::IsReadOnly()
{
    return 1;
}

ZUBSTR CMediaTranscoderReader::GetInfo(const ZUCHAR* pszName)
try {
    const std::u16string name = pszName ? reinterpret_cast<const char16_t*>(pszName) : u"";
    std::u16string value;
    if (name == u"Length Estimate" && m_pEncoder)
        value = platform::Utf16FromUtf8(std::to_string(m_pEncoder->GetLengthEstimate()));
    else if (name == u"Can Truncate")
        value = m_bOpen ? u"" : u"Yes";
    else if (name == u"Transcoding")
        value = u"Yes";
    return platform::AllocSystemString(value);
} catch (const std::exception&) {
    return nullptr;
}

void CMediaTranscoderReader::SetStartTime(uint32_t nMilliseconds)
{
    m_nStartTime = nMilliseconds;
}

void CMediaTranscoderReader::SetEncodeArgument(const ZUCHAR* pszText)
{
    if (GetType() != ZU_READER_MUSIC_TRANSCODER || !m_pEncoder)
        return;
    static_cast<CAudioStreamingEncoder&>(*m_pEncoder).SetEncodeArgument(
        pszText ? reinterpret_cast<const char16_t*>(pszText) : u"");
}
