#include "buffering/SplitterHeader.h"

#include <zureader/ZUReader.h>

#include "platform/File.h"

#include <cstring>
#include <memory>

namespace {

constexpr unsigned char kMagic[4] = {'Z', 'U', 'S', 'R'};
constexpr uint32_t kVersionWritten = 2;
constexpr uint32_t kHeaderSize = 24;
constexpr uint32_t kRecordSize = 16;
// How long an open waits for another program's sharing to allow it.
constexpr uint32_t kOpenWaitMilliseconds = 500;
// The writer's mark lies past the header, where no reader's record lock reaches.
constexpr int64_t kWriterMarkOffset = 64;

void PutLittleEndian(unsigned char* p, uint64_t nValue, int nBytes)
{
    for (int i = 0; i < nBytes; ++i)
        p[i] = static_cast<unsigned char>(nValue >> (8 * i));
}

uint64_t GetLittleEndian(const unsigned char* p, int nBytes)
{
    uint64_t nValue = 0;
    for (int i = nBytes - 1; i >= 0; --i)
        nValue = (nValue << 8) | p[i];
    return nValue;
}

void PutRecord(unsigned char* p, int64_t nLength, int64_t nChunkSize)
{
    PutLittleEndian(p, static_cast<uint64_t>(nLength), 8);
    PutLittleEndian(p + 8, static_cast<uint64_t>(nChunkSize), 8);
}

}  // namespace

bool CSplitterHeader::Create(int64_t nLength, int64_t nChunkSize)
{
    if (m_bUrl || !zu::platform::CreateFolders(zu::platform::FolderOf(m_Path)) ||
        !m_File.Open(m_Path, true, true, kOpenWaitMilliseconds))
        return false;
    unsigned char header[kHeaderSize];
    std::memcpy(header, kMagic, sizeof(kMagic));
    PutLittleEndian(header + 4, kVersionWritten, 4);
    PutRecord(header + 8, nLength, nChunkSize);
    m_nRecordOffset = 8;
    m_Suffix = u".cnk";
    return m_File.HoldMark(kWriterMarkOffset) && m_File.WriteRecord(0, header, kHeaderSize);
}

bool CSplitterHeader::IsWriterPresent()
{
    return !m_bUrl && m_File.IsMarkedByAnother(kWriterMarkOffset);
}

bool CSplitterHeader::WriteRecord(int64_t nLength, int64_t nChunkSize)
{
    unsigned char record[kRecordSize];
    PutRecord(record, nLength, nChunkSize);
    return m_File.WriteRecord(m_nRecordOffset, record, kRecordSize);
}

// The file's first 24 bytes, or as many of them as the two kinds of header need: the magic and
// version, then the record at 8, else the record alone at 0.
bool CSplitterHeader::ReadLocal(unsigned char* pHeader, uint32_t& nHave)
{
    if (!m_File.IsOpen() && !m_File.Open(m_Path, false, false, kOpenWaitMilliseconds))
        return false;
    if (!m_File.ReadRecord(0, pHeader, 8))
        return false;
    nHave = 8;
    if (m_File.ReadRecord(8, pHeader + 8, kRecordSize))
        nHave = kHeaderSize;
    else if (m_File.ReadRecord(0, pHeader, kRecordSize))
        nHave = kRecordSize;
    return true;
}

bool CSplitterHeader::ReadUrl(unsigned char* pHeader, uint32_t& nHave)
{
    std::unique_ptr<VReader> pReader(GetGenericReader(reinterpret_cast<const ZUCHAR*>(m_Path.c_str())));
    if (!pReader || !pReader->Open())
        return false;
    nHave = 0;
    while (nHave < kHeaderSize) {
        const uint32_t nRead = pReader->Read(pHeader + nHave, kHeaderSize - nHave);
        if (nRead == 0)
            break;
        nHave += nRead;
    }
    pReader->Close();
    return nHave >= 8;
}

bool CSplitterHeader::Read(int64_t& nLength, int64_t& nChunkSize)
{
    unsigned char header[kHeaderSize] = {};
    uint32_t nHave = 0;
    if (!(m_bUrl ? ReadUrl(header, nHave) : ReadLocal(header, nHave)))
        return false;
    const uint32_t nVersion = static_cast<uint32_t>(GetLittleEndian(header + 4, 4));
    const bool bMagic = std::memcmp(header, kMagic, sizeof(kMagic)) == 0 && (nVersion == 1 || nVersion == 2);
    m_nRecordOffset = bMagic && nHave >= kHeaderSize ? 8 : 0;
    if (m_nRecordOffset == 8)
        m_Suffix = nVersion == 2 ? u".cnk" : u"";
    if (nHave < m_nRecordOffset + kRecordSize)
        return false;
    nLength = static_cast<int64_t>(GetLittleEndian(header + m_nRecordOffset, 8));
    nChunkSize = static_cast<int64_t>(GetLittleEndian(header + m_nRecordOffset + 8, 8));
    return true;
}
