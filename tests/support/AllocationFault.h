#pragma once
// Makes one allocation of the calling thread fail: the countdown-th call of operator new
// from now on (plain, array or nothrow; 0 is the very next) throws std::bad_alloc or
// answers null. A suite that uses it has its global allocation functions replaced (this
// file's object is linked in only then), which reach the static libraries linked into the
// suite but not a DLL such as Ostrel.dll. One fault at a time per thread.

#include <cstddef>

namespace TestSupport {

class AllocationFault {
public:
    explicit AllocationFault(size_t countdown);
    ~AllocationFault();  // disarms a fault not yet reached
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    // Whether the failing allocation was reached.
    bool Fired() const;
};

}  // namespace TestSupport
