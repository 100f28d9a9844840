// An Internet-radio stream of any bytes through CIcyStripper, in pieces the input chooses, and its
// head through CIcyMetadata's station-header reading. The first two bytes pick the interval, the
// next how much of the first interval has passed, the next the piece sizes; the rest is the
// stream. Checked: the audio, the final title and the audio position where each title begins do not
// depend on how the stream is cut, and equal what a plain walk over the stream's intervals, length
// bytes and blocks finds; a part is never
// empty and an audio run never longer than the interval; no title or header value outgrows the
// kept length.
#include "buffering/IcyMetadata.h"
#include "buffering/IcyStripper.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr size_t kSettings = 4;
// Up to this interval the small cases that matter (blocks back to back, a run of one byte) come up
// often.
constexpr uint32_t kMaxInterval = 4096;

void Require(bool bHolds, const char* pszPromise)
{
    if (bHolds)
        return;
    std::fprintf(stderr, "broken: %s\n", pszPromise);
    std::abort();
}

struct CStripped {
    std::string audio;
    std::string title;
    // Each title change with the audio bytes that came before its block.
    std::vector<std::pair<size_t, std::string>> changes;
};

// The stream walked interval by interval, each block applied where it ends.
CStripped Walk(const std::string& stream, uint32_t nInterval, uint32_t nAudioDone, const std::string& title)
{
    CStripped result{{}, title};
    size_t nAt = 0;
    size_t nRun = nInterval - nAudioDone;
    while (nAt < stream.size()) {
        const size_t nAudio = std::min(nRun, stream.size() - nAt);
        result.audio.append(stream, nAt, nAudio);
        nAt += nAudio;
        if (nAt >= stream.size())
            break;
        const size_t nBlock = static_cast<unsigned char>(stream[nAt++]) * size_t{16};
        if (stream.size() - nAt < nBlock)
            break;
        if (CIcyMetadata::ApplyBlock(reinterpret_cast<const unsigned char*>(stream.data() + nAt), nBlock, result.title))
            result.changes.emplace_back(result.audio.size(), result.title);
        nAt += nBlock;
        nRun = nInterval;
    }
    return result;
}

// The stream through one stripper, in pieces of the sizes that nPieceSeed's walk gives.
CStripped Strip(std::string stream, uint32_t nInterval, uint32_t nAudioDone, const std::string& title,
                uint8_t nPieceSeed, CTitleHistory& titles)
{
    CIcyStripper stripper(nInterval, nAudioDone, title, titles, 0);
    CStripped result{{}, title};
    uint32_t nStep = nPieceSeed;
    for (size_t nAt = 0; nAt < stream.size();) {
        nStep = nStep * 1103515245u + 12345u;
        const uint32_t nPiece = nPieceSeed == 0 ? static_cast<uint32_t>(stream.size())
                                                : 1 + (nStep >> 16) % (2u * nPieceSeed);
        const uint32_t nCount = static_cast<uint32_t>(std::min<size_t>(nPiece, stream.size() - nAt));
        auto* pPiece = reinterpret_cast<unsigned char*>(&stream[nAt]);
        const uint32_t nKept = stripper.Strip(pPiece, nCount);
        Require(nKept <= nCount, "no more audio than bytes");
        result.audio.append(reinterpret_cast<const char*>(pPiece), nKept);
        Require(stripper.BytesToPartEnd() > 0, "a part always has bytes to come");
        Require(!stripper.IsInAudio() || stripper.BytesToPartEnd() <= nInterval, "an audio run within the interval");
        nAt += nCount;
    }
    result.title = stripper.Title();
    return result;
}

// Of changes at one position the last holds there.
void CheckTitlePositions(const CStripped& walked, const CTitleHistory& titles)
{
    for (size_t i = 0; i < walked.changes.size(); ++i) {
        if (i + 1 < walked.changes.size() && walked.changes[i + 1].first == walked.changes[i].first)
            continue;
        int64_t nToNext = 0;
        Require(titles.At(static_cast<int64_t>(walked.changes[i].first), nToNext) == walked.changes[i].second,
                "each title holds from the audio position of its block");
    }
}

void CheckStreamHeader(const std::string& stream)
{
    const auto* pBytes = reinterpret_cast<const unsigned char*>(stream.data());
    const CIcyMetadata::CStreamHeader header = CIcyMetadata::ParseStreamHeader(pBytes, stream.size());
    Require(header.m_nHeaderLength <= std::min(stream.size(), CIcyMetadata::kHeaderProbe),
            "the header ends inside the probed bytes");
    Require(header.m_Title.size() <= CIcyMetadata::kMaxText && header.m_IntervalText.size() <= CIcyMetadata::kMaxText,
            "header values are cut to the kept length");
    CIcyMetadata::ParseInterval(header.m_IntervalText);
    const std::u16string text = CIcyMetadata::TitleToText(header.m_Title);
    Require(CIcyMetadata::TextToTitle(text).size() <= CIcyMetadata::kMaxText,
            "a title from text within the kept length");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize < kSettings)
        return 0;
    const uint32_t nInterval = 1 + (pData[0] | (pData[1] << 8)) % kMaxInterval;
    const uint32_t nAudioDone = pData[2] % (nInterval + 1);
    const uint8_t nPieceSeed = pData[3];
    const std::string stream(reinterpret_cast<const char*>(pData) + kSettings, nSize - kSettings);
    const std::string title = "Station";

    const CStripped walked = Walk(stream, nInterval, nAudioDone, title);
    CTitleHistory wholeTitles;
    CTitleHistory pieceTitles;
    const CStripped whole = Strip(stream, nInterval, nAudioDone, title, 0, wholeTitles);
    const CStripped pieces = Strip(stream, nInterval, nAudioDone, title, nPieceSeed, pieceTitles);
    Require(whole.audio == walked.audio && whole.title == walked.title, "stripping in one piece is the plain walk");
    Require(pieces.audio == whole.audio && pieces.title == whole.title, "the pieces do not change the result");
    Require(whole.title.size() <= CIcyMetadata::kMaxText, "a title within the kept length");
    CheckTitlePositions(walked, wholeTitles);
    CheckTitlePositions(walked, pieceTitles);

    CheckStreamHeader(stream);
    return 0;
}
