// VWrappingReader: the base of the readers that decorate another reader (the child): the
// truncating (type 5), read-ahead (8) and circling (10) readers, and a plain wrapper (9). Every
// operation a derived class does not replace goes unchanged to the same operation of the child,
// the setters of options, time-out, post data and delete-on-close included, so that they reach the
// reader that does the access. Without a child there is nothing to read: no bytes, -1 positions and
// length, length unknown, read-only, not open, an empty text; the setters keep their values here.
//
// A host reaches GetChildReader through ZUReaderCast<VWrappingReader>.
#pragma once

#include <zureader/Reader.h>

#include <memory>

class VWrappingReader : public VReader {
public:
    static bool HasType(uint32_t nType)
    {
        return nType == ZU_READER_TRUNCATING || nType == ZU_READER_BUFFERED || nType == ZU_READER_WRAPPING ||
               nType == ZU_READER_CIRCLING;
    }

    // What becomes of the child when the wrapper goes: closed and deleted (OWNED), only closed
    // (CLOSED), or left alone (BORROWED: a wrapper inside a reader that manages the child itself).
    enum class EChild { OWNED, CLOSED, BORROWED };
    VWrappingReader(VReader* pChild, EChild eChild);
    ~VWrappingReader() override;

    ZUBOOL Create() override;
    ZUBOOL Open() override;
    void Close() override;
    uint32_t Read(void* pBuffer, uint32_t nCount) override;
    uint32_t Write(const void* pBuffer, uint32_t nCount) override;
    int64_t GetLength() override;
    int64_t GetPosition() override;
    int64_t SetPosition(int64_t nOffset, uint32_t nOrigin) override;
    ZUBOOL SetEndOfFile() override;
    ZUBOOL SetLengthHint(uint64_t nLength) override;
    ZUBOOL IsLengthUnknown() override;
    ZUBOOL IsRemote() override;
    ZUBOOL IsOpen() override;
    ZUBOOL IsReadOnly() override;
    ZUBSTR GetInfo(const ZUCHAR* pszName) override;
    void SetTimeout(uint32_t nMilliseconds) override;
    void SetPostData(const void* pData, uint32_t nLength) override;
    void SetOptions(const ZUCHAR* pszOptions) override;
    void SetOption(const ZUCHAR* pszKey, const ZUCHAR* pszValue) override;
    void SetDeleteOnClose(ZUBOOL bDelete) override;

    // Slot 22, the first after the reader interface's own: the child, still owned by the wrapper.
    virtual VReader* GetChildReader();

protected:
    VReader* const m_pChild;

private:
    const std::unique_ptr<VReader> m_pOwnedChild;
    const bool m_bClosesChild;
};
