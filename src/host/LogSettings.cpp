#include "host/LogSettings.h"

#include "platform/System.h"

namespace zu::host {

CLogSettings& CLogSettings::Instance()
{
    static CLogSettings settings;
    return settings;
}

void CLogSettings::Publish(const CValues& values)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    m_Values = values;
    m_bPublished = true;
    uint32_t nNone = 0;
    m_nOwnerThread.compare_exchange_strong(nNone, platform::CurrentThreadId());
    m_nGeneration.fetch_add(1, std::memory_order_release);
}

CLogSettings::CValues CLogSettings::Snapshot() const
{
    std::lock_guard<std::mutex> lock(m_Lock);
    return m_Values;
}

bool CLogSettings::IsPublished() const
{
    std::lock_guard<std::mutex> lock(m_Lock);
    return m_bPublished;
}

bool CLogSettings::IsOwnerThread() const
{
    const uint32_t nOwner = m_nOwnerThread.load(std::memory_order_relaxed);
    return nOwner != 0 && nOwner == platform::CurrentThreadId();
}

void CLogSettings::SetOwnerThread(uint32_t nThreadId)
{
    m_nOwnerThread.store(nThreadId);
}

}  // namespace zu::host
