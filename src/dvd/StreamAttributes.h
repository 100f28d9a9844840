// CStreamAttributes: what a title set's information file says about one elementary stream (the
// video, an audio or a sub-picture stream), as text properties, plus the sub-stream id that kept
// packs of the stream carry on output.
//
// Masks are applied to the attribute bytes as they stand and the masked values are compared
// unshifted. Hosts have long shown these texts ("NTSC" for every stored video block, "AC3" only for
// coding bits 0), so they are kept as they are.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace zu::dvd {

class CStreamAttributes {
public:
    enum EKind : int { VIDEO = 0, AUDIO = 1, SUBPICTURE = 2 };
    static constexpr size_t kVideoBlock = 2;
    static constexpr size_t kAudioBlock = 8;
    static constexpr size_t kSubpictureBlock = 6;

    static CStreamAttributes Video(const uint8_t* pBlock);
    static CStreamAttributes Audio(const uint8_t* pBlock, int nIndex);
    static CStreamAttributes Subpicture(const uint8_t* pBlock, int nIndex);

    // The stored text, empty when absent.
    std::u16string GetValue(const std::u16string& key) const;
    uint8_t GetOutputId() const { return m_nOutputId; }

    // The English name of the language whose two-letter code the bytes spell, case-blind; empty
    // when none has it. Bytes 0 and 0 spell the empty code, the first row without a two-letter
    // code ("Achinese").
    static std::u16string LanguageName(uint8_t nFirst, uint8_t nSecond);

private:
    explicit CStreamAttributes(uint8_t nOutputId) : m_nOutputId(nOutputId) {}
    static CStreamAttributes PrivateStream(EKind eKind, uint8_t nOutputId, int nSubStream, const uint8_t* pBlock);
    void Set(const std::u16string& key, const std::u16string& value);
    void Set(const std::u16string& key, int nValue);

    std::map<std::u16string, std::u16string> m_Properties;
    uint8_t m_nOutputId;
};

}  // namespace zu::dvd
