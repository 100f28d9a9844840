// The command line's own socket locations, which the library's generic reader does not take:
// tcp://HOST:PORT connects, udp://:PORT receives the datagrams sent to PORT, udp://@GROUP:PORT
// joins the multicast GROUP on every local address first.
#pragma once

#include "ReaderPtr.h"
#include "ReaderSetup.h"

#include <cstdint>
#include <functional>
#include <string>

namespace zucli {

class CSocketLocation {
public:
    static bool IsSocketLocation(const std::u16string& location);
    // udp:// locations, which never end by themselves: only an interrupt or a cut ends their copy.
    static bool IsDatagramLocation(const std::u16string& location);

    // False, with the reason in error, for a location of one of the socket schemes that is
    // malformed (no port, a port above 65535, a group that is not a dotted address).
    bool Parse(const std::u16string& location, std::string& error);

    bool IsDatagram() const { return m_eKind != EKind::Stream; }

    // The socket reader, configured by configure (time-out, options) before it connects or binds,
    // not opened yet. nLookupMs is the reader's time-out, which bounds a name's lookup. Null, with
    // failure filled, when it cannot connect or bind.
    CReaderPtr Make(const std::function<void(VReader&)>& configure, uint32_t nLookupMs, COpenFailure& failure) const;

private:
    enum class EKind { Stream, Datagram, Multicast };

    bool Connect(VSocketReader& socket, uint32_t nLookupMs, COpenFailure& failure) const;
    bool Bind(VSocketReader& socket, COpenFailure& failure) const;
    std::string Text() const;

    EKind m_eKind = EKind::Stream;
    std::u16string m_Host;
    uint16_t m_nPort = 0;
};

}  // namespace zucli
