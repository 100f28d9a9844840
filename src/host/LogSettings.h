// The log settings every library of the application shares, so that they all log alike, and the
// thread that owns them (the first thread to publish; only it refreshes a logger from them).
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

namespace zu::host {

class CLogSettings {
public:
    struct CValues {
        uint32_t nMask = 0;
        bool bDebugStrings = false;
        bool bFile = false;
        std::u16string path;
        uint32_t nStartTicks = 0;
    };

    static CLogSettings& Instance();

    // Stores the values; the calling thread becomes the owner when there is none yet.
    void Publish(const CValues& values);
    CValues Snapshot() const;
    bool IsPublished() const;
    // Lock-free: every scoped log object asks.
    bool IsOwnerThread() const;
    void SetOwnerThread(uint32_t nThreadId);
    // Changes with every Publish, so a logger refreshes only when there is something new.
    uint32_t Generation() const { return m_nGeneration.load(std::memory_order_acquire); }

private:
    mutable std::mutex m_Lock;
    CValues m_Values;
    bool m_bPublished = false;
    std::atomic<uint32_t> m_nOwnerThread{0};
    std::atomic<uint32_t> m_nGeneration{0};
};

}  // namespace zu::host
