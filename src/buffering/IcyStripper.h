// CIcyStripper: takes the metadata out of an Internet-radio (ICY) byte stream, in whatever pieces
// the stream arrives. The stream is audio runs of the station's interval, each followed by a
// length byte (in units of 16 bytes) and that many bytes of metadata; a block may be cut across
// any number of pieces. Each completed block is applied to the title it keeps, and a title that
// changes goes into the history at the audio position where its block was cut out.
#pragma once

#include "buffering/TitleHistory.h"

#include <cstdint>
#include <string>

class CIcyStripper {
public:
    // nInterval above 0; nAudioDone: audio bytes of the current interval already passed on (at
    // most nInterval). title: the title before the first block (the station's name). Audio
    // positions count from nAudioPosition.
    CIcyStripper(uint32_t nInterval, uint32_t nAudioDone, std::string title, CTitleHistory& titles,
                 int64_t nAudioPosition);

    // Removes the metadata from the nCount bytes at pBytes by moving the audio together at the
    // front; answers how many audio bytes are left there.
    uint32_t Strip(unsigned char* pBytes, uint32_t nCount);

    // Bytes up to the end of the current part: the rest of the audio run, the length byte or the
    // rest of the block. A live source asked for no more never holds a part back for the next.
    uint32_t BytesToPartEnd() const;

    bool IsInAudio() const { return m_Part == EPart::AUDIO; }

    const std::string& Title() const { return m_Title; }

private:
    enum class EPart { AUDIO, LENGTH, BLOCK };

    uint32_t TakeAudio(unsigned char* pBytes, uint32_t nAt, uint32_t nCount, uint32_t nKept);
    uint32_t TakeLength(unsigned char nUnits);
    uint32_t TakeBlock(const unsigned char* pBytes, uint32_t nCount);

    const uint32_t m_nInterval;
    EPart m_Part;
    uint32_t m_nPartLeft;
    std::string m_Block;
    std::string m_Title;
    CTitleHistory& m_Titles;
    int64_t m_nAudioPosition;
};
