// VInternetFile: an object with a body to read (an HTTP request or an FTP file). WinINet cannot
// move within a body that it does not keep in its cache (and Wine cannot at all), so the position
// is counted here: a short step forward reads and drops the bytes in between, anything else asks
// the server again from the new place, which needs the body's length.
#pragma once

#include "platform/win32/InternetObject.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace zu::platform {

class VInternetFile : public CInternetObject {
public:
    using CInternetObject::CInternetObject;

    bool Read(void* pBuffer, uint32_t nCount, uint32_t& nRead);
    int64_t SetFilePointer(int64_t nDistance, uint32_t nMethod);

protected:
    virtual HINTERNET BodyHandle() const { return Handle(); }
    // False before there is a body to read.
    virtual bool HasBody() const = 0;
    // -1 when unknown.
    virtual int64_t BodyLength() const = 0;
    // Makes the body's bytes come from nPosition on (counted from the start of the first answer's
    // body).
    virtual bool RestartAt(int64_t nPosition) = 0;

    // Reads what WinINet has of the body, up to nCount bytes, without counting them.
    bool ReadBody(void* pBuffer, uint32_t nCount, uint32_t& nRead);
    // Reads and drops up to nCount bytes: the number dropped (fewer when the data ends first), or
    // -1 when a read fails.
    int64_t Discard(int64_t nCount);
    // A new body is read from its start.
    void StartBody();

private:
    int64_t m_nPosition = 0;
    // After a move to the end, or one that failed: reads find the end until the next move.
    bool m_bAbandoned = false;
    // Where the call thread reads into: it may still be writing after a close released the caller.
    std::shared_ptr<std::vector<char>> m_pLanding;
};

}  // namespace zu::platform
