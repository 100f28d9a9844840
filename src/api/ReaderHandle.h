// ZUReaderHandle: what a C host holds for a reader: the reader itself, the location it came from
// (for messages), the request body the C interface copied for it, and a failure found after the
// bytes a short read delivered, which the next read reports.
#pragma once

#include "api/ReaderFailure.h"

#include <zureader/Reader.h>

#include <memory>
#include <string>
#include <vector>

struct ZUReaderHandle {
    ZUReaderHandle(VReader* pReader, std::u16string location);

    std::unique_ptr<VReader> m_pReader;
    std::u16string m_Location;
    std::vector<unsigned char> m_PostData;
    bool m_bFailurePending = false;
    CReaderFailure m_PendingFailure;
};
