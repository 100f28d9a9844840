// What the transcoding tests share: WAV sources of known samples, and a scene in which the simple
// provider is the one loaded and its encoder is registered in scratch settings stores.
#pragma once

#include "TestSupport.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace zutest {

// 16-bit mono PCM: one tone per second, second k at 300 + 100 k Hz.
std::vector<int16_t> ToneSteps(uint32_t nSampleRate, uint32_t nSeconds);
std::string WaveFile(const std::vector<int16_t>& samples, uint32_t nSampleRate);
// The samples of WAV bytes (the 44-byte header left out).
std::vector<int16_t> WaveSamples(const std::string& bytes);

class CTranscodeScene {
public:
    CTranscodeScene();
    ~CTranscodeScene();

    const CTempFolder& Folder() const { return m_Folder; }
    // The folder the library takes its temporary (output) files from.
    const std::u16string& TempPath() const { return m_Temp.Path(); }
    size_t TempFileCount() const;

private:
    CTempFolder m_Folder;
    CTempFolder m_Temp;
    CTempFolder m_MachineHome;
    CScopedHome m_Home;
    std::unique_ptr<CScopedTempFolder> m_pTempScope;
    std::unique_ptr<CScopedEnvironment> m_pMachine;
    std::unique_ptr<CScopedEnvironment> m_pProviders;
};

}  // namespace zutest
