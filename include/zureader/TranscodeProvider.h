// What the library asks of transcoding providers: the modules that decode and encode while a
// transcoder reader (GetMusicTranscoderReader, GetVideoTranscoderReader) reads their output.
//
// Three kinds of module, each loaded at run time by its entry point and unloaded when the reader
// that loaded it is gone:
// - the player library (ZUPlayer.dll, libzuplayer.so), entry "CreateZUAudioPlayerDecoderDLL":
//   decodes a source into PCM and feeds an encoder object;
// - encoder plug-ins, registered under "Plugins\Encoders\NAME" with "IVersion" 5, "Path" (the
//   module) and "Index" (the encoder inside it), entry "CreateEncoder": turn PCM into a file;
// - the tools library (ZUTools.dll, libzutools.so), entry "CreateVideoConverterDLL": converts a
//   video into a stream a reader can follow while it grows.
// The player and tools libraries are looked for in ZUREADER_PROVIDER_DIR when it is set, else
// beside the library itself.
//
// The objects cross module boundaries, so they are interfaces in the plain single-inheritance
// layout every Windows and Itanium compiler agrees on: no destructors in the table (Release ends
// an object), no exceptions, texts as zero-terminated ZUCHAR strings that stay the caller's.
// A provider never calls back into the library except through the progress callback.
#pragma once

#include <zureader/Types.h>

// Marks a provider module's entry points as exported.
#ifdef _WIN32
#  define ZU_PROVIDER_ENTRY __declspec(dllexport)
#else
#  define ZU_PROVIDER_ENTRY __attribute__((visibility("default")))
#endif

// The converter's interface identifier, {048439BA-309C-440E-9CB4-3DCCA3756423}, passed to
// "CreateVideoConverterDLL"; a provider answers null for an identifier it does not know.
typedef struct ZUInterfaceId {
    uint32_t nData1;
    uint16_t nData2;
    uint16_t nData3;
    uint8_t abData4[8];
} ZUInterfaceId;

#define ZU_IID_VIDEO_CONVERTER \
    { 0x048439BAu, 0x309Cu, 0x440Eu, { 0x9Cu, 0xB4u, 0x3Du, 0xCCu, 0xA3u, 0x75u, 0x64u, 0x23u } }

// Called by the decoder-encoder on the thread that runs Encode. nEvent 0: progress; nValue is
// non-zero once the output file holds its first bytes. Answer 1 to go on, 0 to cancel the
// encoding (Encode then returns soon, with what was written kept). nEvent 1: a chance to process
// the calling thread's messages; answer 1.
typedef int32_t (*ZUEncodeProgress)(int32_t nEvent, int32_t nValue, void* pContext);

// An encoder object: interleaved signed 16-bit PCM in, one encoded file out.
class VAudioEncoder {
public:
    // Makes (or truncates) the output file for PCM of this rate and channel count.
    virtual ZUBOOL Begin(const ZUCHAR* pszOutputPath, uint32_t nSampleRate, uint32_t nChannels) = 0;
    // nFrames frames (nFrames x channels samples); 0 when the file cannot be written.
    virtual ZUBOOL Write(const int16_t* pSamples, uint32_t nFrames) = 0;
    // Writes what is held back and completes the file (sizes and headers written last go in here).
    virtual ZUBOOL End() = 0;
    // The output's bit rate in bits per second: exact for a constant-rate encoder, the best guess
    // so far otherwise; 0 when nothing is known yet.
    virtual uint32_t GetBitrate() = 0;
    virtual void Release() = 0;
};

// What "CreateEncoder"(index) of an encoder plug-in module answers.
class VAudioEncoderFactory {
public:
    // "Settings": the encoder's own settings text ("Bitrate=128000", "Gain=0.5", ...). Answers 0
    // for a property or value it does not take.
    virtual ZUBOOL SetProperty(const ZUCHAR* pszName, const ZUCHAR* pszValue) = 0;
    // An encoder configured by the settings given so far; nArgument is the reader's encoder flag.
    virtual VAudioEncoder* CreateEncoder(uint32_t nArgument) = 0;
    virtual void Release() = 0;
};
typedef VAudioEncoderFactory* (*ZUCreateEncoderEntry)(uint32_t nIndex);

// The decoder-encoder of the player library.
class VAudioDecoderEncoder {
public:
    virtual void SetFlag(uint32_t nFlag) = 0;
    // Decodes pszSource from pszStartMs milliseconds on (decimal text; "0" the beginning; the
    // first sample is the one at that time exactly, so no reader of the output skips again) and
    // feeds pEncoder, which writes pszOutput. Runs to the end, a failure or a cancel by pfnProgress,
    // which is called at least every 100 ms of work. pszType is the source's media type text
    // ("wav", "mp3", may be empty), pszFurther a text the host passes through. nMode 2 is streaming:
    // the output must be readable while it grows. Answers 1 on success, 0 on a failure or a cancel.
    virtual int32_t Encode(const ZUCHAR* pszSource, const ZUCHAR* pszType, const ZUCHAR* pszOutput, int32_t nMode,
                           ZUEncodeProgress pfnProgress, void* pContext, VAudioEncoder* pEncoder,
                           const ZUCHAR* pszEncoderName, const ZUCHAR* pszStartMs, const ZUCHAR* pszFurther) = 0;
    // "Output Filename" (the file being written), "Output Duration" (seconds of output, decimal,
    // known once Encode has opened the source), "Output Bitrate Estimate" (bits per second).
    // Copies the value with its terminator into pszValue when it fits and answers its length in
    // characters (without the terminator); 0 for an unknown property.
    virtual uint32_t GetProperty(const ZUCHAR* pszName, ZUCHAR* pszValue, uint32_t nCapacity) = 0;
    virtual void Release() = 0;
};
typedef VAudioDecoderEncoder* (*ZUCreateAudioDecoderEncoderEntry)();

// The video converter of the tools library. Prepare and Start return at once; the conversion runs
// on the converter's own thread and writes an output that a reader can follow while it grows.
class VVideoConverter {
public:
    // Checks the source and makes the output file; *pnResult gets a provider's error code (0 fine).
    virtual ZUBOOL Prepare(uint32_t nFlag, const ZUCHAR* pszSource, const ZUCHAR* pszOutput, int32_t* pnResult) = 0;
    virtual ZUBOOL Start() = 0;
    // Non-zero once the conversion has ended (finished or failed: see GetResult).
    virtual ZUBOOL Poll() = 0;
    // 0 while running or after success, the provider's error code after a failure.
    virtual int32_t GetResult() = 0;
    // Stops a conversion under way and waits for its thread; the output keeps what was written.
    // Safe to call again, and after the conversion has ended.
    virtual void Close() = 0;
    virtual void Release() = 0;
};
typedef VVideoConverter* (*ZUCreateVideoConverterEntry)(const ZUInterfaceId* pInterfaceId);
