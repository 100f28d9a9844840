// The tools library's video converter: the conversion runs on a thread of its own, which Close
// (or the end of the object) stops and joins.
#pragma once

#include "VideoConversion.h"

#include <zureader/TranscodeProvider.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

class CVideoConverter final : public VVideoConverter {
public:
    ~CVideoConverter();

    ZUBOOL Prepare(uint32_t nFlag, const ZUCHAR* pszSource, const ZUCHAR* pszOutput, int32_t* pnResult) override;
    ZUBOOL Start() override;
    ZUBOOL Poll() override;
    int32_t GetResult() override;
    void Close() override;
    void Release() override;

private:
    void Convert();

    // Start and Close may come from different threads than Prepare and the end of the object.
    std::mutex m_mutex;
    std::unique_ptr<CVideoConversion> m_pConversion;
    std::thread m_thread;
    std::atomic<bool> m_bStop{false};
    std::atomic<bool> m_bEnded{false};
    std::atomic<int32_t> m_nResult{0};
};
