// Text and number types shared by the library and its hosts.
#pragma once

#include <cstdint>

#ifdef _WIN32
#  include <wtypes.h>
#  include <oleauto.h>
typedef wchar_t ZUCHAR;
typedef BSTR ZUBSTR;
#  ifdef ZUREADER_BUILDING
#    define ZUREADER_API __declspec(dllexport)
#  else
#    define ZUREADER_API __declspec(dllimport)
#  endif
#else
typedef char16_t ZUCHAR;
typedef char16_t* ZUBSTR;
#  define ZUREADER_API __attribute__((visibility("default")))
#endif

// Flags and success results: 32-bit, non-zero for true.
typedef int32_t ZUBOOL;

// Reader type codes answered by VReader::GetType.
enum : uint32_t {
    ZU_READER_LOCAL = 0,
    ZU_READER_INTERNET = 1,
    ZU_READER_MUSIC_TRANSCODER = 2,
    ZU_READER_VIDEO_TRANSCODER = 3,
    ZU_READER_STRING = 4,
    ZU_READER_TRUNCATING = 5,
    ZU_READER_TCP_SOCKET = 6,
    ZU_READER_UDP_SOCKET = 7,
    ZU_READER_BUFFERED = 8,
    ZU_READER_WRAPPING = 9,
    ZU_READER_CIRCLING = 10,
    ZU_READER_MEMORY = 11,
    ZU_READER_UNKNOWN = 0xFFFFFFFFu
};

// Origins of VReader::SetPosition.
enum : uint32_t { ZU_SEEK_BEGIN = 0, ZU_SEEK_CURRENT = 1, ZU_SEEK_END = 2 };
