#include "buffering/SharedBufferingRegistry.h"

#include <memory>

CSharedBufferingRegistry& CSharedBufferingRegistry::Instance()
{
    // Never destroyed: a reader a host forgot keeps a cache that must outlive static destruction.
    static CSharedBufferingRegistry* const s_pRegistry = new CSharedBufferingRegistry;
    return *s_pRegistry;
}

CSharedBufferingReaderHelper* CSharedBufferingRegistry::Acquire(const std::u16string& path, bool bWritable,
                                                                uint32_t nCapacity, uint32_t nBlockSize, VReader* pFile,
                                                                VReader* pSink)
{
    std::unique_ptr<VReader> file(pFile);
    std::unique_ptr<VReader> sink(pSink);
    std::lock_guard<std::mutex> lock(m_Lock);
    const auto found = m_Caches.find(path);
    if (found != m_Caches.end()) {
        CSharedBufferingReaderHelper* pHelper = found->second;
        if (!bWritable && file)
            pHelper->ReplaceFileReader(file.release());
        ++pHelper->m_nReferences;
        return pHelper;
    }
    auto pHelper = std::make_unique<CSharedBufferingReaderHelper>(path, bWritable, nCapacity, nBlockSize, file.release(),
                                                                  sink.release());
    m_Caches.emplace(path, pHelper.get());
    return pHelper.release();
}

void CSharedBufferingRegistry::Release(CSharedBufferingReaderHelper* pHelper)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    if (--pHelper->m_nReferences > 0)
        return;
    for (auto it = m_Caches.begin(); it != m_Caches.end(); ++it)
        if (it->second == pHelper) {
            m_Caches.erase(it);
            break;
        }
    delete pHelper;
}

size_t CSharedBufferingRegistry::Count()
{
    std::lock_guard<std::mutex> lock(m_Lock);
    return m_Caches.size();
}
