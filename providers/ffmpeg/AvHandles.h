// Owning handles for FFmpeg's objects: each is freed by the call FFmpeg pairs with its allocation,
// whichever path leaves the function that made it.
#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace zuav {

struct InputCloser {
    void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
};
// An output context owns its file only once avio_open succeeded; closing it is the owner's job
// (see OutputFile), so the deleter frees the context alone.
struct OutputFreer {
    void operator()(AVFormatContext* p) const { avformat_free_context(p); }
};
struct CodecFreer {
    void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
};
struct FrameFreer {
    void operator()(AVFrame* p) const { av_frame_free(&p); }
};
struct PacketFreer {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct ResamplerFreer {
    void operator()(SwrContext* p) const { swr_free(&p); }
};
struct FifoFreer {
    void operator()(AVAudioFifo* p) const { av_audio_fifo_free(p); }
};
struct ScalerFreer {
    void operator()(SwsContext* p) const { sws_freeContext(p); }
};

using InputPtr = std::unique_ptr<AVFormatContext, InputCloser>;
using OutputPtr = std::unique_ptr<AVFormatContext, OutputFreer>;
using CodecPtr = std::unique_ptr<AVCodecContext, CodecFreer>;
using FramePtr = std::unique_ptr<AVFrame, FrameFreer>;
using PacketPtr = std::unique_ptr<AVPacket, PacketFreer>;
using ResamplerPtr = std::unique_ptr<SwrContext, ResamplerFreer>;
using FifoPtr = std::unique_ptr<AVAudioFifo, FifoFreer>;
using ScalerPtr = std::unique_ptr<SwsContext, ScalerFreer>;

}  // namespace zuav
