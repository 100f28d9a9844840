// The process-wide logger: lines tagged with elapsed milliseconds, thread, category and operation
// name go to "Log.txt" in the application data folder, to the debugger output and to in-memory
// listeners. When nothing would receive a line, a log call returns before any formatting.
#pragma once

#include "core/Format.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
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

// Writing a line takes no lock, so that no thread (a worker killed in the middle of a line
// included) can hold up another's logging: the path is swapped whole, listeners' lines are pushed
// onto lock-free lists, and the file is appended to in one write per line.
class CLog {
public:
    static constexpr size_t kMaxLineLength = 4096;
    static constexpr uint32_t kDefaultMask = 0x7FFFFFFF;
    // Listeners at once; AddListener answers 0 when all are taken.
    static constexpr int kMaxListeners = 32;

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
        if (!IsListening(nCategory))
            return;
        // Logging never fails the operation that logs: a line that cannot be made is dropped.
        try {
            WriteLine(nCategory, pszName, Format(pszFormat, args...));
        } catch (const std::exception&) {
        }
    }

    // Builds the line around an already formatted message and hands it out. Throws only when
    // memory runs out.
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
    // A path once set is never freed: a line being written may still read the one it replaced.
    struct CPath {
        std::u16string text;
        const CPath* pReplaced;
    };
    // A listener's lines, newest first; each carries the listener it was meant for, so that a line
    // pushed while its listener went and another came in its slot is dropped, not misdelivered.
    struct CLine {
        int nListener;
        std::u16string text;
        CLine* pNext;
    };
    struct CListenerSlot {
        std::atomic<int> nId{0};  // 0 free, -1 being set up
        std::atomic<uint32_t> nMask{0};
        std::atomic<CLine*> pLines{nullptr};
    };

    CLog();
    void AppendToFile(const std::u16string& line);
    void PassToListeners(uint32_t nCategory, const std::u16string& line);
    CListenerSlot* FindListener(int nListener);
    static void FreeLines(CLine* pLines);
    std::u16string FileHeader() const;

    std::atomic<uint32_t> m_nMask{0};
    std::atomic<bool> m_bDebugStrings{false};
    std::atomic<bool> m_bFile{false};
    std::atomic<uint32_t> m_nStartTicks{0};
    std::atomic<uint32_t> m_nSeenGeneration{0};
    std::atomic<int> m_nListeners{0};
    std::atomic<const CPath*> m_pPath{nullptr};
    CListenerSlot m_Listeners[kMaxListeners];
    std::atomic<int> m_nNextListener{1};
};

// One formatted line without a scoped object.
template <class... TArgs>
void Log(uint32_t nCategory, const char16_t* pszName, const char16_t* pszFormat, const TArgs&... args)
{
    if (CLog* pLog = CLog::Get())
        pLog->Write(nCategory, pszName, pszFormat, args...);
}

}  // namespace zu
