#include "Progress.h"

#include "Console.h"

#include <cstdio>
#include <string>

namespace zucli {

std::string FormatBytes(double nBytes)
{
    static const char* const kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB"};
    int nUnit = 0;
    while (nBytes >= 1024 && nUnit < 4) {
        nBytes /= 1024;
        ++nUnit;
    }
    char text[32];
    std::snprintf(text, sizeof(text), nUnit == 0 ? "%.0f %s" : "%.1f %s", nBytes, kUnits[nUnit]);
    return text;
}

CProgress::CProgress(bool bVisible, int64_t nTotal)
    : m_bVisible(bVisible), m_nTotal(nTotal), m_Start(std::chrono::steady_clock::now()), m_LastDraw(m_Start)
{
}

CProgress::~CProgress()
{
    Finish();
}

void CProgress::Advance(uint64_t nBytes)
{
    m_nDone += nBytes;
    const auto now = std::chrono::steady_clock::now();
    if (m_bVisible && now - m_LastDraw >= std::chrono::milliseconds(200)) {
        m_LastDraw = now;
        Draw(false);
    }
}

void CProgress::Finish()
{
    if (m_bFinished)
        return;
    m_bFinished = true;
    if (m_bVisible) {
        Draw(true);
        std::fputc('\n', stderr);
    }
}

void CProgress::Draw(bool bFinal)
{
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - m_Start).count();
    const double rate = seconds > 0 ? m_nDone / seconds : 0;
    std::string line = FormatBytes(static_cast<double>(m_nDone)) + "  " + FormatBytes(rate) + "/s";
    if (m_nTotal > 0) {
        const double share = static_cast<double>(m_nDone) / static_cast<double>(m_nTotal);
        const int nWidth = 30;
        const int nFilled = static_cast<int>(share * nWidth + 0.5);
        std::string bar = "[" + std::string(nFilled > nWidth ? nWidth : nFilled, '#') +
                          std::string(nFilled > nWidth ? 0 : nWidth - nFilled, '-') + "]";
        char tail[64];
        const double eta = rate > 0 ? (static_cast<double>(m_nTotal) - static_cast<double>(m_nDone)) / rate : 0;
        std::snprintf(tail, sizeof(tail), " %3.0f%%  ETA %.0fs", share * 100, bFinal ? 0.0 : eta);
        line = bar + " " + line + tail;
    }
    const int nColumns = TerminalColumns();
    if (static_cast<int>(line.size()) >= nColumns)
        line.resize(nColumns > 1 ? nColumns - 1 : 0);
    std::fprintf(stderr, "\r%-*s", nColumns > 1 ? nColumns - 1 : 0, line.c_str());
    std::fflush(stderr);
}

}  // namespace zucli
