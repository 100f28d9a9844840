#include "AudioDecoderEncoder.h"

#include "AudioDecoder.h"
#include "ProviderText.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

namespace {

constexpr auto kProgressEvery = std::chrono::milliseconds(50);

bool HasBytes(const std::string& sPath) {
    struct stat st {};
    return ::stat(sPath.c_str(), &st) == 0 && st.st_size > 0;
}

double ParseStartSeconds(const ZUCHAR* pszStartMs) {
    double dMs = std::strtod(CProviderText::ToUtf8(pszStartMs).c_str(), nullptr);
    return dMs > 0 ? dMs / 1000.0 : 0.0;
}

}  // namespace

CAudioDecoderEncoder::CProgress::CProgress(ZUEncodeProgress pfn, void* pContext, std::string sOutput)
    : m_pfn(pfn), m_pContext(pContext), m_sOutput(std::move(sOutput)), m_tLast(std::chrono::steady_clock::now()) {}

bool CAudioDecoderEncoder::CProgress::Tick(bool bForce) {
    auto tNow = std::chrono::steady_clock::now();
    if (m_bCancelled || (!bForce && tNow - m_tLast < kProgressEvery)) return !m_bCancelled;
    m_tLast = tNow;
    // The flag stays up once seen: the file only grows.
    if (!m_bStarted) m_bStarted = bForce || HasBytes(m_sOutput);
    if (m_pfn && m_pfn(0, m_bStarted ? 1 : 0, m_pContext) == 0) m_bCancelled = true;
    return !m_bCancelled;
}

void CAudioDecoderEncoder::SetFlag(uint32_t nFlag) {
    m_nFlag = nFlag;
}

void CAudioDecoderEncoder::Release() {
    delete this;
}

int32_t CAudioDecoderEncoder::Encode(const ZUCHAR* pszSource, const ZUCHAR* pszType, const ZUCHAR* pszOutput,
                                     int32_t nMode, ZUEncodeProgress pfnProgress, void* pContext,
                                     VAudioEncoder* pEncoder, const ZUCHAR* pszEncoderName,
                                     const ZUCHAR* pszStartMs, const ZUCHAR* pszFurther) {
    if (!pszSource || !pszOutput || !pEncoder) return 0;
    try {
        std::string sOutput = CProviderText::ToUtf8(pszOutput);
        SetText(m_sOutputName, sOutput);
        SetText(m_sDuration, std::string());
        m_nBitrate = 0;
        CProgress progress(pfnProgress, pContext, sOutput);
        bool bOk = Run(CProviderText::ToUtf8(pszSource), pszOutput, ParseStartSeconds(pszStartMs), progress, pEncoder);
        // Also when nothing was written: a caller waiting for the first bytes stops waiting.
        progress.Tick(true);
        return bOk ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

bool CAudioDecoderEncoder::Run(const std::string& sSource, const ZUCHAR* pszOutput, double dStart,
                               CProgress& progress, VAudioEncoder* pEncoder) {
    CAudioDecoder decoder;
    if (!decoder.Open(sSource)) return false;
    double dDuration = decoder.GetDuration();
    if (dDuration >= 0) {
        char szDuration[32];
        std::snprintf(szDuration, sizeof szDuration, "%.3f", std::max(0.0, dDuration - dStart));
        SetText(m_sDuration, szDuration);
    }
    decoder.SeekTo(dStart);
    if (!pEncoder->Begin(pszOutput, decoder.GetRate(), decoder.GetChannels())) return false;
    m_nBitrate = pEncoder->GetBitrate();
    bool bOk = Pump(decoder, progress, pEncoder);
    // A cancel or a failure keeps what was written as a complete file.
    return pEncoder->End() && bOk;
}

bool CAudioDecoderEncoder::Pump(CAudioDecoder& decoder, CProgress& progress, VAudioEncoder* pEncoder) {
    std::vector<int16_t> vSamples;
    for (;;) {
        vSamples.clear();
        int n = decoder.Decode(vSamples);
        if (n < 0) return false;
        if (n == 0) return true;
        if (!pEncoder->Write(vSamples.data(), static_cast<uint32_t>(n))) return false;
        m_nBitrate = pEncoder->GetBitrate();
        if (!progress.Tick(false)) return false;
    }
}

void CAudioDecoderEncoder::SetText(std::string& sField, const std::string& sValue) {
    std::lock_guard<std::mutex> lock(m_mutex);
    sField = sValue;
}

uint32_t CAudioDecoderEncoder::GetProperty(const ZUCHAR* pszName, ZUCHAR* pszValue, uint32_t nCapacity) {
    try {
        std::string sName = CProviderText::ToUtf8(pszName);
        std::string sValue;
        if (sName == "Output Bitrate Estimate") {
            uint32_t nBitrate = m_nBitrate;
            if (!nBitrate) return 0;
            sValue = std::to_string(nBitrate);
        } else {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (sName == "Output Filename") sValue = m_sOutputName;
            else if (sName == "Output Duration") sValue = m_sDuration;
            else return 0;
        }
        return CProviderText::CopyOut(sValue, pszValue, nCapacity);
    } catch (...) {
        return 0;
    }
}

extern "C" __attribute__((visibility("default"))) VAudioDecoderEncoder* CreateZUAudioPlayerDecoderDLL() {
    return new (std::nothrow) CAudioDecoderEncoder();
}
