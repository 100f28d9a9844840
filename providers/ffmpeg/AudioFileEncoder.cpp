#include "AudioFileEncoder.h"

#include "ProviderText.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

struct FormatNames {
    const char* pszCodec;
    const char* pszMuxer;
};

FormatNames NamesOf(EAudioFormat eFormat) {
    switch (eFormat) {
        case EAudioFormat::Mp3: return {"libmp3lame", "mp3"};
        // ADTS frames stand alone: the growing file is readable from its first byte.
        case EAudioFormat::Aac: return {"aac", "adts"};
        case EAudioFormat::Flac: return {"flac", "flac"};
        case EAudioFormat::Wav: return {"pcm_s16le", "wav"};
    }
    return {"", ""};
}

// The codec's own rate when it takes the source's, else the nearest it takes (MP3 has a fixed
// set); the resampler bridges the difference.
int PickRate(const AVCodec* pCodec, int nRate) {
    if (!pCodec->supported_samplerates) return nRate;
    int nBest = 0;
    for (const int* p = pCodec->supported_samplerates; *p; ++p) {
        if (*p == nRate) return nRate;
        if (!nBest || std::abs(*p - nRate) < std::abs(nBest - nRate)) nBest = *p;
    }
    return nBest;
}

AVSampleFormat PickFormat(const AVCodec* pCodec) {
    if (!pCodec->sample_fmts) return AV_SAMPLE_FMT_S16;
    // 16-bit input keeps its precision in a 16-bit format; else the codec's first choice.
    for (const AVSampleFormat* p = pCodec->sample_fmts; *p != AV_SAMPLE_FMT_NONE; ++p) {
        if (*p == AV_SAMPLE_FMT_S16 || *p == AV_SAMPLE_FMT_S16P) return *p;
    }
    return pCodec->sample_fmts[0];
}

}  // namespace

CAudioFileEncoder::CAudioFileEncoder(EAudioFormat eFormat, uint32_t nBitrate)
    : m_eFormat(eFormat), m_nBitrate(nBitrate) {}

CAudioFileEncoder::~CAudioFileEncoder() {
    Close();
}

void CAudioFileEncoder::Release() {
    delete this;
}

ZUBOOL CAudioFileEncoder::Begin(const ZUCHAR* pszOutputPath, uint32_t nSampleRate, uint32_t nChannels) {
    Close();
    m_bFailed = false;
    m_nBytesWritten = 0;
    m_nSamplesEncoded = 0;
    if (!pszOutputPath || !nSampleRate || !nChannels || nChannels > 8) return 0;
    if (Open(CProviderText::ToUtf8(pszOutputPath), nSampleRate, nChannels)) return 1;
    Close();
    return 0;
}

bool CAudioFileEncoder::Open(const std::string& sPath, uint32_t nSampleRate, uint32_t nChannels) {
    AVFormatContext* pOutput = nullptr;
    if (avformat_alloc_output_context2(&pOutput, nullptr, NamesOf(m_eFormat).pszMuxer, sPath.c_str()) < 0) {
        return false;
    }
    m_pOutput.reset(pOutput);
    if (!OpenCodec(nSampleRate, nChannels) || !OpenResampler(nSampleRate, nChannels)) return false;
    m_pStream = avformat_new_stream(pOutput, nullptr);
    if (!m_pStream || avcodec_parameters_from_context(m_pStream->codecpar, m_pCodec.get()) < 0) return false;
    m_pStream->time_base = m_pCodec->time_base;
    // The file protocol truncates an existing file when it opens it for writing.
    if (avio_open(&pOutput->pb, sPath.c_str(), AVIO_FLAG_WRITE) < 0) return false;
    m_bFileOpen = true;
    // Write flushes what each call made (see Write), not every packet: a batch of a few frames
    // costs one system call instead of one each.
    pOutput->flush_packets = 0;
    if (avformat_write_header(pOutput, nullptr) < 0) return false;
    avio_flush(pOutput->pb);
    m_nBytesWritten = static_cast<uint64_t>(avio_tell(pOutput->pb));
    if (m_eFormat == EAudioFormat::Mp3) WriteEncoderDelay(sPath);
    m_pPacket.reset(av_packet_alloc());
    return m_pPacket != nullptr;
}

