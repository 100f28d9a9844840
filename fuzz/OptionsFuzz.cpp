// VReader::SetOptions on any text: every "|"-separated key/value pair must end up in the option map
// (the last value of a key winning), nothing else may, and the odd field of an odd count is left
// out.
#include "FuzzText.h"

#include <zureader/Reader.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

using zufuzz::Require;

namespace {

// The smallest concrete reader, opening the option map to the check.
class COptionsReader : public VReader {
public:
    ZUBOOL Open() override { return 0; }
    void Close() override {}
    uint32_t Read(void*, uint32_t) override { return 0; }
    uint32_t Write(const void*, uint32_t) override { return 0; }
    int64_t GetLength() override { return -1; }
    int64_t GetPosition() override { return -1; }
    int64_t SetPosition(int64_t, uint32_t) override { return -1; }
    ZUBOOL SetEndOfFile() override { return 0; }
    ZUBOOL IsLengthUnknown() override { return 1; }
    ZUBOOL IsRemote() override { return 0; }
    ZUBOOL IsOpen() override { return 0; }
    ZUBOOL IsReadOnly() override { return 1; }

    const std::unordered_map<std::u16string, std::u16string>& Options() const { return m_Options; }
};

std::vector<std::u16string> FieldsOf(const std::u16string& text)
{
    std::vector<std::u16string> fields;
    size_t nStart = 0;
    for (size_t nBar; (nBar = text.find(u'|', nStart)) != std::u16string::npos; nStart = nBar + 1)
        fields.push_back(text.substr(nStart, nBar - nStart));
    fields.push_back(text.substr(nStart));
    return fields;
}

std::map<std::u16string, std::u16string> PairsOf(const std::u16string& text)
{
    const std::vector<std::u16string> fields = FieldsOf(text);
    std::map<std::u16string, std::u16string> pairs;
    for (size_t i = 0; i + 1 < fields.size(); i += 2)
        pairs[fields[i]] = fields[i + 1];
    return pairs;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    const std::u16string input = zufuzz::TextOf(pData, nSize);
    // The reader reads a zero-terminated text.
    const std::u16string text = input.substr(0, input.find(u'\0'));
    COptionsReader reader;
    reader.SetOptions(reinterpret_cast<const ZUCHAR*>(input.c_str()));

    const std::map<std::u16string, std::u16string> expected = PairsOf(text);
    const auto& options = reader.Options();
    Require(options.size() == expected.size(), "one option per distinct key", text);
    for (const auto& [key, value] : expected) {
        const auto pEntry = options.find(key);
        Require(pEntry != options.end(), "every pair's key is in the map", text);
        Require(pEntry->second == value, "each key holds the value of its last pair", text);
    }

    // A second text adds its pairs on top: its keys take its values, the others keep theirs.
    reader.SetOptions(reinterpret_cast<const ZUCHAR*>(u"FUZZ_KEY|second"));
    Require(reader.Options().at(u"FUZZ_KEY") == u"second", "a later SetOptions replaces a key's value", text);
    Require(reader.Options().size() == expected.size() + (expected.count(u"FUZZ_KEY") ? 0 : 1),
            "a later SetOptions leaves the other keys", text);
    return 0;
}
