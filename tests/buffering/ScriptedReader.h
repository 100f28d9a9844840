// CScriptedReader: a child reader for the read-ahead tests whose timing the test controls, for what
// no real source does on demand: reads that stop at chosen offsets until the test lets them go,
// reads that never return, a source that runs dry and grows again, short reads, and a count of
// every call so a test can prove the child was left alone.
//
// A read that waits holds no lock and owns no memory while it waits (it polls an event), so a
// worker killed inside it leaves nothing behind.
#pragma once

#include <zureader/Reader.h>

#include "platform/Thread.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace zutest {

class CScriptedReader : public VReader {
public:
    explicit CScriptedReader(std::string bytes);
    ~CScriptedReader() override;

    // Settings, before the reader is handed to a wrapper.
    void SetRemote(bool bRemote, bool bLengthUnknown);
    // Each Read delivers at most this many bytes.
    void SetMaxPerRead(uint32_t nBytes) { m_nMaxPerRead = nBytes; }
    void SetInfo(const std::u16string& name, const std::u16string& value) { m_Info[name] = value; }
    // Reads stop before each of these offsets (ascending) until Release.
    void AddGate(int64_t nOffset);
    // Every Read blocks until Close (when bCloseWakes) or for ever.
    void BlockReads(bool bCloseWakes);

    // True once a Read waits at gate nGate (0-based), within nMilliseconds.
    bool WaitUntilHeldAt(size_t nGate, uint32_t nMilliseconds);
    // True once a Read is blocked by BlockReads, within nMilliseconds.
    bool WaitUntilBlocked(uint32_t nMilliseconds);
    void Release();
    // More bytes behind the end: reads that found the end (0) find them.
    void Append(const std::string& bytes);

    int ReadCalls() const { return m_nReadCalls.load(); }
    int SeekCalls() const { return m_nSeekCalls.load(); }

    ZUBOOL Open() override;
    void Close() override;
    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    uint32_t Write(const void* pBuffer, uint32_t nCount) override { return 0; }
    int64_t GetLength() override;
    int64_t GetPosition() override;
    int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) override;
    ZUBOOL SetEndOfFile() override { return 0; }
    ZUBOOL IsLengthUnknown() override { return m_bLengthUnknown ? 1 : 0; }
    ZUBOOL IsRemote() override { return m_bRemote ? 1 : 0; }
    ZUBOOL IsOpen() override { return m_bOpened.load() ? 1 : 0; }
    ZUBOOL IsReadOnly() override { return 1; }
    ZUBSTR GetInfo(const ZUCHAR* pszName) override;

private:
    // Waits at a closed gate or a block; false when the reader was closed meanwhile.
    bool WaitForPermission();
    bool MayRead();

    mutable std::mutex m_Lock;
    std::string m_Bytes;
    int64_t m_nPosition = 0;
    std::vector<int64_t> m_Gates;
    size_t m_nNextGate = 0;
    bool m_bGateOpen = false;
    bool m_bBlockReads = false;
    bool m_bCloseWakes = false;
    std::atomic<bool> m_bClosed{false};
    std::atomic<bool> m_bOpened{false};
    std::atomic<int> m_nHeldAtGate{-1};
    std::atomic<bool> m_bBlocked{false};
    bool m_bRemote = false;
    bool m_bLengthUnknown = false;
    uint32_t m_nMaxPerRead = 0xFFFFFFFFu;
    std::map<std::u16string, std::u16string> m_Info;
    std::atomic<int> m_nReadCalls{0};
    std::atomic<int> m_nSeekCalls{0};
    zu::platform::CEvent m_Wake;
};

}  // namespace zutest
