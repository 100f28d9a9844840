#include "VideoConverter.h"

#include "ProviderText.h"

#include <cstring>
#include <new>

CVideoConverter::~CVideoConverter() {
    Close();
}

void CVideoConverter::Release() {
    delete this;
}

ZUBOOL CVideoConverter::Prepare(uint32_t nFlag, const ZUCHAR* pszSource, const ZUCHAR* pszOutput, int32_t* pnResult) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int32_t nErr = AVERROR(EINVAL);
    if (pszSource && pszOutput && !m_pConversion && !m_thread.joinable()) {
        try {
            auto pConversion = std::make_unique<CVideoConversion>();
            nErr = pConversion->Open(CProviderText::ToUtf8(pszSource), CProviderText::ToUtf8(pszOutput));
            if (nErr >= 0) m_pConversion = std::move(pConversion);
        } catch (...) {
            nErr = AVERROR(ENOMEM);
        }
    }
    if (nErr > 0) nErr = 0;
    if (pnResult) *pnResult = nErr;
    m_nResult = nErr;
    return nErr == 0 ? 1 : 0;
}

ZUBOOL CVideoConverter::Start() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_pConversion || m_thread.joinable()) return 0;
    try {
        m_thread = std::thread(&CVideoConverter::Convert, this);
    } catch (...) {
        return 0;
    }
    return 1;
}

void CVideoConverter::Convert() {
    int nErr = m_pConversion->Run(m_bStop);
    int nFinish = m_pConversion->Finish();
    if (nErr >= 0) nErr = nFinish;
    m_nResult = nErr < 0 ? nErr : 0;
    m_bEnded = true;
}

ZUBOOL CVideoConverter::Poll() {
    return m_bEnded ? 1 : 0;
}

int32_t CVideoConverter::GetResult() {
    return m_nResult;
}

void CVideoConverter::Close() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bStop = true;
    if (m_thread.joinable()) m_thread.join();
    // Prepared but never started: the output still gets its trailer.
    if (m_pConversion) m_pConversion->Finish();
    m_pConversion.reset();
    m_bEnded = true;
}

namespace {

bool IsConverterId(const ZUInterfaceId* pId) {
    static const ZUInterfaceId kConverter = ZU_IID_VIDEO_CONVERTER;
    return pId && pId->nData1 == kConverter.nData1 && pId->nData2 == kConverter.nData2 &&
           pId->nData3 == kConverter.nData3 && std::memcmp(pId->abData4, kConverter.abData4, 8) == 0;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) VVideoConverter* CreateVideoConverterDLL(
    const ZUInterfaceId* pInterfaceId) {
    if (!IsConverterId(pInterfaceId)) return nullptr;
    return new (std::nothrow) CVideoConverter();
}
