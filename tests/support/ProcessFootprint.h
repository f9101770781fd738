#pragma once
// What a process holds: its handles and its private (committed) bytes. Wine answers
// GetProcessHandleCount and PROCESS_MEMORY_COUNTERS_EX::PrivateUsage with 0; the handles
// are then counted in the system's handle table and the commit charge stands in for the
// private bytes (on Windows the two are the same figure).

#include <windows.h>

#include <cstdint>

namespace TestSupport {

struct Footprint {
    DWORD Handles = 0;
    uint64_t PrivateBytes = 0;
};

Footprint MeasureProcess();

}  // namespace TestSupport
