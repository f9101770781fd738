// A stand-in for the trace library, placed by the suites beside a copy of the module. A
// file beside it chooses what it does:
//   "refuse.mode"  ZorvDbgInitialize fails with ERROR_ACCESS_DENIED and leaves the mark
//                  "initialize-refused.mark" in the log folder;
//   "hang.mode"    lines are recorded until one names CServiceFactory::Initialize: the
//                  stand-in then signals the event "Local\ZorvDbgStandInBlocked-<pid>" and
//                  never returns, holding the caller's locks as a thread stopped in the
//                  middle of a log call would;
//   neither        lines are recorded.
// Lines go, as UTF-8, to "<LogFolder>\<LogFile>.log"; ZorvDbgUninitialize leaves the mark
// "uninitialized.mark" there.
// Built a second time with TRACE_LIBRARY_IMPORTS: that build imports ZorvDbgImport.dll.
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

HINSTANCE g_Self = nullptr;
wchar_t g_Folder[MAX_PATH];
wchar_t g_File[MAX_PATH];
bool g_Hang = false;

ZorvCommon::UniqueFile OpenInFolder(const std::wstring& name, DWORD access) {
    return ZorvCommon::UniqueFile(CreateFileW((std::wstring(g_Folder) + L"\\" + name).c_str(),
                                              access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                              OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

// Whether "<name>.mode" lies beside this library.
bool HasMode(const wchar_t* name) {
    wchar_t path[MAX_PATH] = {};
    std::wstring mode(path, GetModuleFileNameW(g_Self, path, MAX_PATH));
    mode.resize(mode.find_last_of(L'\\') + 1);
    return GetFileAttributesW((mode + name + L".mode").c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace

extern "C" {

BOOL WINAPI DllMain(HINSTANCE instance, DWORD, void*) {
    g_Self = instance;
    return TRUE;
}

int __cdecl ZorvDbgInitialize(void** handleOut, const DebugLogConfig* config) {
#ifdef TRACE_LIBRARY_IMPORTS
    if (ZorvDbgImportAnswer() != 42) {
        return ERROR_INVALID_FUNCTION;
    }
#endif
    wcsncpy_s(g_Folder, _countof(g_Folder), config->LogFolder, _TRUNCATE);
    wcsncpy_s(g_File, _countof(g_File), config->LogFile, _TRUNCATE);
    g_Hang = HasMode(L"hang");
    *handleOut = g_Folder;
    if (HasMode(L"refuse")) {
        *handleOut = nullptr;
        OpenInFolder(L"initialize-refused.mark", GENERIC_WRITE);
        return ERROR_ACCESS_DENIED;
    }
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
    if (g_Hang && wcsstr(line, L"CServiceFactory::Initialize") != nullptr) {
        const std::wstring name =
            L"Local\\ZorvDbgStandInBlocked-" + std::to_wstring(GetCurrentProcessId());
        SetEvent(CreateEventW(nullptr, TRUE, FALSE, name.c_str()));
        Sleep(INFINITE);
    }
    return 0;
}

void __cdecl ZorvDbgUninitialize(void*) {
    OpenInFolder(L"uninitialized.mark", GENERIC_WRITE);
}

}  // extern "C"
