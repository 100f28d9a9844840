#include "buffering/ScriptedReader.h"

#include "platform/System.h"
#include "platform/SystemString.h"

#include <algorithm>
#include <cstring>
#include <functional>

using namespace zu::platform;

namespace zutest {

namespace {

constexpr uint32_t kPollMilliseconds = 5;

bool PollUntil(uint32_t nMilliseconds, const std::function<bool()>& condition)
{
    const uint32_t nStart = TickCount();
    while (!condition()) {
        if (TickCount() - nStart > nMilliseconds)
            return false;
        SleepMilliseconds(kPollMilliseconds);
    }
    return true;
}

}  // namespace

CScriptedReader::CScriptedReader(std::string bytes) : m_Bytes(std::move(bytes))
{
    m_Wake.Create();
}

CScriptedReader::~CScriptedReader() = default;

void CScriptedReader::SetRemote(bool bRemote, bool bLengthUnknown)
{
    m_bRemote = bRemote;
    m_bLengthUnknown = bLengthUnknown;
}

void CScriptedReader::AddGate(int64_t nOffset)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    m_Gates.push_back(nOffset);
}

void CScriptedReader::BlockReads(bool bCloseWakes)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    m_bBlockReads = true;
    m_bCloseWakes = bCloseWakes;
}

bool CScriptedReader::WaitUntilHeldAt(size_t nGate, uint32_t nMilliseconds)
{
    return PollUntil(nMilliseconds, [&] { return m_nHeldAtGate.load() == static_cast<int>(nGate); });
}

bool CScriptedReader::WaitUntilBlocked(uint32_t nMilliseconds)
{
    return PollUntil(nMilliseconds, [&] { return m_bBlocked.load(); });
}

void CScriptedReader::Release()
{
    std::lock_guard<std::mutex> lock(m_Lock);
    m_bGateOpen = true;
    m_Wake.Signal();
}

void CScriptedReader::Append(const std::string& bytes)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    m_Bytes += bytes;
}

ZUBOOL CScriptedReader::Open()
{
    m_bClosed = false;
    m_bOpened = true;
    return 1;
}

void CScriptedReader::Close()
{
    m_bOpened = false;
    m_bClosed = true;
    m_Wake.Signal();
}

// Whether the read may go on now: past a gate the test has opened, or before the next gate.
bool CScriptedReader::MayRead()
{
    std::lock_guard<std::mutex> lock(m_Lock);
    if (m_bBlockReads)
        return m_bCloseWakes && m_bClosed;
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

// Polls with no lock held: a kill may land in the wait.
bool CScriptedReader::WaitForPermission()
{
    while (!MayRead()) {
        if (m_bBlockReads)
            m_bBlocked = true;
        if (m_bClosed && !m_bBlockReads)
            return false;
        m_Wake.Wait(20);
        m_Wake.Reset();
    }
    return !m_bClosed;
}

uint32_t CScriptedReader::Read(void* pBuffer, uint32_t nCount)
{
    ++m_nReadCalls;
    if (!WaitForPermission())
        return 0;
    std::lock_guard<std::mutex> lock(m_Lock);
    int64_t nEnd = static_cast<int64_t>(m_Bytes.size());
    if (m_nNextGate < m_Gates.size())
        nEnd = std::min(nEnd, m_Gates[m_nNextGate]);
    const int64_t nAvailable = std::max<int64_t>(nEnd - m_nPosition, 0);
    const auto nTake = static_cast<uint32_t>(std::min<int64_t>({nAvailable, nCount, m_nMaxPerRead}));
    std::memcpy(pBuffer, m_Bytes.data() + m_nPosition, nTake);
    m_nPosition += nTake;
    return nTake;
}

int64_t CScriptedReader::GetLength()
{
    if (m_bLengthUnknown)
        return -1;
    std::lock_guard<std::mutex> lock(m_Lock);
    return static_cast<int64_t>(m_Bytes.size());
}

int64_t CScriptedReader::GetPosition()
{
    std::lock_guard<std::mutex> lock(m_Lock);
    return m_nPosition;
}

int64_t CScriptedReader::SetPosition(int64_t nOffset, uint32_t nOrigin)
{
    ++m_nSeekCalls;
    std::lock_guard<std::mutex> lock(m_Lock);
    const int64_t nBase = nOrigin == ZU_SEEK_CURRENT ? m_nPosition : nOrigin == ZU_SEEK_END ? m_Bytes.size() : 0;
    if (nBase + nOffset < 0 || m_bLengthUnknown)
        return -1;
    m_nPosition = nBase + nOffset;
    return m_nPosition;
}

ZUBSTR CScriptedReader::GetInfo(const ZUCHAR* pszName)
{
    const auto found = m_Info.find(reinterpret_cast<const char16_t*>(pszName));
    return AllocSystemString(found == m_Info.end() ? std::u16string() : found->second);
}

}  // namespace zutest
