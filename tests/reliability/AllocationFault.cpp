#include "AllocationFault.h"

#include <cstdlib>
#include <new>

namespace {

thread_local size_t t_AllocationsToFailure = 0;  // 0: nothing armed on this thread
thread_local bool t_Fired = false;

}  // namespace

namespace Reliability {

AllocationFault::AllocationFault(size_t failingAllocation) {
    t_AllocationsToFailure = failingAllocation;
    t_Fired = false;
}

AllocationFault::~AllocationFault() {
    t_AllocationsToFailure = 0;
}

bool AllocationFault::Fired() const {
    return t_Fired;
}

}  // namespace Reliability

// The runtime's nothrow and array forms come here too.
void* operator new(std::size_t size) {
    if (t_AllocationsToFailure != 0 && --t_AllocationsToFailure == 0) {
        t_Fired = true;
        throw std::bad_alloc();
    }
    void* pMemory = std::malloc(size != 0 ? size : 1);
    if (pMemory == nullptr) {
        throw std::bad_alloc();
    }
    return pMemory;
}

void operator delete(void* pMemory) noexcept {
    std::free(pMemory);
}

void operator delete(void* pMemory, std::size_t) noexcept {
    std::free(pMemory);
}
