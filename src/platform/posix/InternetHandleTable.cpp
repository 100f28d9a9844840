#include "platform/posix/InternetHandleTable.h"

#include "platform/posix/InternetErrors.h"

#include <algorithm>

namespace zu::platform {
namespace {

uintptr_t Number(InternetHandle h)
{
    return reinterpret_cast<uintptr_t>(h);
}

}  // namespace

CInternetHandleTable& CInternetHandleTable::Instance()
{
    // Never destroyed: handles a host leaks must not be torn down behind a running thread at exit.
    static CInternetHandleTable* s_pTable = new CInternetHandleTable();
    return *s_pTable;
}

InternetHandle CInternetHandleTable::Add(std::shared_ptr<VInternetObject> pObject, InternetHandle hParent)
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
    return reinterpret_cast<InternetHandle>(nHandle);
}

std::shared_ptr<VInternetObject> CInternetHandleTable::Find(InternetHandle h)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    const auto found = m_Objects.find(Number(h));
    if (found == m_Objects.end()) {
        FailInternet(INET_ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return found->second;
}

bool CInternetHandleTable::Close(InternetHandle h)
{
    std::vector<std::shared_ptr<VInternetObject>> objects;
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

void CInternetHandleTable::CollectTree(uintptr_t nHandle, std::vector<std::shared_ptr<VInternetObject>>& objects)
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
void CInternetHandleTable::Unlink(uintptr_t nHandle)
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

}  // namespace zu::platform
