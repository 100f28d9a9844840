// CWaveFormat: the RIFF WAVE layout the simple provider reads and writes: 16-bit PCM only.
#pragma once

#include <cstdint>
#include <istream>
#include <ostream>

namespace zu::simple {

class CWaveFormat {
public:
    static constexpr uint32_t kHeaderBytes = 44;

    uint32_t nSampleRate = 0;
    uint32_t nChannels = 0;
    // Bytes of samples after the header; 0xFFFFFFFF in a file still being written.
    uint32_t nDataBytes = 0;

    uint32_t FrameBytes() const { return nChannels * 2; }

    // Finds "fmt " and "data" and leaves the stream at the first sample; false for anything but
    // 16-bit PCM.
    bool ReadHeader(std::istream& input);
    void WriteHeader(std::ostream& output) const;
};

}  // namespace zu::simple
