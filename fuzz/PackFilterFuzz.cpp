// The pack filter on any pack: the first byte picks the wanted audio stream (0 to 7), the rest is
// the pack (cut or padded with zeros to 2048 bytes). Checked: nothing is read or written outside
// the pack (the sanitizers); a dropped pack is unchanged; a kept one differs at most in one byte,
// which now holds 0x80, and only where the wanted stream's sub-stream id stood.
#include "FuzzText.h"

#include "dvd/PackFilter.h"
#include "dvd/StreamAttributes.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

void Require(bool bHolds, const char* pszPromise)
{
    zufuzz::Require(bHolds, pszPromise, u"");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize < 1)
        return 0;
    const int nAudio = pData[0] & 7;
    const uint8_t block[8] = {};
    zu::dvd::CPackFilter filter;
    filter.AddWanted(zu::dvd::CStreamAttributes::Video(block));
    filter.AddWanted(zu::dvd::CStreamAttributes::Audio(block, nAudio));
    std::vector<uint8_t> pack(zu::dvd::CPackFilter::kPackBytes, 0);
    std::memcpy(pack.data(), pData + 1, std::min(nSize - 1, pack.size()));
    const std::vector<uint8_t> before = pack;
    const bool bKept = filter.Keep(pack.data());
    size_t nChanged = 0;
    for (size_t i = 0; i < pack.size(); ++i) {
        if (pack[i] == before[i])
            continue;
        ++nChanged;
        Require(bKept, "a dropped pack is unchanged");
        Require(pack[i] == 0x80 && before[i] == 0x80 + nAudio, "only the wanted sub-stream id becomes 0x80");
    }
    Require(nChanged <= 1, "at most one byte changes");
    Require(!bKept || before[3] == 0xBA, "a kept pack starts a pack");
    return 0;
}
