#include "AudioDecoder.h"

bool CAudioDecoder::Open(const std::string& sSource) {
    AVFormatContext* pInput = nullptr;
    if (avformat_open_input(&pInput, sSource.c_str(), nullptr, nullptr) < 0) return false;
    m_pInput.reset(pInput);
    if (avformat_find_stream_info(pInput, nullptr) < 0) return false;
    const AVCodec* pCodec = nullptr;
    int nStream = av_find_best_stream(pInput, AVMEDIA_TYPE_AUDIO, -1, -1, &pCodec, 0);
    if (nStream < 0 || !pCodec) return false;
    m_pStream = pInput->streams[nStream];
    m_pCodec.reset(avcodec_alloc_context3(pCodec));
    if (!m_pCodec || avcodec_parameters_to_context(m_pCodec.get(), m_pStream->codecpar) < 0) return false;
    m_pCodec->pkt_timebase = m_pStream->time_base;
    // FFmpeg's own threads are not seen by the race checker the tests run under.
    m_pCodec->thread_count = 1;
    if (avcodec_open2(m_pCodec.get(), pCodec, nullptr) < 0 || m_pCodec->sample_rate <= 0) return false;
    m_pFrame.reset(av_frame_alloc());
    m_pPacket.reset(av_packet_alloc());
    return m_pFrame && m_pPacket;
}

double CAudioDecoder::GetDuration() const {
    if (m_pStream->duration != AV_NOPTS_VALUE && m_pStream->duration > 0) {
        return static_cast<double>(m_pStream->duration) * av_q2d(m_pStream->time_base);
    }
    if (m_pInput->duration != AV_NOPTS_VALUE && m_pInput->duration > 0) {
        return static_cast<double>(m_pInput->duration) / AV_TIME_BASE;
    }
    return -1;
}

uint32_t CAudioDecoder::GetRate() const {
    return static_cast<uint32_t>(m_pCodec->sample_rate);
}

uint32_t CAudioDecoder::GetChannels() const {
    return m_pCodec->ch_layout.nb_channels >= 2 ? 2 : 1;
}

void CAudioDecoder::SeekTo(double dStartSeconds) {
    m_nStartSample = static_cast<int64_t>(dStartSeconds * m_pCodec->sample_rate + 0.5);
    if (m_nStartSample <= 0) return;
    int64_t nOrigin = m_pStream->start_time == AV_NOPTS_VALUE ? 0 : m_pStream->start_time;
    int64_t nTarget = nOrigin + av_rescale_q(m_nStartSample, AVRational{1, m_pCodec->sample_rate}, m_pStream->time_base);
    // A source that cannot seek is decoded from its beginning; the dropping below still makes the
    // start exact, only later.
    if (av_seek_frame(m_pInput.get(), m_pStream->index, nTarget, AVSEEK_FLAG_BACKWARD) >= 0) {
        avcodec_flush_buffers(m_pCodec.get());
        m_nNextSample = -1;
    }
}

int CAudioDecoder::Decode(std::vector<int16_t>& vSamples) {
    while (!m_bEnded) {
        int n = ReadFrames(vSamples);
        if (n != 0) return n;
        if (m_bDraining) continue;
        int nErr = av_read_frame(m_pInput.get(), m_pPacket.get());
        if (nErr == AVERROR_EOF) {
            m_bDraining = true;
            nErr = avcodec_send_packet(m_pCodec.get(), nullptr);
        } else if (nErr >= 0) {
            // A damaged packet costs its samples, not the whole encoding.
            if (m_pPacket->stream_index == m_pStream->index) {
                nErr = avcodec_send_packet(m_pCodec.get(), m_pPacket.get());
                if (nErr == AVERROR_INVALIDDATA) nErr = 0;
            }
            av_packet_unref(m_pPacket.get());
        }
        if (nErr < 0) return -1;
    }
    return 0;
}

