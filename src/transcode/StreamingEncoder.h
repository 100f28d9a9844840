// CStreamingEncoder: runs an encoder on its own worker, which writes a temporary output file, and
// hands that file's bytes out while it still grows. The audio and video forms derive from it; the
// transcoder reader polls GetData.
//
// The worker and the caller share the output file (the provider writes, the output reader reads)
// and a few single words (the started flag, the result); the output path is set before the
// worker can be asked for it and guarded for the destructor, which may run while Open failed half
// way.
#pragma once

#include <zureader/Reader.h>

#include "core/Thread.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace zu::transcode {

class CStreamingEncoder : public CThread {
public:
    CStreamingEncoder();
    // Stops the worker; the derived forms stop it first in theirs, since its body uses them.
    ~CStreamingEncoder() override;

    virtual ZUBOOL Open(const std::u16string& sourcePath, const std::u16string& sourceType, uint32_t nFlag) = 0;
    // Bytes the whole output is expected to have; 0 or -1 when nothing is known.
    virtual int64_t GetLengthEstimate() = 0;
    // Output bytes: a count above 0, 0 while nothing new is there yet, -1 once the output has
    // ended (the worker is done and every byte was handed out, or the length limit is reached).
    virtual int32_t GetData(void* pBuffer, uint32_t nBytes);
    virtual void SetStartTime(uint32_t nMilliseconds);
    virtual void SetStartOffset(int64_t nOffset);
    virtual void SetLengthLimit(int64_t nLimit);

protected:
    // Opens the reader of the output file; the output is skipped to the start offset as it comes.
    ZUBOOL OpenReader();
    void SetOutputPath(const std::u16string& path);
    std::u16string GetOutputPath();
    // Makes an empty temporary file named after base (the library's temporary-name rule) for the
    // provider to write; false when no such file can be made.
    bool MakeOutputFile(const std::u16string& base, const std::u16string& extension);
    // Stops the worker and removes the output: the derived destructors call it before their
    // provider objects go.
    void StopAndDiscardOutput();

    std::u16string m_SourcePath;
    std::u16string m_SourceType;
    uint32_t m_nStartTime = 0;
    int64_t m_nStartOffset = 0;
    int64_t m_nLengthLimit = -1;
    ZUBOOL m_bDeleteOutput = 1;

private:
    // Reads what the file holds past the output position, within the length limit.
    int32_t ReadOutput(void* pBuffer, uint32_t nBytes);
    // Moves the output position to the start offset, as far as the file reaches; true once there.
    bool SkipToStartOffset();

    std::unique_ptr<VReader> m_pOutputReader;
    int64_t m_nOutputPosition = 0;
    std::vector<uint8_t> m_SkipBuffer;
    std::mutex m_PathLock;
    std::u16string m_OutputPath;
};

}  // namespace zu::transcode
