#include "core/LocalReader.h"

#include "core/FunctionLog.h"
#include "platform/System.h"

#include <exception>

using namespace zu;
using namespace zu::platform;

namespace {

constexpr int kLastClassWithoutModernCache = 7;  // Windows XP

}  // namespace

CLocalReader::CLocalReader(const ZUCHAR* pszPath)
    : m_Path(pszPath ? reinterpret_cast<const char16_t*>(pszPath) : u""),
      m_nAccess(FILE_ACCESS_READ | FILE_ACCESS_WRITE),
      m_nShare(0)
{
    m_nType = ZU_READER_LOCAL;
}

CLocalReader::~CLocalReader()
{
    Close();
}

ZUBOOL CLocalReader::Create()
{
    return OpenInternal(true);
}

ZUBOOL CLocalReader::Open()
{
    return OpenInternal(false);
}

bool CLocalReader::OpenFile(uint32_t nDisposition)
{
    return m_File.Open(m_Path, m_nAccess, m_nShare, nDisposition, m_nHints);
}

ZUBOOL CLocalReader::OpenInternal(bool bCreate)
try {
    CFunctionLog log(LOG_READER, u"CLocalReader::OpenInternal");
    if (m_bOpen)
        return 1;
    const bool bReadOnlyRequest = GetOptionFlag(u"READ_ONLY");
    m_nShare = FILE_SHARE_READ_BIT | FILE_SHARE_WRITE_BIT | FILE_SHARE_DELETE_BIT;
    m_nAccess = bReadOnlyRequest ? FILE_ACCESS_READ : FILE_ACCESS_READ | FILE_ACCESS_WRITE;
    // Old systems cached random reads of large media files badly unless told.
    if (OperatingSystemClass() <= kLastClassWithoutModernCache)
        m_nHints |= FILE_HINT_RANDOM;

    if (bCreate) {
        log.Log(0, u"Creating: %s", m_Path);
        CreateFolders(FolderOf(m_Path));
        if (!OpenFile(FILE_CREATE_ALWAYS))
            return 0;
        m_bReadOnly = bReadOnlyRequest;
    } else {
        log.Log(0, u"Opening: %s", m_Path);
        if (!bReadOnlyRequest)
            OpenFile(FILE_OPEN_EXISTING);
        const bool bOpenedForWriting = m_File.IsOpen();
        if (!bOpenedForWriting) {
            // Read-only file, read-only medium, or another program holds it without share-write.
            m_nAccess = FILE_ACCESS_READ;
            if (!OpenFile(FILE_OPEN_EXISTING))
                return 0;
        }
        m_bReadOnly = bOpenedForWriting ? 0 : 1;
    }
    m_bOpen = 1;
    if (m_nPendingPosition != 0)
        SetPosition(m_nPendingPosition, m_nPendingOrigin);
    return 1;
} catch (const std::exception&) {
    return 0;
}

void CLocalReader::Close()
try {
    CFunctionLog log(LOG_READER, u"CLocalReader::Close");
    if (!m_bOpen)
        return;
    log.Log(0, u"Closing: %s", m_Path);
    m_File.Close();
    m_bOpen = 0;
    if (m_bDeleteOnClose)
        DeleteFileByName(m_Path);
} catch (const std::exception&) {
}

// Reads until the count is complete or the system delivers nothing, so a short count means end
// of file or a read error, also on pipes and growing files.
uint32_t CLocalReader::Read(void* pBuffer, uint32_t nCount)
{
    if (!m_bOpen)
        return 0;
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    auto* pBytes = static_cast<unsigned char*>(pBuffer);
    uint32_t nRemaining = nCount;
    uint32_t nTotal = 0;
    uint32_t nLast = 1;
    while (nRemaining >= 1 && nLast != 0) {
        if (!m_File.Read(pBytes + (nCount - nRemaining), nRemaining, nLast))
            break;
        nRemaining -= nLast;
        nTotal += nLast;
        if (nRemaining > 0)
            YieldThread();
    }
    return nTotal;
}

uint32_t CLocalReader::Write(const void* pBuffer, uint32_t nCount)
{
    if (!m_bOpen || m_bReadOnly)
        return 0;
    uint32_t nWritten = 0;
    m_File.Write(pBuffer, nCount, nWritten);
    return nWritten;
}

int64_t CLocalReader::GetLength()
try {
    return m_File.IsOpen() ? m_File.Size() : FileSizeByName(m_Path);
} catch (const std::exception&) {
    return -1;
}

int64_t CLocalReader::GetPosition()
{
    return m_bOpen ? m_File.Seek(0, ZU_SEEK_CURRENT) : -1;
}

int64_t CLocalReader::SetPosition(int64_t nOffset, uint32_t nOrigin)
{
    if (!m_bOpen) {
        m_nPendingPosition = nOffset;
        m_nPendingOrigin = nOrigin;
        return nOffset;
    }
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    return m_File.Seek(nOffset, nOrigin);
}

ZUBOOL CLocalReader::SetEndOfFile()
{
    CFunctionLog log(LOG_READER, u"CLocalReader::SetEndOfFile", true);
    if (!m_bOpen)
        return static_cast<ZUBOOL>(0xFFFFFFFFu);
    if (m_bReadOnly)
        return 0;
    return m_File.SetEndOfFile() ? 1 : 0;
}

ZUBOOL CLocalReader::IsLengthUnknown()
{
    return 0;
}

ZUBOOL CLocalReader::IsRemote()
{
    return 0;
}

ZUBOOL CLocalReader::IsOpen()
{
    return m_bOpen;
}

ZUBOOL CLocalReader::IsReadOnly()
{
    return m_bReadOnly;
}

int64_t CLocalReader::QueryReserved()
{
    return -1;
}
