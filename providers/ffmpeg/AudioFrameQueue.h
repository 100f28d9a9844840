// Samples on their way into an audio encoder: converted by a resampler into the codec's format,
// held until they fill one of the codec's frames, handed out as frames with their time stamps.
#pragma once

#include "AvHandles.h"

class CAudioFrameQueue {
public:
    // For an opened encoder; nFrameSize is the samples per frame the encoder takes.
    bool Open(const AVCodecContext* pCodec, int nFrameSize);
    // Converts nSamples through pResampler (null ppInput: what the resampler still holds) and
    // queues them; false on a failure.
    bool Push(SwrContext* pResampler, const uint8_t** ppInput, int nSamples);
    // The next full frame, or with bFinal the last short one, into *ppFrame; null there when none
    // is due. The frame stays the queue's until the next call. False on a failure.
    bool Pop(bool bFinal, AVFrame** ppFrame);

private:
    const AVCodecContext* m_pCodec = nullptr;
    zuav::FifoPtr m_pFifo;
    zuav::FramePtr m_pFrame;
    int m_nFrameSize = 0;
    int64_t m_nNextPts = 0;
};
