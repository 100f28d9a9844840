#include "StreamEncoder.h"

#include <algorithm>
#include <string>

extern "C" {
#include <libavutil/opt.h>
}

namespace {

// One key frame a second: the converter's output gets a fragment per key frame, and a reader of
// the growing file waits at most about that long for the next one.
constexpr int kKeyFramesPerSecond = 1;

int ChooseAudioRate(const AVCodec* pCodec, int nRate) {
    if (!pCodec->supported_samplerates) return nRate;
    for (const int* p = pCodec->supported_samplerates; *p; ++p) {
        if (*p == nRate) return nRate;
    }
    return 48000;
}

}  // namespace

std::unique_ptr<CStreamEncoder> CStreamEncoder::Open(AVStream* pInput, AVFormatContext* pOutput, int* pnError) {
    std::unique_ptr<CStreamEncoder> p(new CStreamEncoder());
    p->m_pInputStream = pInput;
    int nErr = p->OpenDecoder(pInput);
    if (nErr >= 0) {
        nErr = pInput->codecpar->codec_type == AVMEDIA_TYPE_VIDEO ? p->OpenVideoEncoder(pOutput)
                                                                   : p->OpenAudioEncoder(pOutput);
    }
    p->m_pDecoded.reset(av_frame_alloc());
    p->m_pConverted.reset(av_frame_alloc());
    p->m_pPacket.reset(av_packet_alloc());
    if (nErr >= 0 && (!p->m_pDecoded || !p->m_pConverted || !p->m_pPacket)) nErr = AVERROR(ENOMEM);
    if (nErr >= 0) {
        p->m_pOutputStream = avformat_new_stream(pOutput, nullptr);
        nErr = p->m_pOutputStream ? avcodec_parameters_from_context(p->m_pOutputStream->codecpar, p->m_pEncoder.get())
                                  : AVERROR(ENOMEM);
    }
    if (nErr < 0) {
        *pnError = nErr;
        return nullptr;
    }
    p->m_pOutputStream->time_base = p->m_pEncoder->time_base;
    return p;
}

int CStreamEncoder::OpenDecoder(AVStream* pInput) {
    const AVCodec* pCodec = avcodec_find_decoder(pInput->codecpar->codec_id);
    if (!pCodec) return AVERROR_DECODER_NOT_FOUND;
    m_pDecoder.reset(avcodec_alloc_context3(pCodec));
    if (!m_pDecoder) return AVERROR(ENOMEM);
    int nErr = avcodec_parameters_to_context(m_pDecoder.get(), pInput->codecpar);
    if (nErr < 0) return nErr;
    m_pDecoder->pkt_timebase = pInput->time_base;
    // FFmpeg's own threads are not seen by the race checker the tests run under.
    m_pDecoder->thread_count = 1;
    return avcodec_open2(m_pDecoder.get(), pCodec, nullptr);
}

int CStreamEncoder::OpenVideoEncoder(AVFormatContext* pOutput) {
    // x264 where this FFmpeg has it; MPEG-4 part 2 is always built in.
    const AVCodec* pCodec = avcodec_find_encoder_by_name("libx264");
    if (!pCodec) pCodec = avcodec_find_encoder(AV_CODEC_ID_MPEG4);
    if (!pCodec) return AVERROR_ENCODER_NOT_FOUND;
    m_pEncoder.reset(avcodec_alloc_context3(pCodec));
    if (!m_pEncoder) return AVERROR(ENOMEM);
    AVCodecContext* c = m_pEncoder.get();
    AVRational rate = av_guess_frame_rate(nullptr, m_pInputStream, nullptr);
    if (rate.num <= 0 || rate.den <= 0) rate = AVRational{25, 1};
    c->width = m_pDecoder->width;
    c->height = m_pDecoder->height;
    c->sample_aspect_ratio = m_pDecoder->sample_aspect_ratio;
    c->pix_fmt = AV_PIX_FMT_YUV420P;
    c->framerate = rate;
    c->time_base = av_inv_q(rate);
    c->gop_size = std::max(1, rate.num / std::max(1, rate.den) / kKeyFramesPerSecond);
    c->thread_count = 1;
    if (pOutput->oformat->flags & AVFMT_GLOBALHEADER) c->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    AVDictionary* pOptions = nullptr;
    if (std::string(pCodec->name) == "libx264") {
        av_dict_set(&pOptions, "preset", "veryfast", 0);
        av_dict_set(&pOptions, "threads", "1", 0);
    } else {
        c->bit_rate = 2000000;
    }
    int nErr = avcodec_open2(c, pCodec, &pOptions);
    av_dict_free(&pOptions);
    return nErr;
}

