#include "transcode/VideoStreamingEncoder.h"

#include "core/FunctionLog.h"
#include "host/SiblingLibraries.h"
#include "platform/File.h"

namespace zu::transcode {

CVideoStreamingEncoder::CVideoStreamingEncoder(const ZUInterfaceId& interfaceId) : m_InterfaceId(interfaceId) {}

CVideoStreamingEncoder::~CVideoStreamingEncoder()
{
    // The converter lets go of the output before it is deleted: Windows keeps a file that is
    // still open elsewhere.
    Stop(-1);
    if (m_Converter)
        m_Converter->Close();
    StopAndDiscardOutput();
}

ZUBOOL CVideoStreamingEncoder::Open(const std::u16string& sourcePath, const std::u16string& sourceType,
                                    uint32_t nFlag)
{
    CFunctionLog log(LOG_ENCODERS, u"CVideoStreamingEncoder::Open");
    m_SourcePath = sourcePath;
    m_SourceType = sourceType;
    m_nVideoFlag = nFlag;
    if (!MakeOutputFile(u"VideoStream", u"mp4")) {
        log.Log(u"No temporary output file can be made");
        return 0;
    }
    std::u16string error;
    auto pModule = host::CSiblingLibraries::Load(u"ZUTools", error);
    const auto pfnCreate =
        pModule ? reinterpret_cast<ZUCreateVideoConverterEntry>(pModule->FindSymbol("CreateVideoConverterDLL")) : nullptr;
    VVideoConverter* pConverter = pfnCreate ? pfnCreate(&m_InterfaceId) : nullptr;
    if (!pConverter) {
        log.Log(u"The tools library has no video converter: %s",
                pfnCreate ? std::u16string(u"it answered none") : pModule ? std::u16string(u"no entry point") : error);
        return 0;
    }
    m_Converter = CProviderObject<VVideoConverter>(std::move(pModule), pConverter);
    int32_t nResult = 0;
    const std::u16string output = GetOutputPath();
    if (!m_Converter->Prepare(m_nVideoFlag, ProviderText(m_SourcePath), ProviderText(output), &nResult) ||
        !m_Converter->Start()) {
        log.Log(u"The converter refused %s (error %d)", m_SourcePath, nResult);
        return 0;
    }
    if (!Start(0, 1))
        return 0;
    return OpenReader();
}

int32_t CVideoStreamingEncoder::Thread()
{
    bool bDone = false;
    while (!IsStopRequested() && !(bDone = m_Converter->Poll() != 0))
        WaitForStopOrExit(kPollMs);
    m_Converter->Close();
    return bDone && m_Converter->GetResult() == 0 ? 1 : 0;
}

int64_t CVideoStreamingEncoder::GetLengthEstimate()
{
    return platform::FileSizeByName(m_SourcePath);
}

}  // namespace zu::transcode
