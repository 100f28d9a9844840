#include "platform/MappedFile.h"

#include "platform/Text.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/HugePageMapping.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace zu::platform {
namespace {

// Names the C library's headers here do not have yet: MADV_COLLAPSE (Linux 6.1) and
// MFD_NOEXEC_SEAL (Linux 6.3). Older kernels refuse them with EINVAL.
constexpr int kCollapseAdvice = 25;
constexpr unsigned kNoExecSeal = 0x0008U;
// memfd_create's limit on a name's bytes.
constexpr size_t kMemoryFileNameBytes = 249;

// A ring's pages in a file on a disk are written back to it now and then, all for nothing, and cost
// a fault each when first touched. A memory file is never written back, takes no disk, sits in no
// folder that others could plant anything in, goes with its last reference, and is still file
// memory rather than the process's private heap. Its name only shows in the process's map.
int MakeMemoryFile(const std::u16string& path)
{
    const std::string name = Utf8FromUtf16(path.substr(path.find_last_of(u'/') + 1)).substr(0, kMemoryFileNameBytes);
    const int fd = memfd_create(name.c_str(), MFD_CLOEXEC | kNoExecSeal);
    return fd < 0 && errno == EINVAL ? memfd_create(name.c_str(), MFD_CLOEXEC) : fd;
}

int OpenInFolder(const std::u16string& path)
{
    return ::open(Utf8FromUtf16(path).c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
}

// The kernel builds a huge page of a memory file only around a page the file already holds: one
// byte written (not mapped, so no small page is ever mapped to be torn down again) at the start of
// each whole huge page.
int SizeMemoryFile(int fd, size_t nBytes)
{
    if (ftruncate(fd, static_cast<off_t>(nBytes)) != 0)
        return errno;
    for (size_t nAt = 0; nAt + kHugePage <= nBytes; nAt += kHugePage) {
        if (pwrite(fd, "", 1, static_cast<off_t>(nAt)) != 1)
            return errno;
    }
    return 0;
}

EMappedFileFailure FailureOf(uint32_t error)
{
    switch (error) {
    case ENOSPC:
    case ENOMEM:
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

// A length set with ftruncate alone would leave the file sparse, and a page first written when the
// disk (or, for a memory file, memory) is full would raise SIGBUS; posix_fallocate takes the blocks
// or pages now or says there are none. For a memory file it comes after the collapse into huge
// pages, and so only fills what that left out.
bool CMappedFile::Create(const std::u16string& path, size_t nBytes, EMappedFileName name)
{
    Close();
    if (path.empty() || nBytes == 0)
        return Fail(EINVAL);
    const bool bTemporary = name == EMappedFileName::Temporary;
    const CDescriptor file(bTemporary ? MakeMemoryFile(path) : OpenInFolder(path));
    if (file.Get() < 0)
        return Fail(static_cast<uint32_t>(errno));
    if (const int nSizeError = bTemporary ? SizeMemoryFile(file.Get(), nBytes) : 0)
        return Fail(static_cast<uint32_t>(nSizeError));
    void* pView = bTemporary ? MapOnHugePageBoundary(nBytes, PROT_READ | PROT_WRITE, MAP_SHARED, file.Get())
                             : mmap(nullptr, nBytes, PROT_READ | PROT_WRITE, MAP_SHARED, file.Get(), 0);
    if (pView == MAP_FAILED)
        return Fail(static_cast<uint32_t>(errno));
    if (bTemporary)
        madvise(pView, nBytes, kCollapseAdvice);  // a hint: without huge pages the view still works
    if (const int nReserveError = posix_fallocate(file.Get(), 0, static_cast<off_t>(nBytes))) {
        munmap(pView, nBytes);
        return Fail(static_cast<uint32_t>(nReserveError));
    }
    m_pData = static_cast<unsigned char*>(pView);
    m_nBytes = nBytes;
    m_bInFolder = !bTemporary;
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
    m_bInFolder = false;
}

}  // namespace zu::platform
