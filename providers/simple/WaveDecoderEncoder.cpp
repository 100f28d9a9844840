#include "WaveDecoderEncoder.h"

#include "SettingsText.h"
#include "WaveFormat.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <thread>
#include <vector>

namespace zu::simple {

int32_t CWaveDecoderEncoder::Encode(const ZUCHAR* pszSource, const ZUCHAR*, const ZUCHAR* pszOutput, int32_t,
                                    ZUEncodeProgress pfnProgress, void* pContext, VAudioEncoder* pEncoder,
                                    const ZUCHAR*, const ZUCHAR* pszStartMs, const ZUCHAR* pszFurther)
{
    std::ifstream input(std::filesystem::path(std::basic_string<ZUCHAR>(pszSource)), std::ios::binary);
    CWaveFormat format;
    if (!pEncoder || !input || !format.ReadHeader(input))
        return 0;
    bool bOk = true;
    const auto pace = std::chrono::milliseconds(static_cast<int>(SettingNumber(Narrow(pszFurther), "Pace", 0, bOk)));
    const uint64_t nTotalFrames = format.nDataBytes / format.FrameBytes();
    // The frame at the start time exactly: the output is never skipped again by its reader.
    const uint64_t nStartFrame =
        std::min<uint64_t>(nTotalFrames, std::strtoull(Narrow(pszStartMs).c_str(), nullptr, 10) * format.nSampleRate / 1000);
    input.seekg(static_cast<std::streamoff>(nStartFrame * format.FrameBytes()), std::ios::cur);
    if (!pEncoder->Begin(pszOutput, format.nSampleRate, format.nChannels))
        return 0;
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        m_OutputName = pszOutput;
        m_OutputSeconds = static_cast<double>(nTotalFrames - nStartFrame) / format.nSampleRate;
        m_nBitrate = pEncoder->GetBitrate();
    }
    std::vector<int16_t> block(static_cast<size_t>(kBlockFrames) * format.nChannels);
    uint64_t nLeft = nTotalFrames - nStartFrame;
    bool bWritten = false;
    while (nLeft > 0) {
        const auto nFrames = static_cast<uint32_t>(std::min<uint64_t>(nLeft, kBlockFrames));
        // Samples are little-endian in the file, as in memory on every system this runs on.
        if (!input.read(reinterpret_cast<char*>(block.data()), nFrames * format.FrameBytes()) ||
            !pEncoder->Write(block.data(), nFrames))
            break;
        nLeft -= nFrames;
        bWritten = true;
        if (!pfnProgress(0, 1, pContext)) {
            pEncoder->End();
            return 0;
        }
        pfnProgress(1, 0, pContext);
        std::this_thread::sleep_for(pace);
    }
    const bool bEnded = pEncoder->End() != 0;
    pfnProgress(0, bWritten || bEnded ? 1 : 0, pContext);
    return nLeft == 0 && bEnded ? 1 : 0;
}

uint32_t CWaveDecoderEncoder::GetProperty(const ZUCHAR* pszName, ZUCHAR* pszValue, uint32_t nCapacity)
{
    const std::string name = Narrow(pszName);
    std::basic_string<ZUCHAR> value;
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        std::string number;
        if (name == "Output Filename")
            value = m_OutputName;
        else if (name == "Output Duration")
            number = std::to_string(m_OutputSeconds);
        else if (name == "Output Bitrate Estimate")
            number = std::to_string(m_nBitrate);
        else
            return 0;
        value.append(number.begin(), number.end());
    }
    if (value.size() < nCapacity) {
        std::copy(value.begin(), value.end(), pszValue);
        pszValue[value.size()] = 0;
    }
    return static_cast<uint32_t>(value.size());
}

}  // namespace zu::simple

extern "C" ZU_PROVIDER_ENTRY VAudioDecoderEncoder* CreateZUAudioPlayerDecoderDLL()
{
    return new (std::nothrow) zu::simple::CWaveDecoderEncoder;
}
