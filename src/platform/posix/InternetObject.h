// VInternetObject: what a handle of the Internet seam stands for (a session, a connection, an
// HTTP request or an FTP file), with the options it inherited from its parent. Calls on one object
// are serialised by its lock; Cancel alone comes from whichever thread closes the handle.
#pragma once

#include "platform/InternetBackend.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace zu::platform {

class VInternetObject {
public:
    VInternetObject(EInternetObjectType type, std::shared_ptr<VInternetObject> pParent);
    virtual ~VInternetObject() = default;
    VInternetObject(const VInternetObject&) = delete;
    VInternetObject& operator=(const VInternetObject&) = delete;

    EInternetObjectType Type() const { return m_Type; }
    std::recursive_mutex& Lock() { return m_Lock; }

    // Options; failures leave the reason for InternetLastError.
    virtual bool SetOption(uint32_t nOption, uint32_t nValue);
    virtual bool QueryOption(uint32_t nOption, uint32_t& nValue);
    virtual bool SetOptionText(uint32_t nOption, const std::u16string& value);
    virtual bool QueryOptionText(uint32_t nOption, std::u16string& value);

    // The handle was closed: end any wait under way and refuse further work.
    virtual void Cancel() {}

    // Reading, for the objects that have a body.
    virtual bool Read(void* pBuffer, uint32_t nCount, uint32_t& nRead);
    virtual int64_t SetFilePointer(int64_t nDistance, uint32_t nMethod);

protected:
    uint32_t NumberOption(uint32_t nOption) const;
    std::u16string TextOption(uint32_t nOption) const;
    // A time-out option as a limit for waits: 0 for "none".
    uint32_t TimeoutOption(uint32_t nOption) const;

private:
    const EInternetObjectType m_Type;
    std::recursive_mutex m_Lock;
    std::map<uint32_t, uint32_t> m_Numbers;
    std::map<uint32_t, std::u16string> m_Texts;
};

}  // namespace zu::platform
