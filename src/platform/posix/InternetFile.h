// VInternetFile: an object with a body to read (an HTTP request or an FTP file). Reading and moving
// the file pointer are the same for both: bytes come from the transfer's buffer, a move forward
// within it skips, and any other move asks the server again from the new place.
#pragma once

#include "platform/posix/CurlTransfer.h"
#include "platform/posix/InternetObject.h"

#include <cstdint>
#include <memory>
#include <mutex>

namespace zu::platform {

class VInternetFile : public VInternetObject {
public:
    using VInternetObject::VInternetObject;

    bool Read(void* pBuffer, uint32_t nCount, uint32_t& nRead) override;
    int64_t SetFilePointer(int64_t nDistance, uint32_t nMethod) override;

protected:
    // The transfer the body comes through; null before there is a body to read.
    virtual CCurlTransfer* BodyTransfer() = 0;
    // Held while the transfer is used (an FTP file shares its connection's).
    virtual std::unique_lock<std::recursive_mutex> LockTransfer() = 0;
    virtual uint32_t BodyIdleLimit() const = 0;
    // The body's length, -1 when unknown.
    virtual int64_t BodyLength() const = 0;
    // Fetches the body again from nPosition on (from the start of the first answer's body).
    virtual bool RestartAt(int64_t nPosition) = 0;
    // Called after each read with the transfer still locked.
    virtual void AfterRead() {}

    // Where the running transfer began within the body.
    int64_t m_nBase = 0;
};

}  // namespace zu::platform
