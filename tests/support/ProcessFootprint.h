#pragma once
// What a process holds: its handles and its private (committed) bytes. Wine answers
// GetProcessHandleCount with 0: each handle value is then asked about in turn. The commit
// charge stands for the private bytes (on Windows the two are the same figure; Wine answers
// PROCESS_MEMORY_COUNTERS_EX::PrivateUsage with 0).

#include <windows.h>

#include <cstdint>

namespace TestSupport {

struct Footprint {
    DWORD Handles = 0;
    uint64_t PrivateBytes = 0;
};

Footprint MeasureProcess();

}  // namespace TestSupport
