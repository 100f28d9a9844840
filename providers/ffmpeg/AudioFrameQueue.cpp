#include "AudioFrameQueue.h"

#include <algorithm>

bool CAudioFrameQueue::Open(const AVCodecContext* pCodec, int nFrameSize) {
    m_pCodec = pCodec;
    m_nFrameSize = nFrameSize;
    m_nNextPts = 0;
    m_pFifo.reset(av_audio_fifo_alloc(pCodec->sample_fmt, pCodec->ch_layout.nb_channels, nFrameSize));
    m_pFrame.reset(av_frame_alloc());
    return m_pFifo && m_pFrame;
}

bool CAudioFrameQueue::Push(SwrContext* pResampler, const uint8_t** ppInput, int nSamples) {
    int nOut = swr_get_out_samples(pResampler, nSamples);
    if (nOut < 0) return false;
    uint8_t** ppData = nullptr;
    if (av_samples_alloc_array_and_samples(&ppData, nullptr, m_pCodec->ch_layout.nb_channels, nOut + 1,
                                           m_pCodec->sample_fmt, 0) < 0) {
        return false;
    }
    int nDone = swr_convert(pResampler, ppData, nOut + 1, ppInput, nSamples);
    bool bOk = nDone >= 0 && av_audio_fifo_write(m_pFifo.get(), reinterpret_cast<void**>(ppData), nDone) == nDone;
    av_freep(&ppData[0]);
    av_freep(&ppData);
    return bOk;
}

bool CAudioFrameQueue::Pop(bool bFinal, AVFrame** ppFrame) {
    *ppFrame = nullptr;
    int nHeld = av_audio_fifo_size(m_pFifo.get());
    if (nHeld < m_nFrameSize && !(bFinal && nHeld > 0)) return true;
    int nCount = std::min(nHeld, m_nFrameSize);
    AVFrame* f = m_pFrame.get();
    av_frame_unref(f);
    f->nb_samples = nCount;
    f->format = m_pCodec->sample_fmt;
    f->sample_rate = m_pCodec->sample_rate;
    if (av_channel_layout_copy(&f->ch_layout, &m_pCodec->ch_layout) < 0 || av_frame_get_buffer(f, 0) < 0) {
        return false;
    }
    if (av_audio_fifo_read(m_pFifo.get(), reinterpret_cast<void**>(f->data), nCount) != nCount) return false;
    f->pts = m_nNextPts;
    m_nNextPts += nCount;
    *ppFrame = f;
    return true;
}
