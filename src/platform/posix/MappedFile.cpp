#include "platform/MappedFile.h"

#include "platform/Text.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace zu::platform {
namespace {

// Closes the descriptor when the mapping is made or has failed; the view keeps the file alive.
class CDescriptor {
public:
    explicit CDescriptor(int fd) : m_fd(fd) {}
    ~CDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    int Get() const { return m_fd; }

private:
    int m_fd;
};

}  // namespace

CMappedFile::~CMappedFile()
{
    Close();
}

// The length is set with ftruncate, which leaves the file sparse: disk blocks are taken only as
// pages are written, the way a Windows mapping commits them.
bool CMappedFile::Create(const std::u16string& path, size_t nBytes)
{
    Close();
    if (path.empty() || nBytes == 0)
        return false;
    const CDescriptor file(::open(Utf8FromUtf16(path).c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (file.Get() < 0 || ftruncate(file.Get(), static_cast<off_t>(nBytes)) != 0)
        return false;
    void* pView = mmap(nullptr, nBytes, PROT_READ | PROT_WRITE, MAP_SHARED, file.Get(), 0);
    if (pView == MAP_FAILED)
        return false;
    m_pData = static_cast<unsigned char*>(pView);
    m_nBytes = nBytes;
    return true;
}

void CMappedFile::Close()
{
    if (m_pData)
        munmap(m_pData, m_nBytes);
    m_pData = nullptr;
    m_nBytes = 0;
}

}  // namespace zu::platform
