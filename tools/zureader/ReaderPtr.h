// Owning handle for a reader made by one of the library's factories.
#pragma once

#include <zureader/ZUReader.h>

#include <memory>
#include <string>

namespace zucli {

struct CReaderDelete {
    void operator()(VReader* pReader) const { delete pReader; }
};
using CReaderPtr = std::unique_ptr<VReader, CReaderDelete>;

inline const ZUCHAR* Z(const std::u16string& text)
{
    return reinterpret_cast<const ZUCHAR*>(text.c_str());
}

// A caller-owned system string from GetInfo, as UTF-16; the string is freed.
std::u16string TakeInfo(ZUBSTR bstr);

// The reader GetGenericReader makes for a location (null for a URL it cannot parse); a local file
// is set up for reading only.
CReaderPtr MakeReader(const std::u16string& location, bool bSeekable = false);

// The read-ahead reader over pSource (a VBufferedReader), not opened. Its buffer is on the heap so
// that an interrupted run leaves no temporary file behind, and holds more than the worker's largest
// chunk. Null only when memory is exhausted.
CReaderPtr MakeReadAhead(CReaderPtr pSource);

}  // namespace zucli