int CStreamEncoder::OpenAudioEncoder(AVFormatContext* pOutput) {
    const AVCodec* pCodec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (!pCodec) return AVERROR_ENCODER_NOT_FOUND;
    m_pEncoder.reset(avcodec_alloc_context3(pCodec));
    if (!m_pEncoder) return AVERROR(ENOMEM);
    AVCodecContext* c = m_pEncoder.get();
    c->sample_rate = ChooseAudioRate(pCodec, m_pDecoder->sample_rate);
    c->sample_fmt = pCodec->sample_fmts ? pCodec->sample_fmts[0] : AV_SAMPLE_FMT_FLTP;
    av_channel_layout_default(&c->ch_layout, m_pDecoder->ch_layout.nb_channels >= 2 ? 2 : 1);
    c->bit_rate = 128000;
    c->time_base = AVRational{1, c->sample_rate};
    c->thread_count = 1;
    if (pOutput->oformat->flags & AVFMT_GLOBALHEADER) c->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    int nErr = avcodec_open2(c, pCodec, nullptr);
    if (nErr < 0) return nErr;
    m_pQueue = std::make_unique<CAudioFrameQueue>();
    return m_pQueue->Open(c, c->frame_size ? c->frame_size : 1024) ? 0 : AVERROR(ENOMEM);
}

int CStreamEncoder::Feed(const AVPacket* pPacket, const PacketSink& fnSink) {
    if (m_bFlushed) return 0;
    int nErr = avcodec_send_packet(m_pDecoder.get(), pPacket);
    // A damaged packet costs its picture or samples, not the conversion.
    if (nErr == AVERROR_INVALIDDATA) return 0;
    if (nErr < 0) return nErr;
    for (;;) {
        nErr = avcodec_receive_frame(m_pDecoder.get(), m_pDecoded.get());
        if (nErr == AVERROR(EAGAIN)) return 0;
        if (nErr == AVERROR_EOF) break;
        if (nErr < 0) return nErr;
        nErr = Convert(m_pDecoded.get(), fnSink);
        av_frame_unref(m_pDecoded.get());
        if (nErr < 0) return nErr;
    }
    m_bFlushed = true;
    if (m_pQueue && (nErr = EncodeQueued(true, fnSink)) < 0) return nErr;
    return Encode(nullptr, fnSink);
}

int CStreamEncoder::Convert(AVFrame* pDecoded, const PacketSink& fnSink) {
    return m_pQueue ? ConvertAudio(pDecoded, fnSink) : ConvertVideo(pDecoded, fnSink);
}

int CStreamEncoder::ConvertVideo(AVFrame* pDecoded, const PacketSink& fnSink) {
    AVCodecContext* c = m_pEncoder.get();
    m_pScaler.reset(sws_getCachedContext(m_pScaler.release(), pDecoded->width, pDecoded->height,
                                         static_cast<AVPixelFormat>(pDecoded->format), c->width, c->height,
                                         c->pix_fmt, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!m_pScaler) return AVERROR(EINVAL);
    AVFrame* f = m_pConverted.get();
    av_frame_unref(f);
    f->format = c->pix_fmt;
    f->width = c->width;
    f->height = c->height;
    int nErr = av_frame_get_buffer(f, 0);
    if (nErr < 0) return nErr;
    sws_scale(m_pScaler.get(), pDecoded->data, pDecoded->linesize, 0, pDecoded->height, f->data, f->linesize);
    int64_t nPts = pDecoded->best_effort_timestamp;
    f->pts = nPts == AV_NOPTS_VALUE ? AV_NOPTS_VALUE : av_rescale_q(nPts, m_pInputStream->time_base, c->time_base);
    return Encode(f, fnSink);
}

int CStreamEncoder::ConvertAudio(AVFrame* pDecoded, const PacketSink& fnSink) {
    AVCodecContext* c = m_pEncoder.get();
    if (!m_pResampler) {
        m_pResampler = zuav::MakeResampler(pDecoded->ch_layout, static_cast<AVSampleFormat>(pDecoded->format),
                                           pDecoded->sample_rate, c->ch_layout, c->sample_fmt, c->sample_rate);
        if (!m_pResampler) return AVERROR(EINVAL);
    }
    if (!m_pQueue->Push(m_pResampler.get(), const_cast<const uint8_t**>(pDecoded->extended_data),
                        pDecoded->nb_samples)) {
        return AVERROR(ENOMEM);
    }
    return EncodeQueued(false, fnSink);
}

int CStreamEncoder::EncodeQueued(bool bFinal, const PacketSink& fnSink) {
    for (;;) {
        AVFrame* pFrame = nullptr;
        if (!m_pQueue->Pop(bFinal, &pFrame)) return AVERROR(ENOMEM);
        if (!pFrame) return 0;
        int nErr = Encode(pFrame, fnSink);
        if (nErr < 0) return nErr;
    }
}

int CStreamEncoder::Encode(AVFrame* pFrame, const PacketSink& fnSink) {
    int nErr = avcodec_send_frame(m_pEncoder.get(), pFrame);
    if (nErr < 0) return nErr;
    for (;;) {
        nErr = avcodec_receive_packet(m_pEncoder.get(), m_pPacket.get());
        if (nErr == AVERROR(EAGAIN) || nErr == AVERROR_EOF) return 0;
        if (nErr < 0) return nErr;
        av_packet_rescale_ts(m_pPacket.get(), m_pEncoder->time_base, m_pOutputStream->time_base);
        m_pPacket->stream_index = m_pOutputStream->index;
        nErr = fnSink(m_pPacket.get());
        av_packet_unref(m_pPacket.get());
        if (nErr < 0) return nErr;
    }
}
