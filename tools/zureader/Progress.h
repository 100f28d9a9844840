// A one-line progress bar on standard error: bytes so far, rate, and the share done with an ETA
// when the total is known. It draws only when told to (the caller decides whether a person is
// watching) and at most a few times a second.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace zucli {

class CProgress {
public:
    CProgress(bool bVisible, int64_t nTotal);
    ~CProgress();

    void Advance(uint64_t nBytes);
    // A total that becomes known, or better known, while the bytes come (an encoder's estimate).
    void SetTotal(int64_t nTotal) { m_nTotal = nTotal; }
    void Finish();

private:
    void Draw(bool bFinal);

    bool m_bVisible;
    int64_t m_nTotal;
    uint64_t m_nDone = 0;
    bool m_bFinished = false;
    std::chrono::steady_clock::time_point m_Start;
    std::chrono::steady_clock::time_point m_LastDraw;
};

// "1.5 MiB" style.
std::string FormatBytes(double nBytes);

}  // namespace zucli
