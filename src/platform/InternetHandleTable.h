// CInternetHandleTable: the process's open Internet handles, for either backend. A handle is a
// number that is never reused, so a stale or foreign handle is refused instead of reaching freed
// memory, and a call keeps its object alive while another thread closes the handle. TObject has a
// Cancel() that ends whatever the object is doing; a close calls it for the handle and every handle
// below it, children first.
#pragma once

#include "platform/InternetBackend.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace zu::platform {

template <typename TObject>
class CInternetHandleTable {
public:
    static CInternetHandleTable& Instance()
    {
        // Never destroyed: handles a host leaks must not be torn down behind a running thread at exit.
        static CInternetHandleTable* s_pTable = new CInternetHandleTable();
        return *s_pTable;
    }

    // Registers the object below its parent's handle (null for a session); a new handle leaves
    // INET_ERROR_SUCCESS as the last error.
    InternetHandle Add(std::shared_ptr<TObject> pObject, InternetHandle hParent)
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        if (hParent && m_Objects.count(Number(hParent)) == 0) {
            FailInternet(INET_ERROR_INVALID_HANDLE);
            return nullptr;
        }
        const uintptr_t nHandle = m_nNext;
        m_nNext += 4;
        m_Objects.emplace(nHandle, std::move(pObject));
        if (hParent) {
            m_Children[Number(hParent)].push_back(nHandle);
            m_Parents[nHandle] = Number(hParent);
        }
        SetInternetLastError(INET_ERROR_SUCCESS);
        return reinterpret_cast<InternetHandle>(nHandle);
    }

    // Null (with INET_ERROR_INVALID_HANDLE as the last error) for a handle that is not open.
    std::shared_ptr<TObject> Find(InternetHandle h)
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        const auto found = m_Objects.find(Number(h));
        if (found == m_Objects.end()) {
            FailInternet(INET_ERROR_INVALID_HANDLE);
            return nullptr;
        }
        return found->second;
    }

    // The object behind h as a T when it is of one of the types; null, with the reason as the last
    // error, otherwise. TObject has a Type() that answers an EInternetObjectType.
    template <typename T>
    std::shared_ptr<T> FindOfType(InternetHandle h, std::initializer_list<EInternetObjectType> types)
    {
        std::shared_ptr<TObject> pObject = Find(h);
        if (!pObject)
            return nullptr;
        if (std::find(types.begin(), types.end(), pObject->Type()) == types.end()) {
            FailInternet(INET_ERROR_INCORRECT_HANDLE_TYPE);
            return nullptr;
        }
        return std::static_pointer_cast<T>(pObject);
    }

    // Add for an object that setUp still has to make ready, with its handle already open so that
    // closing the parent meanwhile cuts setUp short. When setUp fails the handle is closed again and
    // setUp's error stays the last error. Null for a null object.
    template <typename TSetUp>
    InternetHandle AddWhile(std::shared_ptr<TObject> pObject, InternetHandle hParent, TSetUp setUp)
    {
        InternetHandle h = pObject ? Add(std::move(pObject), hParent) : nullptr;
        if (!h || setUp())
            return h;
        const uint32_t nError = InternetLastError();
        Close(h);
        FailInternet(nError);
        return nullptr;
    }

    // Closes the handle and every handle below it, cancelling what they are doing.
    bool Close(InternetHandle h)
    {
        std::vector<std::shared_ptr<TObject>> objects;
        {
            std::lock_guard<std::mutex> lock(m_Lock);
            if (m_Objects.count(Number(h)) == 0)
                return FailInternet(INET_ERROR_INVALID_HANDLE);
            Unlink(Number(h));
            CollectTree(Number(h), objects);
        }
        // Children first, so a file is let go before the connection it runs on.
        for (auto it = objects.rbegin(); it != objects.rend(); ++it)
            (*it)->Cancel();
        // Objects a call on another thread still holds are destroyed when that call returns.
        while (!objects.empty())
            objects.pop_back();
        return true;
    }

private:
    CInternetHandleTable() = default;

    static uintptr_t Number(InternetHandle h) { return reinterpret_cast<uintptr_t>(h); }

    void CollectTree(uintptr_t nHandle, std::vector<std::shared_ptr<TObject>>& objects)
    {
        const auto found = m_Objects.find(nHandle);
        if (found == m_Objects.end())
            return;
        objects.push_back(found->second);
        m_Objects.erase(found);
        m_Parents.erase(nHandle);
        const auto children = m_Children.find(nHandle);
        if (children == m_Children.end())
            return;
        const std::vector<uintptr_t> list = children->second;
        m_Children.erase(children);
        for (uintptr_t nChild : list)
            CollectTree(nChild, objects);
    }

    // Takes a handle out of its parent's list of children.
    void Unlink(uintptr_t nHandle)
    {
        const auto parent = m_Parents.find(nHandle);
        if (parent == m_Parents.end())
            return;
        const auto siblings = m_Children.find(parent->second);
        if (siblings != m_Children.end()) {
            std::vector<uintptr_t>& list = siblings->second;
            list.erase(std::remove(list.begin(), list.end(), nHandle), list.end());
            if (list.empty())
                m_Children.erase(siblings);
        }
        m_Parents.erase(parent);
    }

    std::mutex m_Lock;
    std::unordered_map<uintptr_t, std::shared_ptr<TObject>> m_Objects;
    std::unordered_map<uintptr_t, std::vector<uintptr_t>> m_Children;
    std::unordered_map<uintptr_t, uintptr_t> m_Parents;
    uintptr_t m_nNext = 0x1000;
};

}  // namespace zu::platform