// The MP3 muxer fills the LAME tag's encoder delay in only when the file is finished, but a reader
// of the growing file took the header long before that: without the delay, decoders keep the
// encoder's leading silence and the track comes out longer than its source. The delay is known
// now, so it goes in now; at the end the muxer rewrites the whole tag, padding and checksums too.
void CAudioFileEncoder::WriteEncoderDelay(const std::string& sPath) const {
    // The offset of the delay field from the "Xing"/"Info" tag: flags, frames, bytes, the TOC,
    // quality, the encoder's name, revision, low-pass, replay gain, flags and the bit rate.
    const size_t nDelayOffset = 4 + 4 + 4 + 4 + 100 + 4 + 9 + 1 + 1 + 8 + 1 + 1;
    // The samples a decoder drops anyway (the decoder's own delay) are not counted in the field.
    const int nDecoderDelay = 528 + 1;
    const int nDelay = std::clamp(m_pCodec->initial_padding - nDecoderDelay, 0, 4095);
    std::FILE* pFile = std::fopen(sPath.c_str(), "r+b");
    if (!pFile) return;
    std::vector<char> header(static_cast<size_t>(std::min<uint64_t>(m_nBytesWritten, 1 << 16)));
    header.resize(std::fread(header.data(), 1, header.size(), pFile));
    for (size_t i = 0; i + nDelayOffset + 3 <= header.size(); ++i) {
        if (std::memcmp(&header[i], "Xing", 4) != 0 && std::memcmp(&header[i], "Info", 4) != 0) continue;
        const unsigned char field[3] = {static_cast<unsigned char>(nDelay >> 4),
                                        static_cast<unsigned char>((nDelay & 0xF) << 4), 0};
        if (std::fseek(pFile, static_cast<long>(i + nDelayOffset), SEEK_SET) == 0) {
            std::fwrite(field, 1, sizeof field, pFile);
        }
        break;
    }
    std::fclose(pFile);
}

bool CAudioFileEncoder::OpenCodec(uint32_t nSampleRate, uint32_t nChannels) {
    const AVCodec* pCodec = avcodec_find_encoder_by_name(NamesOf(m_eFormat).pszCodec);
    if (!pCodec) return false;
    m_pCodec.reset(avcodec_alloc_context3(pCodec));
    if (!m_pCodec) return false;
    AVCodecContext* c = m_pCodec.get();
    c->sample_rate = PickRate(pCodec, static_cast<int>(nSampleRate));
    c->sample_fmt = PickFormat(pCodec);
    av_channel_layout_default(&c->ch_layout, static_cast<int>(nChannels));
    c->time_base = AVRational{1, c->sample_rate};
    // FFmpeg's own threads are not seen by the race checker the tests run under, and one
    // stream of audio keeps a core busy enough.
    c->thread_count = 1;
    if (m_eFormat == EAudioFormat::Mp3 || m_eFormat == EAudioFormat::Aac) c->bit_rate = m_nBitrate;
    if (m_pOutput->oformat->flags & AVFMT_GLOBALHEADER) c->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (avcodec_open2(c, pCodec, nullptr) < 0) return false;
    bool bAnySize = !c->frame_size || (pCodec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE);
    m_nFrameSize = bAnySize ? 4096 : c->frame_size;
    m_nOutputRate = static_cast<uint32_t>(c->sample_rate);
    m_nPcmBitrate = m_eFormat == EAudioFormat::Wav ? c->sample_rate * nChannels * 16 : 0;
    return true;
}

