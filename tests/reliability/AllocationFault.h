#pragma once
// A fault on purpose: while an AllocationFault lives, the n-th allocation of the thread
// that made it (counted from its making) fails, as in a process out of memory: operator
// new throws std::bad_alloc and a nothrow new answers null. This suite replaces operator
// new to do it, so only code linked into the suite is reached; Ostrel.dll keeps its own.

#include <cstddef>

namespace Reliability {

class AllocationFault {
public:
    explicit AllocationFault(size_t failingAllocation);
    ~AllocationFault();
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    // Whether the allocation was made (and failed) so far.
    bool Fired() const;
};

}  // namespace Reliability
