// One encoded audio file from interleaved 16-bit PCM: libavcodec encodes, libavformat writes, and
// what each Write made is flushed to the file at once so that a reader following the growing file
// sees the bytes while the encoding goes on.
#pragma once

#include "AudioFrameQueue.h"
#include "AvHandles.h"

#include <zureader/TranscodeProvider.h>

#include <atomic>
#include <string>

enum class EAudioFormat { Mp3, Aac, Flac, Wav };

class CAudioFileEncoder final : public VAudioEncoder {
public:
    // nBitrate in bits per second, used by the formats of a set bit rate (MP3, AAC).
    CAudioFileEncoder(EAudioFormat eFormat, uint32_t nBitrate);
    ~CAudioFileEncoder();

    ZUBOOL Begin(const ZUCHAR* pszOutputPath, uint32_t nSampleRate, uint32_t nChannels) override;
    ZUBOOL Write(const int16_t* pSamples, uint32_t nFrames) override;
    ZUBOOL End() override;
    uint32_t GetBitrate() override;
    void Release() override;

private:
    bool Open(const std::string& sPath, uint32_t nSampleRate, uint32_t nChannels);
    bool OpenCodec(uint32_t nSampleRate, uint32_t nChannels);
    bool OpenResampler(uint32_t nSampleRate, uint32_t nChannels);
    void WriteEncoderDelay(const std::string& sPath) const;
    bool Convert(const int16_t* pSamples, uint32_t nFrames);
    bool EncodeQueued(bool bFinal);
    bool Send(AVFrame* pFrame);
    void Close();

    const EAudioFormat m_eFormat;
    const uint32_t m_nBitrate;
    zuav::OutputPtr m_pOutput;
    zuav::CodecPtr m_pCodec;
    zuav::ResamplerPtr m_pResampler;
    CAudioFrameQueue m_queue;
    zuav::PacketPtr m_pPacket;
    AVStream* m_pStream = nullptr;
    int m_nFrameSize = 0;
    bool m_bFileOpen = false;
    bool m_bFailed = false;
    // Read by GetBitrate, which a host may call from another thread than the one writing.
    std::atomic<uint64_t> m_nBytesWritten{0};
    std::atomic<uint64_t> m_nSamplesEncoded{0};
    std::atomic<uint32_t> m_nOutputRate{0};
    std::atomic<uint32_t> m_nPcmBitrate{0};
};
