// While a CFailingAllocations lives, every operator new on the thread that made it fails after the
// first nAllowed: the throwing forms throw std::bad_alloc, the nothrow forms answer null. Other
// threads allocate as usual. The test program replaces the global allocation functions to do
// this; malloc is left alone.
#pragma once

namespace zutest {

class CFailingAllocations {
public:
    explicit CFailingAllocations(int nAllowed = 0);
    ~CFailingAllocations();
    CFailingAllocations(const CFailingAllocations&) = delete;
    CFailingAllocations& operator=(const CFailingAllocations&) = delete;

private:
    int m_nWasAllowed;
};

}  // namespace zutest
