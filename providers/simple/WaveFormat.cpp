#include "WaveFormat.h"

#include <cstring>

namespace zu::simple {
namespace {

uint32_t Little32(const uint8_t* p)
{
    return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

uint16_t Little16(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

void Put32(std::ostream& output, uint32_t n)
{
    const char bytes[4] = {char(n), char(n >> 8), char(n >> 16), char(n >> 24)};
    output.write(bytes, 4);
}

void Put16(std::ostream& output, uint16_t n)
{
    const char bytes[2] = {char(n), char(n >> 8)};
    output.write(bytes, 2);
}

}  // namespace

bool CWaveFormat::ReadHeader(std::istream& input)
{
    uint8_t riff[12];
    if (!input.read(reinterpret_cast<char*>(riff), 12) || std::memcmp(riff, "RIFF", 4) != 0 ||
        std::memcmp(riff + 8, "WAVE", 4) != 0)
        return false;
    bool bFormat = false;
    uint8_t chunk[8];
    while (input.read(reinterpret_cast<char*>(chunk), 8)) {
        const uint32_t nSize = Little32(chunk + 4);
        if (std::memcmp(chunk, "data", 4) == 0) {
            nDataBytes = nSize;
            return bFormat;
        }
        if (std::memcmp(chunk, "fmt ", 4) == 0 && nSize >= 16) {
            uint8_t format[16];
            if (!input.read(reinterpret_cast<char*>(format), 16))
                return false;
            nChannels = Little16(format + 2);
            nSampleRate = Little32(format + 4);
            bFormat = Little16(format) == 1 && Little16(format + 14) == 16 && nChannels > 0 && nSampleRate > 0;
            input.seekg(nSize - 16 + (nSize & 1), std::ios::cur);
        } else {
            input.seekg(nSize + (nSize & 1), std::ios::cur);
        }
    }
    return false;
}

void CWaveFormat::WriteHeader(std::ostream& output) const
{
    output.write("RIFF", 4);
    Put32(output, nDataBytes == 0xFFFFFFFFu ? nDataBytes : nDataBytes + 36);
    output.write("WAVEfmt ", 8);
    Put32(output, 16);
    Put16(output, 1);
    Put16(output, static_cast<uint16_t>(nChannels));
    Put32(output, nSampleRate);
    Put32(output, nSampleRate * FrameBytes());
    Put16(output, static_cast<uint16_t>(FrameBytes()));
    Put16(output, 16);
    output.write("data", 4);
    Put32(output, nDataBytes);
}

}  // namespace zu::simple
