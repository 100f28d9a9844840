#include "VideoConversion.h"

namespace {

bool IsCopied(const AVCodecParameters* p) {
    switch (p->codec_id) {
        case AV_CODEC_ID_H264:
        case AV_CODEC_ID_HEVC:
        case AV_CODEC_ID_MPEG4:
        case AV_CODEC_ID_AAC:
        case AV_CODEC_ID_MP3:
            return true;
        default:
            return false;
    }
}

}  // namespace

CVideoConversion::~CVideoConversion() {
    if (m_bFileOpen) avio_closep(&m_pOutput->pb);
}

int CVideoConversion::Open(const std::string& sSource, const std::string& sOutput) {
    AVFormatContext* pInput = nullptr;
    int nErr = avformat_open_input(&pInput, sSource.c_str(), nullptr, nullptr);
    if (nErr < 0) return nErr;
    m_pInput.reset(pInput);
    if ((nErr = avformat_find_stream_info(pInput, nullptr)) < 0) return nErr;
    AVFormatContext* pOutput = nullptr;
    if ((nErr = avformat_alloc_output_context2(&pOutput, nullptr, "mp4", sOutput.c_str())) < 0) return nErr;
    m_pOutput.reset(pOutput);
    m_vRoutes.resize(pInput->nb_streams);
    if ((nErr = AddStream(AVMEDIA_TYPE_VIDEO)) < 0) return nErr;
    // A video without sound is converted still.
    if ((nErr = AddStream(AVMEDIA_TYPE_AUDIO)) < 0 && nErr != AVERROR_STREAM_NOT_FOUND) return nErr;
    m_pPacket.reset(av_packet_alloc());
    if (!m_pPacket) return AVERROR(ENOMEM);
    if ((nErr = avio_open(&pOutput->pb, sOutput.c_str(), AVIO_FLAG_WRITE)) < 0) return nErr;
    m_bFileOpen = true;
    pOutput->flush_packets = 1;
    AVDictionary* pOptions = nullptr;
    av_dict_set(&pOptions, "movflags", "frag_keyframe+empty_moov+default_base_moof", 0);
    nErr = avformat_write_header(pOutput, &pOptions);
    av_dict_free(&pOptions);
    if (nErr < 0) return nErr;
    m_bHeaderWritten = true;
    avio_flush(pOutput->pb);
    return 0;
}

int CVideoConversion::AddStream(AVMediaType eType) {
    int nIndex = av_find_best_stream(m_pInput.get(), eType, -1, -1, nullptr, 0);
    if (nIndex < 0) return nIndex;
    AVStream* pInput = m_pInput->streams[nIndex];
    StreamRoute& route = m_vRoutes[static_cast<size_t>(nIndex)];
    if (IsCopied(pInput->codecpar)) return AddCopy(pInput, route);
    int nErr = 0;
    route.pEncoder = CStreamEncoder::Open(pInput, m_pOutput.get(), &nErr);
    if (!route.pEncoder) return nErr;
    route.nOutputIndex = static_cast<int>(m_pOutput->nb_streams) - 1;
    return 0;
}

int CVideoConversion::AddCopy(AVStream* pInput, StreamRoute& route) {
    AVStream* pStream = avformat_new_stream(m_pOutput.get(), nullptr);
    if (!pStream) return AVERROR(ENOMEM);
    int nErr = avcodec_parameters_copy(pStream->codecpar, pInput->codecpar);
    if (nErr < 0) return nErr;
    // The source container's tag may mean nothing in MP4; the muxer picks its own.
    pStream->codecpar->codec_tag = 0;
    pStream->time_base = pInput->time_base;
    route.nOutputIndex = pStream->index;
    return 0;
}

int CVideoConversion::Run(const std::atomic<bool>& bStop) {
    while (!bStop) {
        int nErr = av_read_frame(m_pInput.get(), m_pPacket.get());
        if (nErr == AVERROR_EOF) return Drain();
        if (nErr < 0) return nErr;
        nErr = Forward(m_pPacket.get());
        av_packet_unref(m_pPacket.get());
        if (nErr < 0) return nErr;
    }
    return 0;
}

int CVideoConversion::Forward(AVPacket* pPacket) {
    StreamRoute& route = m_vRoutes[static_cast<size_t>(pPacket->stream_index)];
    if (route.nOutputIndex < 0) return 0;
    if (route.pEncoder) {
        return route.pEncoder->Feed(pPacket, [this](AVPacket* p) { return WritePacket(p); });
    }
    AVStream* pInput = m_pInput->streams[pPacket->stream_index];
    av_packet_rescale_ts(pPacket, pInput->time_base, m_pOutput->streams[route.nOutputIndex]->time_base);
    pPacket->stream_index = route.nOutputIndex;
    pPacket->pos = -1;
    return WritePacket(pPacket);
}

int CVideoConversion::Drain() {
    for (auto& route : m_vRoutes) {
        if (!route.pEncoder) continue;
        int nErr = route.pEncoder->Feed(nullptr, [this](AVPacket* p) { return WritePacket(p); });
        if (nErr < 0) return nErr;
    }
    return 0;
}

int CVideoConversion::WritePacket(AVPacket* pPacket) {
    return av_interleaved_write_frame(m_pOutput.get(), pPacket);
}

int CVideoConversion::Finish() {
    int nErr = 0;
    if (m_bHeaderWritten) nErr = av_write_trailer(m_pOutput.get());
    m_bHeaderWritten = false;
    if (m_bFileOpen) avio_closep(&m_pOutput->pb);
    m_bFileOpen = false;
    return nErr;
}