bool CAudioFileEncoder::OpenResampler(uint32_t nSampleRate, uint32_t nChannels) {
    AVChannelLayout inLayout;
    av_channel_layout_default(&inLayout, static_cast<int>(nChannels));
    m_pResampler = zuav::MakeResampler(inLayout, AV_SAMPLE_FMT_S16, static_cast<int>(nSampleRate),
                                       m_pCodec->ch_layout, m_pCodec->sample_fmt, m_pCodec->sample_rate);
    av_channel_layout_uninit(&inLayout);
    if (!m_pResampler) return false;
    return m_queue.Open(m_pCodec.get(), m_nFrameSize);
}

ZUBOOL CAudioFileEncoder::Write(const int16_t* pSamples, uint32_t nFrames) {
    if (!m_pOutput || m_bFailed) return 0;
    if (!nFrames) return 1;
    if (!pSamples || !Convert(pSamples, nFrames) || !EncodeQueued(false)) {
        m_bFailed = true;
        return 0;
    }
    // A reader of the growing file sees every packet made so far.
    avio_flush(m_pOutput->pb);
    return 1;
}

bool CAudioFileEncoder::Convert(const int16_t* pSamples, uint32_t nFrames) {
    const uint8_t* pIn = reinterpret_cast<const uint8_t*>(pSamples);
    return m_queue.Push(m_pResampler.get(), pSamples ? &pIn : nullptr, static_cast<int>(nFrames));
}

bool CAudioFileEncoder::EncodeQueued(bool bFinal) {
    for (;;) {
        AVFrame* pFrame = nullptr;
        if (!m_queue.Pop(bFinal, &pFrame)) return false;
        if (!pFrame) return true;
        int nCount = pFrame->nb_samples;
        if (!Send(pFrame)) return false;
        m_nSamplesEncoded += static_cast<uint64_t>(nCount);
    }
}

bool CAudioFileEncoder::Send(AVFrame* pFrame) {
    if (avcodec_send_frame(m_pCodec.get(), pFrame) < 0) return false;
    for (;;) {
        int nErr = avcodec_receive_packet(m_pCodec.get(), m_pPacket.get());
        if (nErr == AVERROR(EAGAIN) || nErr == AVERROR_EOF) return true;
        if (nErr < 0) return false;
        av_packet_rescale_ts(m_pPacket.get(), m_pCodec->time_base, m_pStream->time_base);
        m_pPacket->stream_index = m_pStream->index;
        uint64_t nSize = static_cast<uint64_t>(m_pPacket->size);
        if (av_write_frame(m_pOutput.get(), m_pPacket.get()) < 0) return false;
        m_nBytesWritten += nSize;
    }
}

ZUBOOL CAudioFileEncoder::End() {
    if (!m_pOutput) return 0;
    bool bOk = !m_bFailed;
    if (bOk) {
        // What the resampler holds back, then the last short frame, then the codec's own delay.
        bOk = Convert(nullptr, 0) && EncodeQueued(true) && Send(nullptr);
    }
    // The trailer rewrites what is known only at the end (sizes, the MP3 header's frame count),
    // also after a failure, so that what was written stays a well-formed file.
    bOk = av_write_trailer(m_pOutput.get()) == 0 && bOk;
    Close();
    return bOk ? 1 : 0;
}

uint32_t CAudioFileEncoder::GetBitrate() {
    if (m_eFormat == EAudioFormat::Mp3 || m_eFormat == EAudioFormat::Aac) return m_nBitrate;
    if (m_nPcmBitrate) return m_nPcmBitrate;
    uint64_t nSamples = m_nSamplesEncoded;
    uint32_t nRate = m_nOutputRate;
    if (!nSamples || !nRate) return 0;
    return static_cast<uint32_t>(m_nBytesWritten * 8 * nRate / nSamples);
}

void CAudioFileEncoder::Close() {
    if (m_bFileOpen) avio_closep(&m_pOutput->pb);
    m_bFileOpen = false;
    m_pOutput.reset();
    m_pCodec.reset();
    m_pResampler.reset();
    m_pPacket.reset();
    m_pStream = nullptr;
}
