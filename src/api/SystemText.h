// The system strings the readers hand out (GetInfo, stream titles), taken over as library text and
// freed, and the UTF-8 copies the C interface hands on to its host.
#pragma once

#include <zureader/Reader.h>

#include <string>

namespace zu::api {

// Frees bstr; null reads as empty text.
std::u16string TakeSystemString(ZUBSTR bstr);
// The reader's GetInfo of the property.
std::u16string InfoOf(VReader& reader, const char16_t* pszName);
// A copy the host frees with ZUReaderFreeString (malloc'd: free in the library's own C runtime).
char* CopyForHost(const std::u16string& text);

}  // namespace zu::api
