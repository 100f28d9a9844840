#include "core/Log.h"

#include "host/AppInfo.h"
#include "host/LogSettings.h"
#include "host/Settings.h"
#include "platform/File.h"
#include "platform/System.h"
#include "platform/Thread.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace zu {
namespace {

constexpr char16_t kDebugSection[] = u"Debug";
constexpr char16_t kTruncationMarker[] = u"\r\n........................\r\n";

struct CCategory {
    uint32_t nBit;
    const char16_t* pszName;
};

constexpr CCategory kCategories[] = {
    {LOG_GENERAL, u"General"},   {LOG_SKINNING, u"Skinning"},
    {LOG_SDK, u"SDK"},           {LOG_READER, u"Reader"},
    {LOG_STORE, u"Store"},       {LOG_HANDHELD, u"Handheld"},
    {LOG_PLAYBACK, u"Playback"}, {LOG_DATABASE, u"Database"},
    {LOG_IMPORT, u"Import"},     {LOG_ENCODERS, u"Encoders"},
    {LOG_SHARING_PLUGINS, u"Sharing Plugins"}, {LOG_TV, u"TV"},
    {LOG_CD, u"CD"},             {LOG_PODCAST, u"Podcast"},
};

// The "Debug" section's values, or the defaults when the section is absent.
host::CLogSettings::CValues ReadDebugSettings()
{
    host::CLogSettings::CValues values;
    values.nMask = CLog::kDefaultMask;
    if (host::CSettings::HasSection(kDebugSection)) {
        values.nMask = host::CSettings::ReadNumber(kDebugSection, u"Type", CLog::kDefaultMask);
        values.bDebugStrings = host::CSettings::ReadNumber(kDebugSection, u"Debug Strings", 0) != 0;
        values.bFile = host::CSettings::ReadNumber(kDebugSection, u"File", 0) != 0;
    }
    const std::u16string folder = host::CAppInfo::DataFolder();
    platform::CreateFolders(folder);
    values.path = folder + u"Log.txt";
    return values;
}

// UTF-16LE on disk whatever the host's byte order.
std::string LittleEndian(const std::u16string& text)
{
    std::string bytes;
    bytes.reserve(text.size() * 2);
    for (char16_t c : text) {
        bytes += static_cast<char>(c & 0xFF);
        bytes += static_cast<char>(c >> 8);
    }
    return bytes;
}

void FinishLine(std::u16string& line)
{
    if (line.size() > CLog::kMaxLineLength) {
        line.resize(CLog::kMaxLineLength);
        line += kTruncationMarker;
    } else if (line.empty() || line.back() != u'\n') {
        line += u"\r\n";
    }
}

}  // namespace

CLog* CLog::Get()
{
    // Never destroyed: readers may log from static destructors and from workers at exit.
    static CLog* const pLog = new CLog();
    return pLog;
}

CLog::CLog()
{
    Reload();
}

void CLog::Reload()
{
    host::CLogSettings::CValues values = ReadDebugSettings();
    host::CLogSettings& shared = host::CLogSettings::Instance();
    values.nStartTicks = shared.IsPublished() ? shared.Snapshot().nStartTicks : platform::TickCount();
    shared.Publish(values);
    RefreshFromSharedSettings();
}

// Out of memory, the logger keeps the settings it has and tries again next time.
void CLog::RefreshFromSharedSettings()
try {
    host::CLogSettings& shared = host::CLogSettings::Instance();
    const uint32_t nGeneration = shared.Generation();
    if (nGeneration == m_nSeenGeneration.load(std::memory_order_acquire))
        return;
    const host::CLogSettings::CValues values = shared.Snapshot();
    const CPath* pCurrent = m_pPath.load(std::memory_order_acquire);
    if (!pCurrent || pCurrent->text != values.path) {
        auto* pPath = new CPath{values.path, pCurrent};
        while (!m_pPath.compare_exchange_weak(pPath->pReplaced, pPath, std::memory_order_acq_rel))
            ;
    }
    m_nMask.store(values.nMask);
    m_bDebugStrings.store(values.bDebugStrings);
    m_bFile.store(values.bFile);
    m_nStartTicks.store(values.nStartTicks);
    m_nSeenGeneration.store(nGeneration, std::memory_order_release);
} catch (const std::exception&) {
}

const char16_t* CLog::CategoryName(uint32_t nCategory)
{
    for (const CCategory& category : kCategories) {
        if (nCategory & category.nBit)
            return category.pszName;
    }
    return u"Unknown";
}

