#include "AllocationFault.h"

#include <cstdlib>
#include <new>

namespace TestSupport {
namespace {

thread_local long long t_Countdown = -1;  // -1: disarmed
thread_local bool t_Fired = false;

bool FailsNow() {
    if (t_Countdown < 0 || t_Countdown-- != 0) {
        return false;
    }
    t_Fired = true;
    return true;  // the countdown is now -1: one failure only
}

void* Allocate(size_t size) noexcept {
    return FailsNow() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* AllocateOrThrow(size_t size) {
    void* block = Allocate(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

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

void* operator new(size_t size) {
    return TestSupport::AllocateOrThrow(size);
}
void* operator new[](size_t size) {
    return TestSupport::AllocateOrThrow(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return TestSupport::Allocate(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return TestSupport::Allocate(size);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, size_t) noexcept {
    std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
