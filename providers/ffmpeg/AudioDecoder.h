// Any source FFmpeg decodes, as interleaved 16-bit PCM at the source's rate and at most two
// channels, from a start position exact to the sample.
#pragma once

#include "AvHandles.h"

#include <string>
#include <vector>

class CAudioDecoder {
public:
    // Opens the source and its best audio stream.
    bool Open(const std::string& sSource);
    // Seconds of audio in the source, or a negative number when the source does not say.
    double GetDuration() const;
    uint32_t GetRate() const;
    uint32_t GetChannels() const;
    // Goes back to a key frame at or before dStartSeconds; samples before it are dropped later,
    // so the first sample answered is the one at that time exactly.
    void SeekTo(double dStartSeconds);
    // Appends the next decoded frames to vSamples: their count, 0 at the end, -1 on an error.
    int Decode(std::vector<int16_t>& vSamples);

private:
    int ReadFrames(std::vector<int16_t>& vSamples);
    int Append(const AVFrame* pFrame, std::vector<int16_t>& vSamples);
    bool OpenResampler(const AVFrame* pFrame);
    int64_t PositionOf(const AVFrame* pFrame) const;
    void Rewind();

    zuav::InputPtr m_pInput;
    zuav::CodecPtr m_pCodec;
    zuav::ResamplerPtr m_pResampler;
    zuav::FramePtr m_pFrame;
    zuav::PacketPtr m_pPacket;
    AVStream* m_pStream = nullptr;
    int64_t m_nStartSample = 0;
    int64_t m_nNextSample = 0;
    bool m_bDraining = false;
    bool m_bEnded = false;
    bool m_bRewound = false;
};
