#include "transcode/AudioStreamingEncoder.h"

#include "core/FunctionLog.h"
#include "host/SiblingLibraries.h"
#include "platform/System.h"
#include "platform/Text.h"
#include "transcode/EncoderPlugins.h"

#include <cstdlib>
#include <string>

namespace zu::transcode {
namespace {

// Short: the reader's first bytes wait on it.
constexpr uint32_t kStartPollMs = 5;
constexpr uint32_t kPropertyCapacity = 1024;

}  // namespace

CAudioStreamingEncoder::CAudioStreamingEncoder(std::u16string encoderName, std::u16string encoderSettings,
                                               uint32_t nEncoderFlag)
    : m_EncoderName(std::move(encoderName)), m_EncoderSettings(std::move(encoderSettings)),
      m_nEncoderFlag(nEncoderFlag)
{
}

CAudioStreamingEncoder::~CAudioStreamingEncoder()
{
    StopAndDiscardOutput();
}

bool CAudioStreamingEncoder::MakeEncoder()
{
    CFunctionLog log(LOG_ENCODERS, u"CAudioStreamingEncoder::MakeEncoder");
    m_Encoders = CEncoderPlugins::BuildEncoderList();
    CEncoderDescriptor* pDescriptor = CEncoderPlugins::Find(m_Encoders, m_EncoderName);
    if (!pDescriptor) {
        log.Log(u"No encoder \"%s\" is registered", m_EncoderName);
        return false;
    }
    pDescriptor->m_Settings = m_EncoderSettings;
    std::u16string error;
    m_pEncoder = CEncoderPlugins::CreateEncoderObject(*pDescriptor, m_nEncoderFlag, error);
    if (!m_pEncoder)
        log.Log(u"The encoder \"%s\" (%s) cannot be made: %s", m_EncoderName, pDescriptor->GetModulePath(), error);
    return m_pEncoder != nullptr;
}

ZUBOOL CAudioStreamingEncoder::Open(const std::u16string& sourcePath, const std::u16string& sourceType, uint32_t)
{
    CFunctionLog log(LOG_ENCODERS, u"CAudioStreamingEncoder::Open");
    m_SourcePath = sourcePath;
    m_SourceType = sourceType;
    m_nResult = 0;
    if (!MakeEncoder())
        return 0;
    std::u16string error;
    auto pModule = host::CSiblingLibraries::Load(u"ZUPlayer", error);
    const auto pfnCreate = pModule ? reinterpret_cast<ZUCreateAudioDecoderEncoderEntry>(
                                         pModule->FindSymbol("CreateZUAudioPlayerDecoderDLL"))
                                   : nullptr;
    VAudioDecoderEncoder* pObject = pfnCreate ? pfnCreate() : nullptr;
    if (!pObject) {
        log.Log(u"The player library cannot make its decoder-encoder: %s",
                pfnCreate ? std::u16string(u"it answered none") : pModule ? std::u16string(u"no entry point") : error);
        return 0;
    }
    m_DecoderEncoder = CProviderObject<VAudioDecoderEncoder>(std::move(pModule), pObject);
    m_DecoderEncoder->SetFlag(m_nEncoderFlag);
    if (!MakeOutputFile(u"AudioStream", u"")) {
        log.Log(u"No temporary output file can be made");
        return 0;
    }
    m_bStarted = 0;
    if (!Start(0, 1))
        return 0;
    while (IsRunning() && !m_bStarted)
        platform::SleepMilliseconds(kStartPollMs);
    if (!m_bStarted) {
        log.Log(u"The encoding of %s ended before any output (result %d)", m_SourcePath, m_nResult.load());
        return 0;
    }
    const std::u16string outputName = ReadProperty(u"Output Filename");
    if (!outputName.empty())
        SetOutputPath(outputName);
    return OpenReader();
}

int32_t CAudioStreamingEncoder::Thread()
{
    const std::u16string startTime = platform::Utf16FromUtf8(std::to_string(m_nStartTime));
    const std::u16string output = GetOutputPath();
    m_nResult = m_DecoderEncoder->Encode(ProviderText(m_SourcePath), ProviderText(m_SourceType), ProviderText(output),
                                         2, &CAudioStreamingEncoder::OnProgress, this, m_pEncoder.get(),
                                         ProviderText(m_EncoderName), ProviderText(startTime),
                                         ProviderText(m_EncodeArgument));
    // A short source may be done before the provider reported output; a failed one must not
    // pass for started.
    if (m_nResult)
        m_bStarted = 1;
    return m_nResult;
}

int32_t CAudioStreamingEncoder::OnProgress(int32_t nEvent, int32_t nValue, void* pContext)
{
    auto* pThis = static_cast<CAudioStreamingEncoder*>(pContext);
    if (nEvent == 1)
        return 1;
    if (nValue != 0)
        pThis->m_bStarted = 1;
    return pThis->IsStopRequested() ? 0 : 1;
}

std::u16string CAudioStreamingEncoder::ReadProperty(const char16_t* pszName)
{
    if (!m_DecoderEncoder)
        return {};
    std::u16string value(kPropertyCapacity, u'\0');
    const uint32_t nLength = m_DecoderEncoder->GetProperty(ProviderText(pszName),
                                                           reinterpret_cast<ZUCHAR*>(value.data()), kPropertyCapacity);
    value.resize(nLength < kPropertyCapacity ? nLength : 0);
    return value;
}

double CAudioStreamingEncoder::ReadNumberProperty(const char16_t* pszName)
{
    return std::strtod(platform::Utf8FromUtf16(ReadProperty(pszName)).c_str(), nullptr);
}

int64_t CAudioStreamingEncoder::GetLengthEstimate()
{
    if (!m_DecoderEncoder)
        return 0;
    return static_cast<int64_t>(ReadNumberProperty(u"Output Duration") * ReadNumberProperty(u"Output Bitrate Estimate") /
                                8.0);
}

}  // namespace zu::transcode
