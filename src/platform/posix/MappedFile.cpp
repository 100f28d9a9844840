#include "platform/MappedFile.h"

#include "platform/Text.h"
#include "platform/posix/Descriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace zu::platform {
namespace {

// O_EXCL alone already refuses a name held by a link; O_NOFOLLOW says so where it is read.
int OpenFlags(EMappedFileName name)
{
    const int flags = O_RDWR | O_CREAT | O_CLOEXEC;
    return name == EMappedFileName::NewOnly ? flags | O_EXCL | O_NOFOLLOW : flags | O_TRUNC;
}

mode_t OpenMode(EMappedFileName name)
{
    return name == EMappedFileName::NewOnly ? 0600 : 0666;
}

EMappedFileFailure FailureOf(uint32_t error)
{
    switch (error) {
    case EEXIST:
    case ELOOP: return EMappedFileFailure::NameTaken;
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return EMappedFileFailure::NoSpace;
    default: return EMappedFileFailure::Other;
    }
}

}  // namespace

CMappedFile::~CMappedFile()
{
    Close();
}

bool CMappedFile::Fail(uint32_t nError)
{
    m_Failure = FailureOf(nError);
    m_nError = nError;
    return false;
}

// A length set with ftruncate would leave the file sparse, and a page first written when the disk
// is full would raise SIGBUS; posix_fallocate takes the blocks now or says there are none.
bool CMappedFile::Create(const std::u16string& path, size_t nBytes, EMappedFileName name)
{
    Close();
    if (path.empty() || nBytes == 0)
        return Fail(EINVAL);
    const CDescriptor file(::open(Utf8FromUtf16(path).c_str(), OpenFlags(name), OpenMode(name)));
    if (file.Get() < 0)
        return Fail(static_cast<uint32_t>(errno));
    const int nReserveError = posix_fallocate(file.Get(), 0, static_cast<off_t>(nBytes));
    if (nReserveError != 0)
        return Fail(static_cast<uint32_t>(nReserveError));
    void* pView = mmap(nullptr, nBytes, PROT_READ | PROT_WRITE, MAP_SHARED, file.Get(), 0);
    if (pView == MAP_FAILED)
        return Fail(static_cast<uint32_t>(errno));
    m_pData = static_cast<unsigned char*>(pView);
    m_nBytes = nBytes;
    m_Failure = EMappedFileFailure::None;
    m_nError = 0;
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
