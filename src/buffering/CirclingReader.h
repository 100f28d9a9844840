// CCirclingReader: the circling reader behind VCirclingReader.
#pragma once

#include <zureader/CirclingReader.h>

#include <mutex>

class CCirclingReader final : public VCirclingReader {
public:
    // Owns the child. Circling is off, and there is neither an end-of-stream nor a restart position
    // (both -1).
    explicit CCirclingReader(VReader* pChild);

    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    int64_t ReadInt64(void* pBuffer, int64_t nBytes, ZUBOOL bWrap) override;
    void SetCircling(ZUBOOL bCircling) override { m_bCircling = bCircling != 0; }
    ZUBOOL IsCircling() override { return m_bCircling; }
    void SetRestartPosition(int64_t nPosition) override { m_nRestartPosition = nPosition; }
    int64_t GetRestartPosition() override { return m_nRestartPosition; }
    void SetEndOfStreamPosition(int64_t nPosition) override;
    int64_t GetEndOfStreamPosition() override;

private:
    int64_t BytesBeforeEndOfStream(int64_t nEnd, int64_t nPosition);

    bool m_bCircling = false;
    int64_t m_nEndOfStreamPosition = -1;
    int64_t m_nRestartPosition = -1;
    std::recursive_mutex m_Lock;  // guards the end-of-stream position
};
