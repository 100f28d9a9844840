// The texts the socket readers and the media-server locator exchange with their callers: addresses
// and names go to the system as 8-bit text and come back as plain ASCII.
#pragma once

#include <zureader/Types.h>

#include <cstdint>
#include <string>

namespace zu {

// The caller's text in the system's ANSI code page; empty for null.
std::string NarrowText(const ZUCHAR* pszText);
// Writes text zero-terminated into the caller's buffer, cut to nCapacity characters with the zero.
void CopyNarrowText(const std::string& text, ZUCHAR* pszText, uint32_t nCapacity);

}  // namespace zu
