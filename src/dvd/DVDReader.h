// CDVDReader: the reader GetDVDReader makes: the title a rip description selects, read through a
// CDVDRipper, with the packs the caller has not taken yet held over to the next Read.
#pragma once

#include <zureader/DVDReader.h>

#include "dvd/DVDRipDescription.h"
#include "dvd/DVDRipper.h"

#include <memory>
#include <vector>

class CDVDReader : public VDVDReader {
public:
    // Loads the description from its text (an unreadable text leaves it empty: Open fails).
    explicit CDVDReader(const std::u16string& description);
    ~CDVDReader() override;

    ZUBOOL Open() override;
    void Close() override;
    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    uint32_t Write(const void* pBuffer, uint32_t nCount) override;
    int64_t GetLength() override;
    int64_t GetPosition() override;
    int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) override;
    ZUBOOL SetEndOfFile() override;
    ZUBOOL IsLengthUnknown() override;
    ZUBOOL IsRemote() override;
    ZUBOOL IsOpen() override;
    ZUBOOL IsReadOnly() override;
    ZUBSTR GetInfo(const ZUCHAR* pszName) override;

    int32_t GetTitleNumber() override;
    double GetProgress() override;

private:
    // Packs straight into the caller's buffer while whole ones fit; false at the title's end.
    bool ReadPackInto(uint8_t* pTarget);

    zu::dvd::CDVDRipDescription m_Description;
    std::unique_ptr<zu::dvd::CDVDRipper> m_pRipper;
    std::vector<uint8_t> m_Pending;
    size_t m_nPendingStart = 0;
};
