#include "FailingAllocations.h"

#include <cstdlib>
#include <new>

namespace {

// Allocations still allowed on this thread; negative: no limit.
thread_local int t_nAllowed = -1;

void* Allocate(std::size_t nBytes)
{
    if (t_nAllowed == 0)
        return nullptr;
    if (t_nAllowed > 0)
        --t_nAllowed;
    return std::malloc(nBytes == 0 ? 1 : nBytes);
}

void* AllocateOrThrow(std::size_t nBytes)
{
    void* p = Allocate(nBytes);
    if (!p)
        throw std::bad_alloc();
    return p;
}

}  // namespace

namespace zutest {

CFailingAllocations::CFailingAllocations(int nAllowed) : m_nWasAllowed(t_nAllowed)
{
    t_nAllowed = nAllowed;
}

CFailingAllocations::~CFailingAllocations()
{
    t_nAllowed = m_nWasAllowed;
}

}  // namespace zutest

void* operator new(std::size_t nBytes)
{
    return AllocateOrThrow(nBytes);
}

void* operator new[](std::size_t nBytes)
{
    return AllocateOrThrow(nBytes);
}

void* operator new(std::size_t nBytes, const std::nothrow_t&) noexcept
{
    return Allocate(nBytes);
}

void* operator new[](std::size_t nBytes, const std::nothrow_t&) noexcept
{
    return Allocate(nBytes);
}

void operator delete(void* p) noexcept
{
    std::free(p);
}

void operator delete[](void* p) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}

void operator delete[](void* p, std::size_t) noexcept
{
    std::free(p);
}

void operator delete(void* p, const std::nothrow_t&) noexcept
{
    std::free(p);
}

void operator delete[](void* p, const std::nothrow_t&) noexcept
{
    std::free(p);
}
