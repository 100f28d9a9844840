// One video conversion into fragmented MP4: an empty index first and a fragment per key frame, so
// that a reader of the growing file has a playable stream. Video is copied when MP4 players take
// its codec as it is (H.264, HEVC, MPEG-4 part 2), audio when it is AAC or MP3; the rest is
// encoded again.
#pragma once

#include "AvHandles.h"
#include "StreamEncoder.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

class CVideoConversion {
public:
    ~CVideoConversion();
    // Opens the source, makes the output and writes its header; FFmpeg's error code on a failure.
    int Open(const std::string& sSource, const std::string& sOutput);
    // Converts until the source ends or bStop is raised (checked between packets).
    int Run(const std::atomic<bool>& bStop);
    // Writes the trailer and closes the output; what was written stays readable.
    int Finish();

private:
    struct StreamRoute {
        int nOutputIndex = -1;
        std::unique_ptr<CStreamEncoder> pEncoder;
    };

    int AddStream(AVMediaType eType);
    int AddCopy(AVStream* pInput, StreamRoute& route);
    int Forward(AVPacket* pPacket);
    int Drain();
    int WritePacket(AVPacket* pPacket);

    zuav::InputPtr m_pInput;
    zuav::OutputPtr m_pOutput;
    zuav::PacketPtr m_pPacket;
    std::vector<StreamRoute> m_vRoutes;
    bool m_bFileOpen = false;
    bool m_bHeaderWritten = false;
};
