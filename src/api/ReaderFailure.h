// CReaderFailure: why a reader failed, as the C interface reports it: one of the ZUREADER_ERROR_*
// kinds, the network status and a message that names the source and carries the Internet
// reader's "StatusCode" and "StatusText".
#pragma once

#include <zureader/Reader.h>

#include <cstdint>
#include <string>

class CReaderFailure {
public:
    CReaderFailure() = default;
    CReaderFailure(int32_t nKind, int32_t nStatus, std::string message);

    // Open (or Create) answered 0.
    static CReaderFailure OfOpen(VReader& reader, const std::u16string& location);
    // Read answered fewer bytes than asked for: the data ended (false) or failed (true, with why).
    static bool OfShortRead(VReader& reader, const std::u16string& location, CReaderFailure& failure);

    int32_t Kind() const { return m_nKind; }
    // Makes this the calling thread's last error.
    void Report() const;

private:
    static CReaderFailure OfNetwork(VReader& reader, const std::string& what);
    static int32_t NetworkKind(int32_t nStatus, const std::u16string& text);
    static int32_t StatusKind(int32_t nStatus);

    int32_t m_nKind = 0;
    int32_t m_nStatus = 0;
    std::string m_Message;
};
