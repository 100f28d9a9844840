#include "core/FunctionLog.h"

#include "host/LogSettings.h"
#include "platform/System.h"

namespace zu {

CFunctionLog::CFunctionLog(uint32_t nCategory, const char16_t* pszName, bool bTimed)
    : m_pLog(CLog::Get()), m_nCategory(nCategory), m_pszName(pszName), m_bTimed(bTimed),
      m_nStartTicks(platform::TickCount())
{
    if (m_pLog && host::CLogSettings::Instance().IsOwnerThread())
        m_pLog->RefreshFromSharedSettings();
    if (m_bTimed)
        Log(u"Start");
}

CFunctionLog::~CFunctionLog()
{
    if (m_bTimed)
        Log(u"Finish (%d ms)", static_cast<int>(platform::TickCount() - m_nStartTicks));
}

}  // namespace zu
