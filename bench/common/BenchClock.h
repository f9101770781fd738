#pragma once
// The benchmarks' clock: CPU time of the calling thread, not wall time. The machines are
// shared with builds, and a run that waits for a core would count the neighbours' work.
// Under Wine it ticks in 10 ms steps: a measurement must use much more than that.

#include <windows.h>

#include <cstdint>

namespace Bench {

inline double ThreadCpuSeconds() {
    FILETIME creation, exit, kernel, user;
    GetThreadTimes(GetCurrentThread(), &creation, &exit, &kernel, &user);
    const auto ticks = [](const FILETIME& time) {
        return (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    };
    return static_cast<double>(ticks(kernel) + ticks(user)) * 1e-7;
}

}  // namespace Bench
