// CScriptedReader: a child reader for the read-ahead tests whose timing the test controls, for what
// no real source does on demand: reads that stop at chosen offsets until the test lets them go (or
// the reader is closed; a stop alone leaves them waiting for ever), a source that runs dry and
// grows again, short reads, and a count of every call so a test can prove the child was left alone.
//
// A read that waits holds no lock and owns no memory while it waits (it polls), so a worker killed
// inside it leaves nothing behind.
#pragma once

#include <zureader/Reader.h>

#include "platform/System.h"
#include "platform/SystemString.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace zutest {

// True once condition holds, polled for up to nMilliseconds.
inline bool WaitFor(uint32_t nMilliseconds, const std::function<bool()>& condition)
{
    const uint32_t nStart = zu::platform::TickCount();
    while (!condition()) {
        if (zu::platform::TickCount() - nStart > nMilliseconds)
            return false;
        zu::platform::SleepMilliseconds(2);
    }
    return true;
}

class CScriptedReader : public VReader {
public:
    explicit CScriptedReader(std::string bytes) : m_Bytes(std::move(bytes)) {}

    // Settings, before the reader is handed to a wrapper.
    // Remote, of unknown length and unable to seek.
    void SetLive() { m_bLive = true; }
    // Each Read delivers at most this many bytes.
    void SetMaxPerRead(uint32_t nBytes) { m_nMaxPerRead = nBytes; }
    void SetInfo(const std::u16string& name, const std::u16string& value) { m_Info[name] = value; }
    // Reads stop before each of these offsets (ascending) until Release.
    void AddGate(int64_t nOffset) { m_Gates.push_back(nOffset); }
    // Each Read takes this long before it delivers: a slow disk or a slow server.
    void SetReadDelay(uint32_t nMilliseconds) { m_nReadDelay = nMilliseconds; }

    // True once a Read waits at gate nGate (0-based), within nMilliseconds.
    bool WaitUntilHeldAt(size_t nGate, uint32_t nMilliseconds)
    {
        return WaitFor(nMilliseconds, [&] { return m_nHeldAtGate.load() == static_cast<int>(nGate); });
    }
    void Release()
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        m_bGateOpen = true;
    }
    // More bytes behind the end: reads that found the end (0) find them.
    void Append(const std::string& bytes)
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        m_Bytes += bytes;
    }

    int ReadCalls() const { return m_nReadCalls.load(); }
    // Closes that came while a Read was still running on another thread.
    int ClosesUnderARead() const { return m_nClosesUnderARead.load(); }
    int SeekCalls() const { return m_nSeekCalls.load(); }

    ZUBOOL Open() override
    {
        m_bOpened = true;
        return 1;
    }
    void Close() override
    {
        if (m_nReadsRunning.load() > 0)
            ++m_nClosesUnderARead;
        m_bOpened = false;
    }
    uint32_t Read(void* pBuffer, uint32_t nCount) override
    {
        ++m_nReadCalls;
        const CRunning running(m_nReadsRunning);
        if (m_nReadDelay > 0)
            zu::platform::SleepMilliseconds(m_nReadDelay);
        // Polls with no lock held: a kill may land in the wait.
        while (!MayRead()) {
            if (!m_bOpened)
                return 0;
            zu::platform::SleepMilliseconds(2);
        }
        std::lock_guard<std::mutex> lock(m_Lock);
        int64_t nEnd = static_cast<int64_t>(m_Bytes.size());
        if (m_nNextGate < m_Gates.size())
            nEnd = std::min(nEnd, m_Gates[m_nNextGate]);
        const int64_t nAvailable = m_bOpened ? std::max<int64_t>(nEnd - m_nPosition, 0) : 0;
        const auto nTake = static_cast<uint32_t>(std::min<int64_t>({nAvailable, nCount, m_nMaxPerRead}));
        std::memcpy(pBuffer, m_Bytes.data() + m_nPosition, nTake);
        m_nPosition += nTake;
        return nTake;
    }
    uint32_t Write(const void*, uint32_t) override { return 0; }
    int64_t GetLength() override
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        return m_bLive ? -1 : static_cast<int64_t>(m_Bytes.size());
    }
    int64_t GetPosition() override
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        return m_nPosition;
    }
    int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) override
    {
        ++m_nSeekCalls;
        std::lock_guard<std::mutex> lock(m_Lock);
        const int64_t nBase = nOrigin == ZU_SEEK_CURRENT ? m_nPosition : nOrigin == ZU_SEEK_END ? m_Bytes.size() : 0;
        if (nBase + nOffset < 0 || m_bLive)
            return -1;
        return m_nPosition = nBase + nOffset;
    }
    ZUBOOL SetEndOfFile() override { return 0; }
    ZUBOOL IsLengthUnknown() override { return m_bLive ? 1 : 0; }
    ZUBOOL IsRemote() override { return m_bLive ? 1 : 0; }
    ZUBOOL IsOpen() override { return m_bOpened.load() ? 1 : 0; }
    ZUBOOL IsReadOnly() override { return 1; }
    ZUBSTR GetInfo(const ZUCHAR* pszName) override
    {
        const auto found = m_Info.find(reinterpret_cast<const char16_t*>(pszName));
        return zu::platform::AllocSystemString(found == m_Info.end() ? std::u16string() : found->second);
    }

private:
    // Counts a Read for as long as it runs, however it ends (a kill unwinds it on Linux).
    class CRunning {
    public:
        explicit CRunning(std::atomic<int>& nRunning) : m_nRunning(nRunning) { ++m_nRunning; }
        ~CRunning() { --m_nRunning; }
        CRunning(const CRunning&) = delete;
        CRunning& operator=(const CRunning&) = delete;

    private:
        std::atomic<int>& m_nRunning;
    };

    // Whether the read may go on now: before the next gate, or past one the test has opened.
    bool MayRead()
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        if (m_nNextGate >= m_Gates.size() || m_nPosition < m_Gates[m_nNextGate])
            return true;
        if (!m_bGateOpen) {
            m_nHeldAtGate = static_cast<int>(m_nNextGate);
            return false;
        }
        m_bGateOpen = false;
        m_nHeldAtGate = -1;
        ++m_nNextGate;
        return true;
    }

    std::mutex m_Lock;
    std::string m_Bytes;
    int64_t m_nPosition = 0;
    std::vector<int64_t> m_Gates;
    size_t m_nNextGate = 0;
    bool m_bGateOpen = false;
    std::atomic<bool> m_bOpened{false};
    std::atomic<int> m_nHeldAtGate{-1};
    bool m_bLive = false;
    uint32_t m_nMaxPerRead = 0xFFFFFFFFu;
    std::map<std::u16string, std::u16string> m_Info;
    std::atomic<int> m_nReadCalls{0};
    std::atomic<int> m_nSeekCalls{0};
    uint32_t m_nReadDelay = 0;
    std::atomic<int> m_nReadsRunning{0};
    std::atomic<int> m_nClosesUnderARead{0};
};

}  // namespace zutest
