// VReader: the one byte-stream interface every reader implements.
//
// Hosts obtain readers from the exported factories (ZUReader.h), configure them, open, read, write,
// seek, query, close and destroy them through the virtual destructor. The virtual operations are
// declared in their fixed slot order; never reorder them. No operation throws: results are flags,
// byte counts and -1 positions.
#pragma once

#include <zureader/Types.h>

#include <string>
#include <unordered_map>

class VReader {
public:
    VReader() = default;
    VReader(const VReader&) = delete;
    VReader& operator=(const VReader&) = delete;

    virtual ~VReader();                                                      // slot 0
    virtual uint32_t GetType();                                              // 1
    virtual ZUBOOL Create();                                                 // 2
    virtual ZUBOOL Open() = 0;                                               // 3
    virtual void Close() = 0;                                                // 4
    virtual uint32_t Read(void* pBuffer, uint32_t nCount) = 0;               // 5
    virtual uint32_t Write(const void* pBuffer, uint32_t nCount) = 0;        // 6
    virtual int64_t GetLength() = 0;                                         // 7
    virtual int64_t GetPosition() = 0;                                       // 8
    virtual int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) = 0;      // 9
    virtual ZUBOOL SetEndOfFile() = 0;                                       // 10
    virtual ZUBOOL SetLengthHint(uint64_t nLength);                          // 11
    virtual ZUBOOL IsLengthUnknown() = 0;                                    // 12
    virtual ZUBOOL IsRemote() = 0;                                           // 13
    virtual ZUBOOL IsOpen() = 0;                                             // 14
    virtual ZUBOOL IsReadOnly() = 0;                                         // 15
    virtual ZUBSTR GetInfo(const ZUCHAR* pszName);                           // 16
    virtual void SetTimeout(uint32_t nMilliseconds);                         // 17
    virtual void SetPostData(const void* pData, uint32_t nLength);           // 18
    virtual void SetOptions(const ZUCHAR* pszOptions);                       // 19
    virtual void SetOption(const ZUCHAR* pszKey, const ZUCHAR* pszValue);    // 20
    virtual void SetDeleteOnClose(ZUBOOL bDelete);                           // 21

protected:
    // A missing key reads as empty text.
    std::u16string GetOption(const std::u16string& key) const;
    // True when the option's integer value is non-zero ("1" is true; absent or "0" is false).
    bool GetOptionFlag(const std::u16string& key) const;

    uint32_t m_nType = ZU_READER_UNKNOWN;
    const void* m_pPostData = nullptr;
    uint32_t m_nPostDataLength = 0;
    uint32_t m_nTimeout = 0;
    std::unordered_map<std::u16string, std::u16string> m_Options;
    ZUBOOL m_bDeleteOnClose = 0;
    ZUBOOL m_bOpen = 0;
};
