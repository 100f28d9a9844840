#include "OutputSink.h"

#include "CommandLine.h"

#include "Console.h"

#include <cstdio>

namespace zucli {

std::u16string COutputSink::PathFrom(const CCommandLine& line)
{
    const std::u16string path = line.Value(u"-o");
    return path.empty() ? line.Value(u"--output") : path;
}

bool COutputSink::Open(const std::u16string& path)
{
    m_Path = path;
    if (path.empty()) {
        SetBinaryMode(stdout);
        return true;
    }
    m_pFile.reset(GetLocalReader(Z(path)));
    return m_pFile && m_pFile->Create();
}

bool COutputSink::Write(const void* pData, uint32_t nCount)
{
    if (m_pFile)
        return m_pFile->Write(pData, nCount) == nCount;
    return std::fwrite(pData, 1, nCount, stdout) == nCount;
}

bool COutputSink::Finish()
{
    if (m_pFile) {
        m_pFile->Close();
        return true;
    }
    return std::fflush(stdout) == 0;
}

std::string COutputSink::Name() const
{
    return m_pFile ? ToUtf8(m_Path) : "standard output";
}

}  // namespace zucli
