// Reads a DVD title sequentially, pack by pack, and checks that seeks and reads of any size anywhere
// agree with that reading: the pack a position names is the first kept pack at or after it.
#pragma once

#include "TestSupport.h"

#include <string>
#include <vector>

namespace zutest::dvd {

struct SPackAt {
    int64_t nIndex;  // the pack's place among the title's sectors
    std::string bytes;
};

// Reads the open reader from where it is to the end in 2048-byte reads.
std::vector<SPackAt> ReadPacks(VReader& reader);
// The stream from position nPosition on, as the sequential reading says it must be.
std::string StreamFrom(const std::vector<SPackAt>& packs, int64_t nPosition);
// nOperations seeded seeks and reads over the open reader, each checked; answers the number of
// failed checks (each reported through gtest).
void CheckRandomAccess(VReader& reader, const std::vector<SPackAt>& packs, uint32_t nSeed, int nOperations);

}  // namespace zutest::dvd
