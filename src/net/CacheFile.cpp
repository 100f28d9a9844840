#include "net/CacheFile.h"

#include "core/Log.h"
#include "host/TempFileName.h"

#include <cerrno>

using namespace zu;
using namespace zu::platform;

namespace {

constexpr char16_t kBaseName[] = u"BufferedInternetReader";
constexpr char16_t kExtension[] = u"dat";

}  // namespace

CCacheFile::~CCacheFile()
{
    Close();
}

bool CCacheFile::Create(int64_t nSize)
{
    Close();
    const uint32_t nFlags = FILE_FLAG_OWNER_ONLY_BIT | FILE_FLAG_DELETE_ON_CLOSE_BIT | FILE_HINT_RANDOM;
    const bool bCreated = host::CTempFileName::Create(
        kBaseName, kExtension,
        [this, nFlags](const std::u16string& name) {
            if (m_File.Open(name, FILE_ACCESS_READ | FILE_ACCESS_WRITE,
                            FILE_SHARE_READ_BIT | FILE_SHARE_WRITE_BIT | FILE_SHARE_DELETE_BIT, FILE_CREATE_NEW, nFlags))
                return host::CTempFileName::EAttempt::Created;
            return FileSizeByName(name) >= 0 || IsDirectory(name) ? host::CTempFileName::EAttempt::NameTaken
                                                                   : host::CTempFileName::EAttempt::Failed;
        },
        m_Path);
    if (!bCreated) {
        Log(LOG_READER, u"CCacheFile::Create", u"The cache file %s could not be made: error %u", m_Path, LastError());
        return false;
    }
    // Where a file cannot be sparse it takes the room at once, which is still correct.
    m_File.MakeSparse();
    if (nSize > 0 && (m_File.Seek(nSize, 0) != nSize || !m_File.SetEndOfFile())) {
        Log(LOG_READER, u"CCacheFile::Create", u"The cache file %s could not be given %I64d bytes: error %u", m_Path,
            nSize, LastError());
        Close();
        return false;
    }
    return true;
}

void CCacheFile::Close()
{
    if (!m_File.IsOpen())
        return;
    // Opened to be deleted on close: the system does it on Windows even when the process dies.
    m_File.Close();
}

uint32_t CCacheFile::Read(int64_t nOffset, void* pBuffer, uint32_t nCount)
{
    uint32_t nRead = 0;
    m_File.ReadAt(nOffset, pBuffer, nCount, nRead);
    return nRead;
}

bool CCacheFile::Write(int64_t nOffset, const void* pBuffer, uint32_t nCount, uint32_t& nError)
{
    uint32_t nWritten = 0;
    if (m_File.WriteAt(nOffset, pBuffer, nCount, nWritten) && nWritten == nCount)
        return true;
    nError = LastError();
    return false;
}
