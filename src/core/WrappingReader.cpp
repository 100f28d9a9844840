#include <zureader/WrappingReader.h>

VWrappingReader::VWrappingReader(VReader* pChild, EChild eChild)
    : m_pChild(pChild), m_pOwnedChild(eChild == EChild::OWNED ? pChild : nullptr), m_bClosesChild(eChild != EChild::BORROWED)
{
    m_nType = ZU_READER_WRAPPING;
}

VWrappingReader::~VWrappingReader()
{
    if (m_pChild && m_bClosesChild)
        m_pChild->Close();
}

ZUBOOL VWrappingReader::Create()
{
    return m_pChild ? m_pChild->Create() : 0;
}

ZUBOOL VWrappingReader::Open()
{
    return m_pChild ? m_pChild->Open() : 0;
}

void VWrappingReader::Close()
{
    if (m_pChild)
        m_pChild->Close();
}

uint32_t VWrappingReader::Read(void* pBuffer, uint32_t nCount)
{
    return m_pChild ? m_pChild->Read(pBuffer, nCount) : 0;
}

uint32_t VWrappingReader::Write(const void* pBuffer, uint32_t nCount)
{
    return m_pChild ? m_pChild->Write(pBuffer, nCount) : 0;
}

int64_t VWrappingReader::GetLength()
{
    return m_pChild ? m_pChild->GetLength() : -1;
}

int64_t VWrappingReader::GetPosition()
{
    return m_pChild ? m_pChild->GetPosition() : -1;
}

int64_t VWrappingReader::SetPosition(int64_t nOffset, uint32_t nOrigin)
{
    return m_pChild ? m_pChild->SetPosition(nOffset, nOrigin) : -1;
}

ZUBOOL VWrappingReader::SetEndOfFile()
{
    return m_pChild ? m_pChild->SetEndOfFile() : 0;
}

ZUBOOL VWrappingReader::SetLengthHint(uint64_t nLength)
{
    return m_pChild ? m_pChild->SetLengthHint(nLength) : 0;
}

ZUBOOL VWrappingReader::IsLengthUnknown()
{
    return m_pChild ? m_pChild->IsLengthUnknown() : 1;
}

ZUBOOL VWrappingReader::IsRemote()
{
    return m_pChild ? m_pChild->IsRemote() : 0;
}

ZUBOOL VWrappingReader::IsOpen()
{
    return m_pChild ? m_pChild->IsOpen() : 0;
}

ZUBOOL VWrappingReader::IsReadOnly()
{
    return m_pChild ? m_pChild->IsReadOnly() : 1;
}

ZUBSTR VWrappingReader::GetInfo(const ZUCHAR* pszName)
{
    return m_pChild ? m_pChild->GetInfo(pszName) : VReader::GetInfo(pszName);
}

void VWrappingReader::SetTimeout(uint32_t nMilliseconds)
{
    if (m_pChild)
        m_pChild->SetTimeout(nMilliseconds);
    else
        VReader::SetTimeout(nMilliseconds);
}

void VWrappingReader::SetPostData(const void* pData, uint32_t nLength)
{
    if (m_pChild)
        m_pChild->SetPostData(pData, nLength);
    else
        VReader::SetPostData(pData, nLength);
}

void VWrappingReader::SetOptions(const ZUCHAR* pszOptions)
{
    if (m_pChild)
        m_pChild->SetOptions(pszOptions);
    else
        VReader::SetOptions(pszOptions);
}

void VWrappingReader::SetOption(const ZUCHAR* pszKey, const ZUCHAR* pszValue)
{
    if (m_pChild)
        m_pChild->SetOption(pszKey, pszValue);
    else
        VReader::SetOption(pszKey, pszValue);
}

void VWrappingReader::SetDeleteOnClose(ZUBOOL bDelete)
{
    if (m_pChild)
        m_pChild->SetDeleteOnClose(bDelete);
    else
        VReader::SetDeleteOnClose(bDelete);
}

VReader* VWrappingReader::GetChildReader()
{
    return m_pChild;
}
