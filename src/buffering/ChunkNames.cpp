#include "buffering/ChunkNames.h"

namespace {

// Where a URL's path ends: at its query or fragment.
size_t PathEnd(const std::u16string& url)
{
    const size_t nScheme = url.find(u"://");
    const size_t nFrom = nScheme == std::u16string::npos ? 0 : nScheme + 3;
    const size_t nEnd = url.find_first_of(u"?#", nFrom);
    return nEnd == std::u16string::npos ? url.size() : nEnd;
}

}  // namespace

CChunkNames::CChunkNames(const std::u16string& path, bool bUrl)
{
    const size_t nEnd = bUrl ? PathEnd(path) : path.size();
    const std::u16string name = path.substr(0, nEnd);
    m_After = path.substr(nEnd);
    const size_t nSeparator = name.find_last_of(bUrl ? u"/" : u"/\\");
    const size_t nDot = name.rfind(u'.');
    const bool bHasExtension =
        nDot != std::u16string::npos && (nSeparator == std::u16string::npos || nDot > nSeparator);
    m_Before = (bHasExtension ? name.substr(0, nDot) : name) + u"-";
    if (bHasExtension)
        m_Extension = name.substr(nDot);
}

std::u16string CChunkNames::Name(int64_t nIndex, const std::u16string& suffix, bool bTemporary) const
{
    const std::string digits = std::to_string(nIndex);
    std::u16string name = m_Before + std::u16string(digits.begin(), digits.end()) + m_Extension + suffix;
    if (bTemporary)
        name += u".tmp";
    return name + m_After;
}
