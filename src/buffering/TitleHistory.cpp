#include "buffering/TitleHistory.h"

#include <algorithm>

void CTitleHistory::Add(int64_t nPosition, const std::string& title)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    if (!m_Entries.empty() && m_Entries.back().nPosition >= nPosition)
        m_Entries.back().title = title;
    else
        m_Entries.push_back({nPosition, title});
}

std::string CTitleHistory::Latest() const
{
    std::lock_guard<std::mutex> lock(m_Lock);
    return m_Entries.empty() ? std::string() : m_Entries.back().title;
}

std::string CTitleHistory::At(int64_t nPosition, int64_t& nToNext) const
{
    std::lock_guard<std::mutex> lock(m_Lock);
    // The first entry after nPosition; the one before it holds there.
    const auto next = std::upper_bound(m_Entries.begin(), m_Entries.end(), nPosition,
                                       [](int64_t nAt, const CEntry& entry) { return nAt < entry.nPosition; });
    nToNext = next == m_Entries.end() ? -1 : next->nPosition - nPosition;
    return next == m_Entries.begin() ? std::string() : std::prev(next)->title;
}

void CTitleHistory::ForgetBefore(int64_t nPosition)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    while (m_Entries.size() > 1 && m_Entries[1].nPosition <= nPosition)
        m_Entries.pop_front();
}