void CAudioDecoder::Rewind() {
    m_bRewound = true;
    int64_t nOrigin = m_pStream->start_time == AV_NOPTS_VALUE ? 0 : m_pStream->start_time;
    if (av_seek_frame(m_pInput.get(), m_pStream->index, nOrigin, AVSEEK_FLAG_BACKWARD) < 0) {
        av_seek_frame(m_pInput.get(), -1, 0, AVSEEK_FLAG_BYTE | AVSEEK_FLAG_BACKWARD);
    }
    avcodec_flush_buffers(m_pCodec.get());
}

int CAudioDecoder::ReadFrames(std::vector<int16_t>& vSamples) {
    int nTotal = 0;
    for (;;) {
        int nErr = avcodec_receive_frame(m_pCodec.get(), m_pFrame.get());
        if (nErr == AVERROR_EOF) {
            m_bEnded = true;
            return nTotal;
        }
        if (nErr == AVERROR(EAGAIN)) return nTotal;
        if (nErr < 0) return -1;
        int n = Append(m_pFrame.get(), vSamples);
        av_frame_unref(m_pFrame.get());
        if (n < 0) return -1;
        nTotal += n;
    }
}

int64_t CAudioDecoder::PositionOf(const AVFrame* pFrame) const {
    int64_t nPts = pFrame->best_effort_timestamp;
    if (nPts == AV_NOPTS_VALUE) return m_nNextSample < 0 ? 0 : m_nNextSample;
    if (m_pStream->start_time != AV_NOPTS_VALUE) nPts -= m_pStream->start_time;
    return av_rescale_q(nPts, m_pStream->time_base, AVRational{1, m_pCodec->sample_rate});
}

int CAudioDecoder::Append(const AVFrame* pFrame, std::vector<int16_t>& vSamples) {
    // After a seek the frames' own times place them; else they follow one another, which keeps a
    // source with rounded time stamps from gaining or losing a sample at each frame.
    int64_t nPosition = m_nNextSample < 0 ? PositionOf(pFrame) : m_nNextSample;
    if (m_nNextSample < 0 && nPosition > m_nStartSample && !m_bRewound) {
        // The demuxer landed after the start (an index that is not exact): decode from the
        // beginning instead, dropping more but never starting late.
        Rewind();
        return 0;
    }
    int nCount = pFrame->nb_samples;
    m_nNextSample = nPosition + nCount;
    if (m_nNextSample <= m_nStartSample) return 0;
    if (!m_pResampler && !OpenResampler(pFrame)) return -1;
    int nChannels = static_cast<int>(GetChannels());
    size_t nOld = vSamples.size();
    vSamples.resize(nOld + static_cast<size_t>(nCount + 32) * nChannels);
    uint8_t* pOut = reinterpret_cast<uint8_t*>(vSamples.data() + nOld);
    int nDone = swr_convert(m_pResampler.get(), &pOut, nCount + 32,
                            const_cast<const uint8_t**>(pFrame->extended_data), nCount);
    if (nDone < 0) return -1;
    int nDrop = static_cast<int>(std::max<int64_t>(0, std::min<int64_t>(m_nStartSample - nPosition, nDone)));
    auto itStart = vSamples.begin() + static_cast<std::ptrdiff_t>(nOld);
    vSamples.erase(itStart, itStart + static_cast<std::ptrdiff_t>(nDrop) * nChannels);
    vSamples.resize(nOld + static_cast<size_t>(nDone - nDrop) * nChannels);
    return nDone - nDrop;
}

bool CAudioDecoder::OpenResampler(const AVFrame* pFrame) {
    AVChannelLayout outLayout;
    av_channel_layout_default(&outLayout, static_cast<int>(GetChannels()));
    // Same rate in and out: no resampling, so no delay and no sample held back; more than two
    // channels are mixed down to two.
    m_pResampler = zuav::MakeResampler(pFrame->ch_layout, static_cast<AVSampleFormat>(pFrame->format),
                                       pFrame->sample_rate, outLayout, AV_SAMPLE_FMT_S16, pFrame->sample_rate);
    av_channel_layout_uninit(&outLayout);
    return m_pResampler != nullptr;
}
