// CSharedBufferingRegistry: the process-wide table that finds the shared cache of a path, so that
// every shared buffering reader of one path works on one cache. One lock serialises finding,
// sharing and releasing caches.
#pragma once

#include "buffering/SharedBufferingReaderHelper.h"

#include <mutex>
#include <string>
#include <unordered_map>

class CSharedBufferingRegistry {
public:
    static CSharedBufferingRegistry& Instance();

    // The path's cache with one more reference, made when there is none. Takes pFile and pSink
    // over: a cache that exists already keeps its sink (pSink goes), and takes pFile in place of
    // its file reader unless bWritable is set (then pFile goes).
    CSharedBufferingReaderHelper* Acquire(const std::u16string& path, bool bWritable, uint32_t nCapacity,
                                          uint32_t nBlockSize, VReader* pFile, VReader* pSink);
    // One reference less; the last destroys the cache, which writes what it holds first.
    void Release(CSharedBufferingReaderHelper* pHelper);
    // How many paths have a cache now.
    size_t Count();

private:
    std::mutex m_Lock;
    std::unordered_map<std::u16string, CSharedBufferingReaderHelper*> m_Caches;
};
