// The player library's decoder-encoder: decodes a source from a start time and feeds an encoder
// plug-in, telling the caller when the output holds its first bytes.
#pragma once

#include <zureader/TranscodeProvider.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>

class CAudioDecoder;

class CAudioDecoderEncoder final : public VAudioDecoderEncoder {
public:
    void SetFlag(uint32_t nFlag) override;
    int32_t Encode(const ZUCHAR* pszSource, const ZUCHAR* pszType, const ZUCHAR* pszOutput, int32_t nMode,
                   ZUEncodeProgress pfnProgress, void* pContext, VAudioEncoder* pEncoder,
                   const ZUCHAR* pszEncoderName, const ZUCHAR* pszStartMs, const ZUCHAR* pszFurther) override;
    uint32_t GetProperty(const ZUCHAR* pszName, ZUCHAR* pszValue, uint32_t nCapacity) override;
    void Release() override;

private:
    // The caller's progress callback, called at least every 100 ms; remembers a cancel.
    class CProgress {
    public:
        CProgress(ZUEncodeProgress pfn, void* pContext, std::string sOutput);
        // False once the caller has asked to cancel.
        bool Tick(bool bForce);

    private:
        ZUEncodeProgress m_pfn;
        void* m_pContext;
        std::string m_sOutput;
        std::chrono::steady_clock::time_point m_tLast;
        bool m_bStarted = false;
        bool m_bCancelled = false;
    };

    bool Run(const std::string& sSource, const ZUCHAR* pszOutput, double dStart, CProgress& progress,
             VAudioEncoder* pEncoder);
    bool Pump(CAudioDecoder& decoder, CProgress& progress, VAudioEncoder* pEncoder);
    void SetText(std::string& sField, const std::string& sValue);

    // The properties are read from other threads while Encode runs.
    std::mutex m_mutex;
    std::string m_sOutputName;
    std::string m_sDuration;
    std::atomic<uint32_t> m_nBitrate{0};
    std::atomic<uint32_t> m_nFlag{0};
};