void CLog::WriteLine(uint32_t nCategory, const char16_t* pszName, const std::u16string& message)
{
    if (!IsListening(nCategory))
        return;
    // A line is written whole or not at all: a kill is held off until it is out (Linux).
    platform::CNoKillScope noKill;
    const uint32_t nElapsed = platform::TickCount() - m_nStartTicks.load(std::memory_order_relaxed);
    std::u16string line = Format(u"%07d: %d: %s: %s: ", static_cast<int>(nElapsed), platform::CurrentThreadId(),
                                 CategoryName(nCategory), pszName ? pszName : u"");
    line += message;
    FinishLine(line);

    if (m_nMask.load(std::memory_order_relaxed) & nCategory) {
        if (m_bFile.load(std::memory_order_relaxed))
            AppendToFile(line);
        if (m_bDebugStrings.load(std::memory_order_relaxed))
            platform::DebuggerOutput(line);
    }
    if (m_nListeners.load(std::memory_order_acquire) != 0)
        PassToListeners(nCategory, line);
}

std::u16string CLog::FileHeader() const
{
    return Format(u"%s; Version: %s; Types: %d\r\n", host::CAppInfo::ApplicationName(),
                  host::CAppInfo::ApplicationVersion(), static_cast<int>(m_nMask.load()));
}

// One append per line, which the system keeps whole against other threads' and processes'.
void CLog::AppendToFile(const std::u16string& line)
{
    const CPath* pPath = m_pPath.load(std::memory_order_acquire);
    if (!pPath || pPath->text.empty())
        return;
    // The byte-order mark, written little-endian like the rest, leads a new file.
    platform::AppendToFileByName(pPath->text, LittleEndian(line),
                                 [this] { return LittleEndian(u"\xFEFF" + FileHeader()); });
}

void CLog::PassToListeners(uint32_t nCategory, const std::u16string& line)
{
    for (CListenerSlot& slot : m_Listeners) {
        const int nId = slot.nId.load(std::memory_order_acquire);
        if (nId <= 0 || !(slot.nMask.load(std::memory_order_acquire) & nCategory))
            continue;
        auto* pLine = new CLine{nId, line, slot.pLines.load(std::memory_order_relaxed)};
        while (!slot.pLines.compare_exchange_weak(pLine->pNext, pLine, std::memory_order_release,
                                                  std::memory_order_relaxed))
            ;
    }
}

void CLog::FreeLines(CLine* pLines)
{
    while (pLines) {
        CLine* pNext = pLines->pNext;
        delete pLines;
        pLines = pNext;
    }
}

CLog::CListenerSlot* CLog::FindListener(int nListener)
{
    for (CListenerSlot& slot : m_Listeners) {
        if (nListener > 0 && slot.nId.load(std::memory_order_acquire) == nListener)
            return &slot;
    }
    return nullptr;
}

int CLog::AddListener(uint32_t nMask)
{
    const int nId = m_nNextListener.fetch_add(1);
    for (CListenerSlot& slot : m_Listeners) {
        int nFree = 0;
        if (!slot.nId.compare_exchange_strong(nFree, -1))
            continue;
        // Lines a writer pushed for the slot's previous listener after it went.
        FreeLines(slot.pLines.exchange(nullptr, std::memory_order_acquire));
        slot.nMask.store(nMask, std::memory_order_relaxed);
        slot.nId.store(nId, std::memory_order_release);
        m_nListeners.fetch_add(1, std::memory_order_acq_rel);
        return nId;
    }
    return 0;
}

std::vector<std::u16string> CLog::DrainListener(int nListener)
{
    std::vector<std::u16string> lines;
    CListenerSlot* pSlot = FindListener(nListener);
    if (!pSlot)
        return lines;
    CLine* pLines = pSlot->pLines.exchange(nullptr, std::memory_order_acquire);
    for (const CLine* pLine = pLines; pLine; pLine = pLine->pNext) {
        if (pLine->nListener == nListener)
            lines.push_back(pLine->text);
    }
    FreeLines(pLines);
    std::reverse(lines.begin(), lines.end());  // pushed newest first
    return lines;
}

void CLog::RemoveListener(int nListener)
{
    CListenerSlot* pSlot = FindListener(nListener);
    if (!pSlot)
        return;
    // Emptied while still its own: once free, the slot may be taken by the next listener at once.
    FreeLines(pSlot->pLines.exchange(nullptr, std::memory_order_acquire));
    pSlot->nId.store(0, std::memory_order_release);
    m_nListeners.fetch_sub(1, std::memory_order_acq_rel);
}

std::u16string CLog::GetPath() const
{
    const CPath* pPath = m_pPath.load(std::memory_order_acquire);
    return pPath ? pPath->text : std::u16string();
}

}  // namespace zu
