#include "core/Log.h"

#include "host/AppInfo.h"
#include "host/LogSettings.h"
#include "host/Settings.h"
#include "platform/File.h"
#include "platform/System.h"
#include "platform/Thread.h"

#include <algorithm>
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

void CLog::RefreshFromSharedSettings()
{
    host::CLogSettings& shared = host::CLogSettings::Instance();
    const uint32_t nGeneration = shared.Generation();
    if (nGeneration == m_nSeenGeneration.load(std::memory_order_acquire))
        return;
    const host::CLogSettings::CValues values = shared.Snapshot();
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        m_Path = values.path;
    }
    m_nMask.store(values.nMask);
    m_bDebugStrings.store(values.bDebugStrings);
    m_bFile.store(values.bFile);
    m_nStartTicks.store(values.nStartTicks);
    m_nSeenGeneration.store(nGeneration, std::memory_order_release);
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
    if (m_nListeners.load(std::memory_order_acquire) != 0) {
        std::lock_guard<std::mutex> lock(m_Lock);
        for (CListener& listener : m_Listeners) {
            if (listener.nMask & nCategory)
                listener.lines.push_back(line);
        }
    }
}

std::u16string CLog::FileHeader() const
{
    return Format(u"%s; Version: %s; Types: %d\r\n", host::CAppInfo::ApplicationName(),
                  host::CAppInfo::ApplicationVersion(), static_cast<int>(m_nMask.load()));
}

void CLog::AppendToFile(const std::u16string& line)
{
    // Opening and writing are cancellation points: a worker killed there would leave the log
    // locked for every other thread. Declared before the lock so the kill waits for the unlock.
    platform::CNoKillScope noKill;
    std::lock_guard<std::mutex> lock(m_Lock);
    if (m_Path.empty())
        return;
    platform::CFile file;
    if (!file.Open(m_Path, platform::FILE_ACCESS_WRITE,
                   platform::FILE_SHARE_READ_BIT | platform::FILE_SHARE_WRITE_BIT, platform::FILE_OPEN_ALWAYS))
        return;
    const int64_t nEnd = file.Seek(0, 2);
    if (nEnd < 0)
        return;
    std::u16string text;
    if (nEnd == 0)
        text = u"\xFEFF" + FileHeader();  // the byte-order mark, written little-endian below
    text += line;
    // UTF-16LE on disk whatever the host's byte order.
    std::string bytes;
    bytes.reserve(text.size() * 2);
    for (char16_t c : text) {
        bytes += static_cast<char>(c & 0xFF);
        bytes += static_cast<char>(c >> 8);
    }
    uint32_t nWritten = 0;
    file.Write(bytes.data(), static_cast<uint32_t>(bytes.size()), nWritten);
}

int CLog::AddListener(uint32_t nMask)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    const int nId = m_nNextListener++;
    m_Listeners.push_back(CListener{nId, nMask, {}});
    m_nListeners.store(static_cast<int>(m_Listeners.size()), std::memory_order_release);
    return nId;
}

std::vector<std::u16string> CLog::DrainListener(int nListener)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    for (CListener& listener : m_Listeners) {
        if (listener.nId == nListener)
            return std::exchange(listener.lines, {});
    }
    return {};
}

void CLog::RemoveListener(int nListener)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    m_Listeners.erase(std::remove_if(m_Listeners.begin(), m_Listeners.end(),
                                     [nListener](const CListener& listener) { return listener.nId == nListener; }),
                      m_Listeners.end());
    m_nListeners.store(static_cast<int>(m_Listeners.size()), std::memory_order_release);
}

std::u16string CLog::GetPath() const
{
    std::lock_guard<std::mutex> lock(m_Lock);
    return m_Path;
}

}  // namespace zu
