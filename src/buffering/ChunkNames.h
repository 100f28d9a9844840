// CChunkNames: the file names of a recording's chunks, made from its header file's name: the
// name without its extension, "-", the chunk's index, ".", the extension, a suffix, and ".tmp" for
// a chunk being filled. In a URL the same is done to the URL's path, query and fragment left as
// they are.
#pragma once

#include <cstdint>
#include <string>

class CChunkNames {
public:
    CChunkNames(const std::u16string& path, bool bUrl);

    std::u16string Name(int64_t nIndex, const std::u16string& suffix, bool bTemporary) const;

private:
    std::u16string m_Before;     // everything up to the index
    std::u16string m_Extension;  // "." and the file type, or empty when the name has none
    std::u16string m_After;      // a URL's query and fragment
};
