#pragma once
// The interface between the debug log and the trace library ZorvDbg64.dll. The record
// crosses into a separately built library, so its layout is fixed (little-endian,
// 2148 bytes, zero-filled before it is set).

#include <windows.h>

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)
struct DebugLogConfig {
    uint8_t ServiceSession;  // 1 when the process runs in the service session
    uint8_t Robust;          // flush every line to disk
    uint8_t Debugger;        // also send every line to OutputDebugStringW
    uint8_t Reserved;
    SYSTEMTIME Time;      // local time at configuration
    uint32_t LogProcess;  // non-zero: the process id is part of the file name
    uint32_t LogUnitType;
    wchar_t UnitName[32];
    wchar_t LogFolder[260];
    wchar_t LogPrefix[256];
    wchar_t LogFile[256];
    wchar_t LogExtension[256];
};
#pragma pack(pop)

static_assert(offsetof(DebugLogConfig, ServiceSession) == 0, "layout");
static_assert(offsetof(DebugLogConfig, Robust) == 1, "layout");
static_assert(offsetof(DebugLogConfig, Debugger) == 2, "layout");
static_assert(offsetof(DebugLogConfig, Reserved) == 3, "layout");
static_assert(offsetof(DebugLogConfig, Time) == 4, "layout");
static_assert(offsetof(DebugLogConfig, LogProcess) == 20, "layout");
static_assert(offsetof(DebugLogConfig, LogUnitType) == 24, "layout");
static_assert(offsetof(DebugLogConfig, UnitName) == 28, "layout");
static_assert(offsetof(DebugLogConfig, LogFolder) == 92, "layout");
static_assert(offsetof(DebugLogConfig, LogPrefix) == 612, "layout");
static_assert(offsetof(DebugLogConfig, LogFile) == 1124, "layout");
static_assert(offsetof(DebugLogConfig, LogExtension) == 1636, "layout");
static_assert(sizeof(DebugLogConfig) == 2148, "layout");

extern "C" {
// 0 on success; *handleOut receives the handle that the other two calls take.
typedef int(__cdecl* ZorvDbgInitializeFn)(void** handleOut, const DebugLogConfig* config);
// Appends one complete line (it already ends in "\r\n"); 0 on success.
typedef int(__cdecl* ZorvDbgTraceFn)(void* handle, const SYSTEMTIME* time, const wchar_t* line);
typedef void(__cdecl* ZorvDbgUninitializeFn)(void* handle);
}
