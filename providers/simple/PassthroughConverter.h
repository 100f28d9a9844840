// CPassthroughConverter: the simple provider's video converter: the source (an FLV or raw video
// stream, which can be read while it grows anyway) copied to the output on the converter's own
// thread, block by block. The flag, when not 0, is a wait in milliseconds after each 64 KiB block,
// so a host can watch the output grow at a known speed.
#pragma once

#include <zureader/TranscodeProvider.h>

#include <atomic>
#include <fstream>
#include <thread>

namespace zu::simple {

class CPassthroughConverter final : public VVideoConverter {
public:
    ~CPassthroughConverter();

    ZUBOOL Prepare(uint32_t nFlag, const ZUCHAR* pszSource, const ZUCHAR* pszOutput, int32_t* pnResult) override;
    ZUBOOL Start() override;
    ZUBOOL Poll() override { return m_bDone.load() ? 1 : 0; }
    int32_t GetResult() override { return m_nResult.load(); }
    void Close() override;
    void Release() override { delete this; }

    enum : int32_t { kNoSource = 1, kNoOutput = 2, kWriteFailed = 3, kStopped = 4 };

private:
    void Copy();

    uint32_t m_nPaceMs = 0;
    std::ifstream m_Input;
    std::ofstream m_Output;
    std::thread m_Worker;
    std::atomic<bool> m_bStop{false};
    std::atomic<bool> m_bDone{false};
    std::atomic<int32_t> m_nResult{0};
};

}  // namespace zu::simple
