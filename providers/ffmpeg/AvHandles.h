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

// A converter between two sample formats, layouts and rates; an input layout that names only its
// channel count is taken in the usual order for that count. Null on a failure.
inline ResamplerPtr MakeResampler(const AVChannelLayout& in, AVSampleFormat eIn, int nInRate,
                                  const AVChannelLayout& out, AVSampleFormat eOut, int nOutRate) {
    // Copies: this FFmpeg's resampler takes its layouts by non-const pointer.
    AVChannelLayout inLayout{}, outLayout{};
    if (in.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&inLayout, in.nb_channels);
    } else if (av_channel_layout_copy(&inLayout, &in) < 0) {
        return nullptr;
    }
    SwrContext* p = nullptr;
    int nErr = av_channel_layout_copy(&outLayout, &out);
    if (nErr >= 0) nErr = swr_alloc_set_opts2(&p, &outLayout, eOut, nOutRate, &inLayout, eIn, nInRate, 0, nullptr);
    av_channel_layout_uninit(&inLayout);
    av_channel_layout_uninit(&outLayout);
    ResamplerPtr pResampler(p);
    if (nErr < 0 || swr_init(p) < 0) return nullptr;
    return pResampler;
}

}  // namespace zuav
