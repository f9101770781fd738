#pragma once
// Makes one allocation of the calling thread fail, so that a test can walk a failure
// through every allocation of a call: the countdown-th call of operator new from now on
// (plain, array or nothrow; 0 is the very next) throws std::bad_alloc or answers null.
// The suite's executable replaces the global allocation functions for this; the static
// libraries linked into it use them too. One fault at a time.

#include <cstddef>

namespace LogTests {

class AllocationFault {
public:
    explicit AllocationFault(size_t countdown);
    ~AllocationFault();  // disarms a fault not yet reached
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    // Whether the failing allocation was reached.
    bool Fired() const;
};

}  // namespace LogTests
