// CTitleSet: a title set's information file (VTS_nn_0.IFO): its header and where each of its
// program chains lies.
#pragma once

#include "dvd/IfoFile.h"

#include <vector>

namespace zu::dvd {

class CTitleSet : public CIfoFile {
public:
    // Loads and parses the file at once; IsLoaded tells whether both worked.
    CTitleSet(std::u16string path, int nNumber);

    // Fills the header and the chain offsets; true when at least one chain was found.
    virtual bool Parse();

    int Number() const { return m_nNumber; }
    const SVtsHeader& Header() const { return m_Header; }
    // Absolute byte offsets in the file; chain n (1-based) is entry n - 1.
    const std::vector<int64_t>& PgcOffsets() const { return m_PgcOffsets; }

private:
    int m_nNumber;
    SVtsHeader m_Header;
    std::vector<int64_t> m_PgcOffsets;
};

}  // namespace zu::dvd
