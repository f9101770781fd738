#include "AllocationFault.h"

#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace LogTests {
namespace {

std::atomic<DWORD> g_Thread{0};
std::atomic<long long> g_Countdown{-1};  // -1: disarmed
std::atomic<bool> g_Fired{false};

bool FailsNow() {
    if (g_Countdown.load() < 0 || g_Thread.load() != GetCurrentThreadId()) {
        return false;
    }
    if (g_Countdown.fetch_sub(1) != 0) {
        return false;
    }
    g_Fired = true;
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
    g_Fired = false;
    g_Thread = GetCurrentThreadId();
    g_Countdown = static_cast<long long>(countdown);
}

AllocationFault::~AllocationFault() {
    g_Countdown = -1;
}

bool AllocationFault::Fired() const {
    return g_Fired;
}

}  // namespace LogTests

void* operator new(size_t size) {
    return LogTests::AllocateOrThrow(size);
}
void* operator new[](size_t size) {
    return LogTests::AllocateOrThrow(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return LogTests::Allocate(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return LogTests::Allocate(size);
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
