#include "ProcessFootprint.h"

#include <psapi.h>

#include <vector>

namespace TestSupport {
namespace {

// One row of the system handle table (information class 16).
struct HandleEntry {
    ULONG OwnerProcessId;
    BYTE ObjectType;
    BYTE Flags;
    USHORT Handle;
    void* Object;
    ACCESS_MASK Access;
};

struct HandleTable {
    ULONG Count;
    HandleEntry Entries[1];
};

using QuerySystemInformationFn = LONG(NTAPI*)(ULONG, void*, ULONG, ULONG*);

DWORD CountOwnHandles() {
    constexpr ULONG kSystemHandleInformation = 16;
    constexpr LONG kInfoLengthMismatch = static_cast<LONG>(0xC0000004);
    const auto query = reinterpret_cast<QuerySystemInformationFn>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    if (query == nullptr) {
        return 0;
    }
    std::vector<BYTE> buffer(1 << 16);
    LONG status = kInfoLengthMismatch;
    while ((status = query(kSystemHandleInformation, buffer.data(),
                           static_cast<ULONG>(buffer.size()), nullptr)) == kInfoLengthMismatch) {
        buffer.resize(buffer.size() * 2);
    }
    if (status != 0) {
        return 0;
    }
    const HandleTable& table = *reinterpret_cast<const HandleTable*>(buffer.data());
    DWORD count = 0;
    for (ULONG index = 0; index < table.Count; ++index) {
        count += table.Entries[index].OwnerProcessId == GetCurrentProcessId() ? 1 : 0;
    }
    return count;
}

}  // namespace

Footprint MeasureProcess() {
    Footprint footprint;
    if (!GetProcessHandleCount(GetCurrentProcess(), &footprint.Handles) || footprint.Handles == 0) {
        footprint.Handles = CountOwnHandles();
    }
    PROCESS_MEMORY_COUNTERS_EX counters{};
    counters.cb = sizeof(counters);
    if (GetProcessMemoryInfo(GetCurrentProcess(),
                             reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters),
                             sizeof(counters))) {
        footprint.PrivateBytes =
            counters.PrivateUsage != 0 ? counters.PrivateUsage : counters.PagefileUsage;
    }
    return footprint;
}

}  // namespace TestSupport
