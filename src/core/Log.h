// The process-wide logger: lines tagged with elapsed milliseconds, thread, category and operation
// name go to "Log.txt" in the application data folder, to the debugger output and to in-memory
// listeners. When nothing would receive a line, a log call returns before any formatting.
#pragma once

#include "core/Format.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace zu {

enum : uint32_t {
    LOG_GENERAL = 0x1,
    LOG_SKINNING = 0x2,
    LOG_SDK = 0x4,
    LOG_READER = 0x8,
    LOG_STORE = 0x10,
    LOG_HANDHELD = 0x20,
    LOG_PLAYBACK = 0x40,
    LOG_DATABASE = 0x80,
    LOG_IMPORT = 0x100,
    LOG_ENCODERS = 0x200,
    LOG_SHARING_PLUGINS = 0x400,
    LOG_TV = 0x800,
    LOG_CD = 0x1000,
    LOG_PODCAST = 0x2000
};

class CLog {
public:
    static constexpr size_t kMaxLineLength = 4096;
    static constexpr uint32_t kDefaultMask = 0x7FFFFFFF;

    // The logger, made on first use; null when the host services it needs are missing.
    static CLog* Get();
    // Named after the lowest listed bit of the category word, "Unknown" when none is set.
    static const char16_t* CategoryName(uint32_t nCategory);

    // True when a line of this category would reach the file, the debugger or a listener.
    bool IsListening(uint32_t nCategory) const
    {
        return m_nListeners.load(std::memory_order_acquire) != 0 ||
               ((m_nMask.load(std::memory_order_relaxed) & nCategory) &&
                (m_bDebugStrings.load(std::memory_order_relaxed) || m_bFile.load(std::memory_order_relaxed)));
    }

    template <class... TArgs>
    void Write(uint32_t nCategory, const char16_t* pszName, const char16_t* pszFormat, const TArgs&... args)
    {
        if (IsListening(nCategory))
            WriteLine(nCategory, pszName, Format(pszFormat, args...));
    }

    // Builds the line around an already formatted message and hands it out.
    void WriteLine(uint32_t nCategory, const char16_t* pszName, const std::u16string& message);

    // Copies mask, flags, path and start ticks from the shared log settings when they changed.
    void RefreshFromSharedSettings();
    // Reads the "Debug" settings again and shares them, as at creation.
    void Reload();

    // Listeners receive every line of their categories, whatever the mask and the flags.
    int AddListener(uint32_t nMask);
    std::vector<std::u16string> DrainListener(int nListener);
    void RemoveListener(int nListener);

    uint32_t GetMask() const { return m_nMask.load(); }
    std::u16string GetPath() const;

private:
    struct CListener {
        int nId;
        uint32_t nMask;
        std::vector<std::u16string> lines;
    };

    CLog();
    void AppendToFile(const std::u16string& line);
    std::u16string FileHeader() const;

    std::atomic<uint32_t> m_nMask{0};
    std::atomic<bool> m_bDebugStrings{false};
    std::atomic<bool> m_bFile{false};
    std::atomic<uint32_t> m_nStartTicks{0};
    std::atomic<uint32_t> m_nSeenGeneration{0};
    std::atomic<int> m_nListeners{0};
    std::u16string m_Path;
    std::vector<CListener> m_Listeners;
    int m_nNextListener = 1;
    mutable std::mutex m_Lock;  // path and listeners; also keeps appends to the file whole
};

// One formatted line without a scoped object.
template <class... TArgs>
void Log(uint32_t nCategory, const char16_t* pszName, const char16_t* pszFormat, const TArgs&... args)
{
    if (CLog* pLog = CLog::Get())
        pLog->Write(nCategory, pszName, pszFormat, args...);
}

}  // namespace zu
