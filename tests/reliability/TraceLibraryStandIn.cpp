// A stand-in for the trace library, placed by the suites beside a copy of the module. In a
// process that made the event "Local\ZorvDbgStandInBlocked-<pid>" (trace_exit_child told
// to block), it stops at the line that names CServiceFactory::Initialize: it signals the
// event and never returns, holding the caller's locks as a thread stopped in the middle of
// a log call would.
// Lines go, as UTF-8, to "<LogFolder>\<LogFile>.log"; ZorvDbgUninitialize leaves the mark
// "uninitialized.mark" there. The build with TRACE_LIBRARY_IMPORTS imports ZorvDbgImport.dll.
// No static object has a destructor: at process exit this library may be told to detach
// before the module that calls it writes its last line.

#include <windows.h>

#include <cwchar>
#include <string>

#include "ZorvComn_Handle.h"
#include "ZorvDbg.h"

#ifdef TRACE_LIBRARY_IMPORTS
extern "C" __declspec(dllimport) int ZorvDbgImportAnswer();
#endif

namespace {

wchar_t g_Folder[MAX_PATH];
wchar_t g_File[MAX_PATH];

ZorvCommon::UniqueFile OpenInFolder(const std::wstring& name, DWORD access) {
    return ZorvCommon::UniqueFile(CreateFileW((std::wstring(g_Folder) + L"\\" + name).c_str(),
                                              access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                              OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

extern "C" {

int __cdecl ZorvDbgInitialize(void** handleOut, const DebugLogConfig* config) {
#ifdef TRACE_LIBRARY_IMPORTS
    if (ZorvDbgImportAnswer() != 42) {
        return ERROR_INVALID_FUNCTION;
    }
#endif
    wcsncpy_s(g_Folder, _countof(g_Folder), config->LogFolder, _TRUNCATE);
    wcsncpy_s(g_File, _countof(g_File), config->LogFile, _TRUNCATE);
    *handleOut = g_Folder;
    return 0;
}

int __cdecl ZorvDbgTrace(void*, const SYSTEMTIME*, const wchar_t* line) {
    const ZorvCommon::UniqueFile file =
        OpenInFolder(std::wstring(g_File) + L".log", FILE_APPEND_DATA);
    const int cbLine = WideCharToMultiByte(CP_UTF8, 0, line, -1, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<size_t>(cbLine > 0 ? cbLine : 1), '\0');
    WideCharToMultiByte(CP_UTF8, 0, line, -1, &utf8[0], cbLine, nullptr, nullptr);
    DWORD written = 0;
    WriteFile(file.get(), utf8.data(), static_cast<DWORD>(utf8.size() - 1), &written, nullptr);
    const std::wstring name =
        L"Local\\ZorvDbgStandInBlocked-" + std::to_wstring(GetCurrentProcessId());
    if (wcsstr(line, L"CServiceFactory::Initialize") != nullptr &&
        SetEvent(OpenEventW(EVENT_MODIFY_STATE, FALSE, name.c_str()))) {
        Sleep(INFINITE);
    }
    return 0;
}

void __cdecl ZorvDbgUninitialize(void*) {
    OpenInFolder(L"uninitialized.mark", GENERIC_WRITE);
}

}  // extern "C"
