// CInternetHandleTable: the process's open Internet handles. A handle is a number that is never
// reused, so a stale or foreign handle is refused instead of reaching freed memory, and a call
// keeps its object alive while another thread closes the handle.
#pragma once

#include "platform/Internet.h"
#include "platform/posix/InternetObject.h"

#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace zu::platform {

class CInternetHandleTable {
public:
    static CInternetHandleTable& Instance();

    // Registers the object below its parent's handle (null for a session).
    InternetHandle Add(std::shared_ptr<VInternetObject> pObject, InternetHandle hParent);
    // Null (with INET_ERROR_INVALID_HANDLE as the last error) for a handle that is not open.
    std::shared_ptr<VInternetObject> Find(InternetHandle h);
    // Closes the handle and every handle below it, cancelling what they are doing.
    bool Close(InternetHandle h);

private:
    CInternetHandleTable() = default;
    void CollectTree(uintptr_t nHandle, std::vector<std::shared_ptr<VInternetObject>>& objects);
    void Unlink(uintptr_t nHandle);

    std::mutex m_Lock;
    std::unordered_map<uintptr_t, std::shared_ptr<VInternetObject>> m_Objects;
    std::unordered_map<uintptr_t, std::vector<uintptr_t>> m_Children;
    std::unordered_map<uintptr_t, uintptr_t> m_Parents;
    uintptr_t m_nNext = 0x1000;
};

}  // namespace zu::platform
