// Splicing a stream with in-band titles onto a new connection's stream: wherever the old one broke
// off, the spliced stream still parses cycle by cycle, and holds only whole titles of the stream
// (or one cut short and padded with zeros).
#include "net/IcyPhase.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr uint32_t kInterval = 100;

// Six cycles: audio bytes, then a title in 16-byte blocks, or none.
std::string Stream()
{
    std::string stream;
    for (int nCycle = 0; nCycle < 6; ++nCycle) {
        stream += std::string(kInterval, static_cast<char>('a' + nCycle));
        if (nCycle % 3 == 1) {
            stream += '\0';
            continue;
        }
        std::string title = "StreamTitle='Title " + std::to_string(nCycle) + (nCycle == 2 ? " with a long name" : "") + "';";
        title.resize((title.size() + 15) / 16 * 16, '\0');
        stream += static_cast<char>(title.size() / 16);
        stream += title;
    }
    return stream;
}

// The metadata texts of a stream, parsed cycle by cycle; empty with a note when it does not parse.
std::vector<std::string> Titles(const std::string& stream, std::string& note)
{
    std::vector<std::string> titles;
    size_t nAt = 0;
    while (nAt + kInterval < stream.size()) {
        nAt += kInterval;
        const size_t nLength = 16u * static_cast<unsigned char>(stream[nAt++]);
        if (nAt + nLength > stream.size()) {
            note = "metadata past the end at " + std::to_string(nAt);
            return {};
        }
        if (nLength > 0)
            titles.push_back(stream.substr(nAt, nLength));
        nAt += nLength;
    }
    return titles;
}

}  // namespace

TEST(IcyPhaseTest, AStreamBrokenOffAnywhereSplicesOntoAFreshOneWithoutLosingCount)
{
    const std::string stream = Stream();
    std::string note;
    const std::vector<std::string> whole = Titles(stream, note);
    ASSERT_EQ(4u, whole.size()) << note;
    for (size_t nCut = 0; nCut <= stream.size(); ++nCut) {
        CIcyPhase phase(kInterval);
        // Handed on in two pieces, as reads would.
        phase.Pass(reinterpret_cast<const unsigned char*>(stream.data()), nCut / 2);
        phase.Pass(reinterpret_cast<const unsigned char*>(stream.data()) + nCut / 2, nCut - nCut / 2);
        uint32_t nDrop = 0;
        uint32_t nPad = 0;
        phase.Splice(nDrop, nPad);
        ASSERT_TRUE(nDrop == 0 || nPad == 0);
        const std::string spliced = stream.substr(0, nCut) + std::string(nPad, '\0') + stream.substr(nDrop);
        const std::vector<std::string> titles = Titles(spliced, note);
        ASSERT_FALSE(titles.empty()) << "cut at " << nCut << ": " << note;
        for (const std::string& title : titles) {
            bool bKnown = false;
            for (const std::string& original : whole)
                bKnown = bKnown || (title.size() == original.size() &&
                                    original.compare(0, title.find_last_not_of('\0') + 1, title, 0,
                                                     title.find_last_not_of('\0') + 1) == 0);
            EXPECT_TRUE(bKnown) << "cut at " << nCut << ": a title no cycle sent: " << title;
        }
        EXPECT_EQ(titles.back(), whole.back()) << "cut at " << nCut << ": the fresh stream's cycles come through whole";
    }
}
