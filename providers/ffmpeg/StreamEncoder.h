// One stream of a video conversion that cannot be copied as it is: decoded, converted to what the
// target codec takes (pixels by libswscale, samples by libswresample) and encoded again.
#pragma once

#include "AudioFrameQueue.h"
#include "AvHandles.h"

#include <functional>
#include <memory>

class CStreamEncoder {
public:
    // Takes an encoded packet ready for the muxer (time stamps in the output stream's base).
    using PacketSink = std::function<int(AVPacket*)>;

    // Adds the output stream to pOutput and opens decoder and encoder; null with *pnError set.
    static std::unique_ptr<CStreamEncoder> Open(AVStream* pInput, AVFormatContext* pOutput, int* pnError);

    // Decodes pPacket (null: the end) and passes what the encoder makes to fnSink; FFmpeg's error
    // code on a failure.
    int Feed(const AVPacket* pPacket, const PacketSink& fnSink);

private:
    CStreamEncoder() = default;
    int OpenDecoder(AVStream* pInput);
    int OpenVideoEncoder(AVFormatContext* pOutput);
    int OpenAudioEncoder(AVFormatContext* pOutput);
    int Convert(AVFrame* pDecoded, const PacketSink& fnSink);
    int ConvertVideo(AVFrame* pDecoded, const PacketSink& fnSink);
    int ConvertAudio(AVFrame* pDecoded, const PacketSink& fnSink);
    int EncodeQueued(bool bFinal, const PacketSink& fnSink);
    int Encode(AVFrame* pFrame, const PacketSink& fnSink);

    AVStream* m_pInputStream = nullptr;
    AVStream* m_pOutputStream = nullptr;
    zuav::CodecPtr m_pDecoder;
    zuav::CodecPtr m_pEncoder;
    zuav::ScalerPtr m_pScaler;
    zuav::ResamplerPtr m_pResampler;
    // Audio only.
    std::unique_ptr<CAudioFrameQueue> m_pQueue;
    zuav::FramePtr m_pDecoded;
    zuav::FramePtr m_pConverted;
    zuav::PacketPtr m_pPacket;
    bool m_bFlushed = false;
};
