#include "PassthroughConverter.h"

#include <chrono>
#include <filesystem>
#include <new>
#include <string>
#include <vector>

namespace zu::simple {
namespace {

constexpr size_t kBlockBytes = 65536;
const ZUInterfaceId kConverterId = ZU_IID_VIDEO_CONVERTER;

bool SameId(const ZUInterfaceId& a, const ZUInterfaceId& b)
{
    bool bSame = a.nData1 == b.nData1 && a.nData2 == b.nData2 && a.nData3 == b.nData3;
    for (int i = 0; i < 8; ++i)
        bSame = bSame && a.abData4[i] == b.abData4[i];
    return bSame;
}

}  // namespace

CPassthroughConverter::~CPassthroughConverter()
{
    Close();
}

ZUBOOL CPassthroughConverter::Prepare(uint32_t nFlag, const ZUCHAR* pszSource, const ZUCHAR* pszOutput,
                                      int32_t* pnResult)
{
    m_nPaceMs = nFlag;
    m_Input.open(std::filesystem::path(std::basic_string<ZUCHAR>(pszSource)), std::ios::binary);
    if (m_Input)
        m_Output.open(std::filesystem::path(std::basic_string<ZUCHAR>(pszOutput)), std::ios::binary | std::ios::trunc);
    const int32_t nResult = !m_Input ? kNoSource : !m_Output ? kNoOutput : 0;
    if (pnResult)
        *pnResult = nResult;
    return nResult == 0 ? 1 : 0;
}

ZUBOOL CPassthroughConverter::Start()
{
    if (!m_Input || !m_Output || m_Worker.joinable())
        return 0;
    m_Worker = std::thread(&CPassthroughConverter::Copy, this);
    return 1;
}

void CPassthroughConverter::Copy()
{
    std::vector<char> block(kBlockBytes);
    while (!m_bStop) {
        m_Input.read(block.data(), static_cast<std::streamsize>(block.size()));
        const std::streamsize nRead = m_Input.gcount();
        if (nRead <= 0)
            break;
        m_Output.write(block.data(), nRead);
        m_Output.flush();
        if (!m_Output) {
            m_nResult = kWriteFailed;
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(m_nPaceMs));
    }
    if (m_bStop && m_nResult == 0)
        m_nResult = kStopped;
    m_Output.close();
    m_bDone = true;
}

void CPassthroughConverter::Close()
{
    m_bStop = true;
    if (m_Worker.joinable())
        m_Worker.join();
}

}  // namespace zu::simple

extern "C" ZU_PROVIDER_ENTRY VVideoConverter* CreateVideoConverterDLL(const ZUInterfaceId* pInterfaceId)
{
    if (!pInterfaceId || !zu::simple::SameId(*pInterfaceId, zu::simple::kConverterId))
        return nullptr;
    return new (std::nothrow) zu::simple::CPassthroughConverter;
}
