// The library's exported functions. Every factory only constructs: the caller configures, opens,
// uses and finally deletes the reader (through VReader's virtual destructor).
#pragma once

#include <zureader/Reader.h>

extern "C" {

// A reader for a file on a local or network drive; null only when memory is exhausted.
ZUREADER_API VReader* GetLocalReader(const ZUCHAR* pszPath);

// Start-up and tear-down; they nest, and only the last tear-down releases shared state.
ZUREADER_API ZUBOOL ZUReaderInitialize(ZUBOOL bFlag);
ZUREADER_API ZUBOOL ZUReaderUninitialize(ZUBOOL bFlag);

#ifndef _WIN32
// System strings laid out like a BSTR: a 32-bit byte length before the characters, a zero after.
ZUREADER_API ZUBSTR ZUSysAllocString(const ZUCHAR* psz);
ZUREADER_API ZUBSTR ZUSysAllocStringLen(const ZUCHAR* pch, uint32_t nChars);
ZUREADER_API void ZUSysFreeString(ZUBSTR bstr);
ZUREADER_API uint32_t ZUSysStringLen(ZUBSTR bstr);
#endif
}

// Frees a text returned by VReader::GetInfo.
inline void ZUFreeString(ZUBSTR bstr)
{
#ifdef _WIN32
    SysFreeString(bstr);
#else
    ZUSysFreeString(bstr);
#endif
}
