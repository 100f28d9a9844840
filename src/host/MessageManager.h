// The application's main-thread message manager: a worker registers for a cookie, posts messages
// with a parameter to the main thread under that cookie, and drops what is still pending when it
// unregisters. A host with a user-interface loop installs a delivery that forwards each post to its
// main thread; with no host the manager queues posts until a host thread takes them.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <set>

namespace zu::host {

class CMessageManager {
public:
    struct CMessage {
        uint32_t nCookie;
        uint32_t nMessage;
        intptr_t nParam;
    };
    // Called on the posting thread, outside the manager's lock; false refuses the message.
    using CDelivery = std::function<bool(const CMessage&)>;

    // The process's manager, or null once it has been destroyed at exit (workers that outlive it
    // then have nothing to unregister from).
    static CMessageManager* Instance();
    ~CMessageManager();
    CMessageManager(const CMessageManager&) = delete;
    CMessageManager& operator=(const CMessageManager&) = delete;

    // A cookie that is non-zero and not in use.
    uint32_t Register();
    // Forgets the cookie and whatever is pending for it; false for a cookie not registered.
    bool Unregister(uint32_t nCookie);
    // Removes the queued messages of that cookie; answers how many.
    size_t DropPending(uint32_t nCookie);
    // False when the cookie is not registered or the delivery refuses.
    bool Post(uint32_t nCookie, uint32_t nMessage, intptr_t nParam);
    bool IsRegistered(uint32_t nCookie) const;

    // Host side. An empty delivery brings back the queue.
    void SetDelivery(CDelivery delivery);
    // The oldest queued message, waiting up to the given time for one; false when none came.
    bool TakeNext(CMessage& message, uint32_t nWaitMilliseconds);
    size_t PendingCount() const;

private:
    CMessageManager();
    bool IsRegisteredLocked(uint32_t nCookie) const;
    size_t DropPendingLocked(uint32_t nCookie);

    mutable std::mutex m_Lock;
    std::condition_variable m_Posted;
    std::set<uint32_t> m_Cookies;
    std::deque<CMessage> m_Pending;
    CDelivery m_Delivery;
    uint32_t m_nLastCookie = 0;
};

}  // namespace zu::host
