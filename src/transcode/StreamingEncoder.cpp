#include "transcode/StreamingEncoder.h"

#include <zureader/ZUReader.h>

#include "core/FunctionLog.h"
#include "host/TempFileName.h"
#include "platform/File.h"

#include <algorithm>
#include <climits>

namespace zu::transcode {
namespace {

constexpr uint32_t kSkipChunk = 65536;

}  // namespace

CStreamingEncoder::CStreamingEncoder() = default;

CStreamingEncoder::~CStreamingEncoder()
{
    StopAndDiscardOutput();
}

void CStreamingEncoder::StopAndDiscardOutput()
{
    Stop(-1);
    m_pOutputReader.reset();
    const std::u16string path = GetOutputPath();
    if (m_bDeleteOutput && !path.empty() && platform::FileSizeByName(path) >= 0)
        platform::DeleteFileByName(path);
}

void CStreamingEncoder::SetStartTime(uint32_t nMilliseconds)
{
    m_nStartTime = nMilliseconds;
}

void CStreamingEncoder::SetStartOffset(int64_t nOffset)
{
    m_nStartOffset = nOffset;
}

void CStreamingEncoder::SetLengthLimit(int64_t nLimit)
{
    m_nLengthLimit = nLimit;
}

void CStreamingEncoder::SetOutputPath(const std::u16string& path)
{
    std::lock_guard<std::mutex> lock(m_PathLock);
    m_OutputPath = path;
}

std::u16string CStreamingEncoder::GetOutputPath()
{
    std::lock_guard<std::mutex> lock(m_PathLock);
    return m_OutputPath;
}

bool CStreamingEncoder::MakeOutputFile(const std::u16string& base, const std::u16string& extension)
{
    std::u16string path;
    const bool bMade = host::CTempFileName::Create(
        base, extension,
        [](const std::u16string& name) {
            platform::CFile file;
            if (file.Open(name, platform::FILE_ACCESS_WRITE, platform::FILE_SHARE_READ_BIT, platform::FILE_CREATE_NEW,
                          platform::FILE_FLAG_OWNER_ONLY_BIT))
                return host::CTempFileName::EAttempt::Created;
            return platform::FileSizeByName(name) >= 0 || platform::IsDirectory(name)
                       ? host::CTempFileName::EAttempt::NameTaken
                       : host::CTempFileName::EAttempt::Failed;
        },
        path);
    if (bMade)
        SetOutputPath(path);
    return bMade;
}

ZUBOOL CStreamingEncoder::OpenReader()
{
    CFunctionLog log(LOG_READER, u"CStreamingEncoder::OpenReader");
    const std::u16string path = GetOutputPath();
    m_pOutputReader.reset(GetGenericReader(reinterpret_cast<const ZUCHAR*>(path.c_str())));
    if (m_pOutputReader)
        m_pOutputReader->SetOption(reinterpret_cast<const ZUCHAR*>(u"READ_ONLY"), reinterpret_cast<const ZUCHAR*>(u"1"));
    if (!m_pOutputReader || !m_pOutputReader->Open()) {
        log.Log(u"Reader creation or Open() failed.");
        m_pOutputReader.reset();
        return 0;
    }
    m_nOutputPosition = 0;
    return 1;
}

bool CStreamingEncoder::SkipToStartOffset()
{
    // The offset may lie past what the provider has written so far: skip as the file grows, not
    // with a seek that a file shorter than the offset would refuse.
    while (m_nOutputPosition < m_nStartOffset) {
        m_SkipBuffer.resize(kSkipChunk);
        const auto nWanted = static_cast<uint32_t>(std::min<int64_t>(kSkipChunk, m_nStartOffset - m_nOutputPosition));
        const uint32_t nRead = m_pOutputReader->Read(m_SkipBuffer.data(), nWanted);
        if (nRead == 0)
            return false;
        m_nOutputPosition += nRead;
    }
    m_SkipBuffer = {};
    return true;
}

int32_t CStreamingEncoder::ReadOutput(void* pBuffer, uint32_t nBytes)
{
    uint32_t nWanted = std::min<uint32_t>(nBytes, INT32_MAX);
    if (m_nLengthLimit >= 0)
        nWanted = static_cast<uint32_t>(std::min<int64_t>(nWanted, m_nLengthLimit - m_nOutputPosition));
    if (nWanted == 0)
        return 0;
    const uint32_t nRead = m_pOutputReader->Read(pBuffer, nWanted);
    m_nOutputPosition += nRead;
    return static_cast<int32_t>(nRead);
}

int32_t CStreamingEncoder::GetData(void* pBuffer, uint32_t nBytes)
{
    if (!m_pOutputReader || GetOutputPath().empty())
        return 0;
    // The limit counts from the file's start, the start offset too: a limit at or below the offset
    // leaves nothing to hand out.
    if (m_nLengthLimit >= 0 && std::max(m_nOutputPosition, m_nStartOffset) >= m_nLengthLimit)
        return -1;
    // Asked before the read: bytes the worker wrote just before it ended are still read below.
    const bool bRunning = IsRunning() != 0;
    if (!SkipToStartOffset())
        return bRunning ? 0 : -1;
    const int32_t nRead = ReadOutput(pBuffer, nBytes);
    if (nRead > 0)
        return nRead;
    return bRunning ? 0 : -1;
}

}  // namespace zu::transcode
