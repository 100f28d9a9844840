// CPackFilter: keeps the program-stream packs of the wanted streams and drops the rest. Video
// packs are always kept; a private-stream-1 pack is kept when its sub-stream is wanted, and its
// sub-stream id is rewritten to the stream's output id (0x80 for every audio stream), so a player
// finds the kept audio where it looks first.
#pragma once

#include <cstdint>
#include <map>

namespace zu::dvd {

class CStreamAttributes;

class CPackFilter {
public:
    static constexpr uint32_t kPackBytes = 2048;

    // Under the key its "Stream: ID" (low byte) and "SubStream: ID" (high byte) make.
    void AddWanted(const CStreamAttributes& attributes);
    void Clear() { m_Wanted.clear(); }
    // Decides on one pack of kPackBytes, rewriting a kept audio pack's sub-stream id in place.
    bool Keep(uint8_t* pPack) const;

private:
    std::map<uint16_t, uint8_t> m_Wanted;  // key -> output sub-stream id
};

}  // namespace zu::dvd
