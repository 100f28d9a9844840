#include "api/ReaderHandle.h"

#include <utility>

ZUReaderHandle::ZUReaderHandle(VReader* pReader, std::u16string location)
    : m_pReader(pReader), m_Location(std::move(location))
{
}
