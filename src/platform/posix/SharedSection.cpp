#include "platform/SharedSection.h"

#include "platform/Text.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zu::platform {
namespace {

// shm_open names are one path component of limited length, so the name is a digest of the text.
std::string SectionName(const std::u16string& name)
{
    uint64_t hash = 1469598103934665603ull;  // FNV-1a over the UTF-16 units
    for (char16_t c : name) {
        hash = (hash ^ (c & 0xFF)) * 1099511628211ull;
        hash = (hash ^ (c >> 8)) * 1099511628211ull;
    }
    char text[40];
    std::snprintf(text, sizeof(text), "/zureader-%016llx", static_cast<unsigned long long>(hash));
    return text;
}

}  // namespace

CSharedSection::~CSharedSection()
{
    Close();
}

bool CSharedSection::Open(const std::u16string& name, size_t nBytes, bool bCreate)
{
    Close();
    const int fd = shm_open(SectionName(name).c_str(), O_RDWR | (bCreate ? O_CREAT : 0) | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    struct stat st;
    const bool bSized = fstat(fd, &st) == 0 &&
                        (st.st_size >= static_cast<off_t>(nBytes) || ftruncate(fd, static_cast<off_t>(nBytes)) == 0);
    void* pData = bSized ? mmap(nullptr, nBytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0) : MAP_FAILED;
    close(fd);  // the mapping keeps the memory
    if (pData == MAP_FAILED)
        return false;
    m_pData = pData;
    m_nBytes = nBytes;
    return true;
}

void CSharedSection::Close()
{
    if (m_pData)
        munmap(m_pData, m_nBytes);
    m_pData = nullptr;
    m_nBytes = 0;
}

void CSharedSection::Remove(const std::u16string& name)
{
    shm_unlink(SectionName(name).c_str());
}

}  // namespace zu::platform
