// The three entry points of the trace library. The handle is the LogFile the first
// call opened; nothing thrown inside ever leaves through an export.

#include <new>

#include "ZorvDbg_LogFile.h"

extern "C" {

int __cdecl ZorvDbgInitialize(void** handleOut, const DebugLogConfig* config) {
    if (handleOut == nullptr || config == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    *handleOut = nullptr;
    try {
        auto* logFile = new ZorvDbg::LogFile(*config);
        const DWORD error = logFile->Open();
        if (error != ERROR_SUCCESS) {
            delete logFile;
            return static_cast<int>(error);
        }
        *handleOut = logFile;
        return 0;
    } catch (...) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

int __cdecl ZorvDbgTrace(void* handle, const SYSTEMTIME* /*time: already in the line*/,
                         const wchar_t* line) {
    if (handle == nullptr || line == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    try {
        return static_cast<int>(static_cast<ZorvDbg::LogFile*>(handle)->Append(line));
    } catch (...) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

void __cdecl ZorvDbgUninitialize(void* handle) {
    delete static_cast<ZorvDbg::LogFile*>(handle);
}

}  // extern "C"
