#include "AllocationFault.h"

#include <cstdlib>
#include <new>

namespace TestSupport {
namespace {

thread_local long long t_Countdown = -1;  // -1: disarmed
thread_local bool t_Fired = false;

}  // namespace

AllocationFault::AllocationFault(size_t countdown) {
    t_Fired = false;
    t_Countdown = static_cast<long long>(countdown);
}

AllocationFault::~AllocationFault() {
    t_Countdown = -1;
}

bool AllocationFault::Fired() const {
    return t_Fired;
}

}  // namespace TestSupport

// The static C++ library's array and nothrow forms call these, so replacing
// them reaches every form.
void* operator new(size_t size) {
    using namespace TestSupport;
    if (t_Countdown >= 0 && t_Countdown-- == 0) {
        t_Fired = true;  // the countdown is now -1: one failure only
        throw std::bad_alloc();
    }
    if (void* block = std::malloc(size == 0 ? 1 : size)) {
        return block;
    }
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, size_t) noexcept {
    std::free(block);
}
