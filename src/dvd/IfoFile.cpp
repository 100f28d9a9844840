#include "dvd/IfoFile.h"

#include "platform/File.h"

namespace zu::dvd {

using namespace zu::platform;

bool CIfoFile::Load()
{
    m_Data.clear();
    CFile file;
    if (!file.Open(m_Path, FILE_ACCESS_READ, FILE_SHARE_READ_BIT, FILE_OPEN_EXISTING))
        return false;
    const int64_t nSize = file.Size();
    if (nSize < kMinSize || nSize > kMaxSize)
        return false;
    m_Data.resize(static_cast<size_t>(nSize));
    uint32_t nRead = 0;
    if (!file.ReadAt(0, m_Data.data(), static_cast<uint32_t>(nSize), nRead) || nRead != nSize) {
        m_Data.clear();
        return false;
    }
    return true;
}

}  // namespace zu::dvd
