// A trace library that refuses to start: ZorvDbgInitialize fails with ERROR_ACCESS_DENIED.
// It leaves an empty mark file in the configured log folder when it is asked to start,
// and another should a line ever be handed to it, so that a test sees what happened.

#include <windows.h>

#include <string>

#include "ZorvComn_Handle.h"
#include "ZorvDbg.h"

namespace {

std::wstring g_Folder;

void Mark(const wchar_t* name) {
    const ZorvCommon::UniqueFile mark(CreateFileW((g_Folder + L"\\" + name).c_str(), GENERIC_WRITE,
                                                  0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                                                  nullptr));
}

}  // namespace

extern "C" {

int __cdecl ZorvDbgInitialize(void** handleOut, const DebugLogConfig* config) {
    g_Folder.assign(config->LogFolder, wcsnlen(config->LogFolder, _countof(config->LogFolder)));
    Mark(L"initialize-refused.mark");
    *handleOut = nullptr;
    return ERROR_ACCESS_DENIED;
}

int __cdecl ZorvDbgTrace(void*, const SYSTEMTIME*, const wchar_t*) {
    Mark(L"trace-called.mark");
    return 0;
}

void __cdecl ZorvDbgUninitialize(void*) {}

}  // extern "C"
