// CIcyStrippingReader: reads an Internet-radio (ICY) stream through its child and hands out the
// audio alone: without the station header that may lead the stream and without the metadata
// blocks between the audio runs. The station's name and every title a block brings go into a
// history with the audio position where they begin. Everything but Read is the child's own, so
// positions and lengths count the stream's raw bytes.
#pragma once

#include "buffering/IcyStripper.h"
#include "buffering/TitleHistory.h"

#include <zureader/WrappingReader.h>

#include <memory>
#include <string>
#include <vector>

class CIcyStrippingReader final : public VWrappingReader {
public:
    // Borrows the open child: the reader that lends it closes it.
    explicit CIcyStrippingReader(VReader* pChild);
    ~CIcyStrippingReader() override;

    // Up to nCount bytes of audio, at least one unless the child has ended. The first read
    // examines the station header, from the child's information or the stream's head; without a
    // usable interval every byte after the header passes. A child of unknown length (a station
    // on air) is asked for no more than the current part (audio run, length byte, block), so that
    // a read never waits for audio while a title is due, and answers once it has any audio.
    uint32_t Read(void* pBuffer, uint32_t nCount) override;

    // Thread-safe: another thread may ask while this one reads.
    CTitleHistory& Titles() { return m_Titles; }

private:
    void ExamineStreamHeader();
    // The station header at the head of the stream; its audio waits in m_Pending.
    void ReadStreamHeader(std::string& title, std::string& intervalText);
    uint32_t ReadFully(unsigned char* pBuffer, uint32_t nCount);
    uint32_t TakePending(unsigned char* pBuffer, uint32_t nCount);
    uint32_t ReadStripped(unsigned char* pBuffer, uint32_t nCount);

    bool m_bExamined = false;
    bool m_bLive = false;
    std::vector<unsigned char> m_Pending;  // audio that came with the station header
    size_t m_nPendingAt = 0;
    std::vector<unsigned char> m_Block;    // where metadata blocks are read to
    CTitleHistory m_Titles;
    std::unique_ptr<CIcyStripper> m_pStripper;
};
