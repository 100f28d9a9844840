#include "host/MessageManager.h"

#include "platform/Thread.h"

#include <atomic>
#include <chrono>

namespace zu::host {
namespace {

// Trivially destructible, so it still answers while and after static objects are destroyed.
std::atomic<bool> g_bManagerAlive{false};

}  // namespace

CMessageManager* CMessageManager::Instance()
{
    static CMessageManager manager;
    return g_bManagerAlive.load(std::memory_order_acquire) ? &manager : nullptr;
}

CMessageManager::CMessageManager()
{
    g_bManagerAlive.store(true, std::memory_order_release);
}

CMessageManager::~CMessageManager()
{
    g_bManagerAlive.store(false, std::memory_order_release);
}

uint32_t CMessageManager::Register()
{
    std::lock_guard<std::mutex> lock(m_Lock);
    do {
        ++m_nLastCookie;
    } while (m_nLastCookie == 0 || m_Cookies.count(m_nLastCookie) != 0);
    m_Cookies.insert(m_nLastCookie);
    return m_nLastCookie;
}

bool CMessageManager::Unregister(uint32_t nCookie)
{
    // One step, so no post can slip in between the drop and the removal.
    std::lock_guard<std::mutex> lock(m_Lock);
    DropPendingLocked(nCookie);
    return m_Cookies.erase(nCookie) != 0;
}

size_t CMessageManager::DropPending(uint32_t nCookie)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    return DropPendingLocked(nCookie);
}

size_t CMessageManager::DropPendingLocked(uint32_t nCookie)
{
    const size_t nBefore = m_Pending.size();
    for (auto pMessage = m_Pending.begin(); pMessage != m_Pending.end();) {
        if (pMessage->nCookie == nCookie)
            pMessage = m_Pending.erase(pMessage);
        else
            ++pMessage;
    }
    return nBefore - m_Pending.size();
}

bool CMessageManager::Post(uint32_t nCookie, uint32_t nMessage, intptr_t nParam)
{
    // Workers post; one killed half-way must not leave the lock or a copied delivery behind.
    platform::CNoKillScope noKill;
    const CMessage message{nCookie, nMessage, nParam};
    CDelivery delivery;
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        if (!IsRegisteredLocked(nCookie))
            return false;
        if (!m_Delivery) {
            m_Pending.push_back(message);
            m_Posted.notify_one();
            return true;
        }
        delivery = m_Delivery;
    }
    // Outside the lock: a host's delivery may post or unregister in turn.
    return delivery(message);
}

bool CMessageManager::IsRegistered(uint32_t nCookie) const
{
    std::lock_guard<std::mutex> lock(m_Lock);
    return IsRegisteredLocked(nCookie);
}

bool CMessageManager::IsRegisteredLocked(uint32_t nCookie) const
{
    return nCookie != 0 && m_Cookies.count(nCookie) != 0;
}

void CMessageManager::SetDelivery(CDelivery delivery)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    m_Delivery = std::move(delivery);
}

bool CMessageManager::TakeNext(CMessage& message, uint32_t nWaitMilliseconds)
{
    platform::CNoKillScope noKill;
    std::unique_lock<std::mutex> lock(m_Lock);
    if (!m_Posted.wait_for(lock, std::chrono::milliseconds(nWaitMilliseconds), [this] { return !m_Pending.empty(); }))
        return false;
    message = m_Pending.front();
    m_Pending.pop_front();
    return true;
}

size_t CMessageManager::PendingCount() const
{
    std::lock_guard<std::mutex> lock(m_Lock);
    return m_Pending.size();
}

}  // namespace zu::host
