#include "ProcessFootprint.h"

#include <psapi.h>

namespace TestSupport {

Footprint MeasureProcess() {
    Footprint footprint;
    if (!GetProcessHandleCount(GetCurrentProcess(), &footprint.Handles) || footprint.Handles == 0) {
        for (ULONG_PTR value = 4; value < 0x10000; value += 4) {
            DWORD flags = 0;
            footprint.Handles +=
                GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) ? 1 : 0;
        }
    }
    PROCESS_MEMORY_COUNTERS counters{};
    if (GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters))) {
        footprint.PrivateBytes = counters.PagefileUsage;
    }
    return footprint;
}

}  // namespace TestSupport
