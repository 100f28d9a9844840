// The scoped log object a reader operation creates first: lines it writes carry its category and
// its "Class::Method" name; a timed one writes "Start" now and "Finish (%d ms)" when it goes.
#pragma once

#include "core/Log.h"

namespace zu {

class CFunctionLog {
public:
    CFunctionLog(uint32_t nCategory, const char16_t* pszName, bool bTimed = false);
    ~CFunctionLog();
    CFunctionLog(const CFunctionLog&) = delete;
    CFunctionLog& operator=(const CFunctionLog&) = delete;

    // Writes only when bEnabled is non-zero; messages passed 0 are kept in the code switched off.
    template <class... TArgs>
    void Log(int bEnabled, const char16_t* pszFormat, const TArgs&... args)
    {
        if (bEnabled && m_pLog)
            m_pLog->Write(m_nCategory, m_pszName, pszFormat, args...);
    }

    template <class... TArgs>
    void Log(const char16_t* pszFormat, const TArgs&... args)
    {
        if (m_pLog)
            m_pLog->Write(m_nCategory, m_pszName, pszFormat, args...);
    }

private:
    CLog* m_pLog;
    uint32_t m_nCategory;
    const char16_t* m_pszName;
    bool m_bTimed;
    uint32_t m_nStartTicks;
};

}  // namespace zu
