#include "dvd/VobFileSet.h"

#include <algorithm>
#include <cstring>

namespace zu::dvd {

using namespace zu::platform;

namespace {

constexpr uint32_t kPackBytes = 2048;

}  // namespace

bool CVobFileSet::Assign(std::vector<SFile> files, int32_t nMenuSectors)
{
    Close();
    m_Files.clear();
    m_Starts.clear();
    m_nRunCount = 0;
    m_nTotalSectors = 0;
    for (const SFile& file : files) {
        if (FileSizeByName(file.path) < 0)
            return false;
    }
    m_Files = std::move(files);
    for (const SFile& file : m_Files) {
        m_Starts.push_back(m_nTotalSectors);
        m_nTotalSectors += file.nSectors;
    }
    m_nBase = nMenuSectors >= 0 && m_Files.size() != 1 ? nMenuSectors : -1;
    m_nTitleSector = 0;
    return !m_Files.empty();
}

void CVobFileSet::Close()
{
    m_File.Close();
    m_nCurrentFile = -1;
    m_nRunCount = 0;
}

int64_t CVobFileSet::AbsoluteSector(int32_t nTitleSector) const
{
    return std::max<int64_t>(static_cast<int64_t>(m_nBase) + nTitleSector, 0);
}

int32_t CVobFileSet::Seek(int32_t nTitleSector)
{
    const int64_t nTarget = std::clamp<int64_t>(static_cast<int64_t>(m_nBase) + nTitleSector, m_nBase,
                                                static_cast<int64_t>(m_nTotalSectors) - 1);
    if (FileOf(std::max<int64_t>(nTarget, 0)) < 0)
        return m_nTitleSector;
    m_nTitleSector = static_cast<int32_t>(nTarget - m_nBase);
    return m_nTitleSector;
}

CVobFileSet::ERead CVobFileSet::ReadPack(uint8_t* pPack)
{
    const int64_t nAbsolute = AbsoluteSector(m_nTitleSector);
    if (nAbsolute >= m_nTotalSectors)
        return ERead::END;
    if (nAbsolute < m_nRunFirst || nAbsolute >= m_nRunFirst + m_nRunCount) {
        const int nFile = FileOf(nAbsolute);
        if (nFile < 0 || !FillRun(nFile, nAbsolute))
            return ERead::FAILED;
    }
    std::memcpy(pPack, m_Run.data() + (nAbsolute - m_nRunFirst) * kPackBytes, kPackBytes);
    ++m_nTitleSector;
    return ERead::PACK;
}

bool CVobFileSet::FillRun(int nFile, int64_t nAbsolute)
{
    m_nRunCount = 0;
    const int64_t nSectors = std::min<int64_t>(kRunSectors, m_Starts[nFile] + m_Files[nFile].nSectors - nAbsolute);
    m_Run.resize(static_cast<size_t>(kRunSectors) * kPackBytes);
    uint32_t nRead = 0;
    m_File.ReadAt((nAbsolute - m_Starts[nFile]) * kPackBytes, m_Run.data(), static_cast<uint32_t>(nSectors * kPackBytes),
                  nRead);
    // Only whole sectors count; a file cut short since it was listed ends with what it holds.
    m_nRunFirst = nAbsolute;
    m_nRunCount = nRead / kPackBytes;
    return m_nRunCount > 0;
}

// A file is opened only when the sectors cross into it.
int CVobFileSet::FileOf(int64_t nAbsolute)
{
    if (nAbsolute < 0 || nAbsolute >= m_nTotalSectors)
        return -1;
    const auto next = std::upper_bound(m_Starts.begin(), m_Starts.end(), nAbsolute);
    const int nFile = static_cast<int>(next - m_Starts.begin()) - 1;
    if (nFile != m_nCurrentFile) {
        Close();
        if (!m_File.Open(m_Files[nFile].path, FILE_ACCESS_READ, FILE_SHARE_READ_BIT, FILE_OPEN_EXISTING,
                         FILE_HINT_SEQUENTIAL))
            return -1;
        m_nCurrentFile = nFile;
    }
    return nFile;
}

}  // namespace zu::dvd
