// A stand-in for the trace library, placed by the suites beside a copy of the module. A
// file beside it chooses what it does:
//   "refuse.mode"  ZorvDbgInitialize fails with ERROR_ACCESS_DENIED;
//   "hang.mode"    lines are recorded until one names CServiceFactory::Initialize: the
//                  stand-in then signals the event "Local\ZorvDbgStandInBlocked-<pid>" and
//                  never returns, holding the caller's locks as a thread stopped in the
//                  middle of a log call would;
//   neither        lines are recorded.
// Lines go, as UTF-8, to "<LogFolder>\<LogFile>.log". Empty mark files in the log folder
// tell a test what happened: "initialize-refused.mark", "trace-called.mark" (any line
// handed over), "uninitialized.mark".
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

wchar_t g_Folder[MAX_PATH];
wchar_t g_File[MAX_PATH];
bool g_Hang = false;

std::wstring InFolder(const std::wstring& name) {
    return std::wstring(g_Folder) + L"\\" + name;
}

void Mark(const wchar_t* name) {
    const ZorvCommon::UniqueFile mark(CreateFileW(InFolder(name).c_str(), GENERIC_WRITE, 0, nullptr,
                                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

void Record(const wchar_t* line) {
    const ZorvCommon::UniqueFile file(CreateFileW(
        InFolder(std::wstring(g_File) + L".log").c_str(), FILE_APPEND_DATA,
        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    const int cbLine = WideCharToMultiByte(CP_UTF8, 0, line, -1, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<size_t>(cbLine > 0 ? cbLine : 1), '\0');
    WideCharToMultiByte(CP_UTF8, 0, line, -1, &utf8[0], cbLine, nullptr, nullptr);
    DWORD written = 0;
    WriteFile(file.get(), utf8.data(), static_cast<DWORD>(utf8.size() - 1), &written, nullptr);
}

// Whether "<name>.mode" lies beside this library.
bool HasMode(const wchar_t* name) {
    HMODULE self = nullptr;
    wchar_t path[MAX_PATH] = {};
    if (!GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&HasMode), &self) ||
        GetModuleFileNameW(self, path, MAX_PATH) == 0) {
        return false;
    }
    std::wstring mode(path);
    mode.resize(mode.find_last_of(L'\\') + 1);
    return GetFileAttributesW((mode + name + L".mode").c_str()) != INVALID_FILE_ATTRIBUTES;
}

void BlockForever() {
    const std::wstring name =
        L"Local\\ZorvDbgStandInBlocked-" + std::to_wstring(GetCurrentProcessId());
    const HANDLE blocked = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
    SetEvent(blocked);
    Sleep(INFINITE);
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
    *handleOut = nullptr;
    g_Hang = HasMode(L"hang");
    if (HasMode(L"refuse")) {
        Mark(L"initialize-refused.mark");
        return ERROR_ACCESS_DENIED;
    }
    *handleOut = g_Folder;
    return 0;
}

int __cdecl ZorvDbgTrace(void*, const SYSTEMTIME*, const wchar_t* line) {
    Mark(L"trace-called.mark");
    Record(line);
    if (g_Hang && wcsstr(line, L"CServiceFactory::Initialize") != nullptr) {
        BlockForever();
    }
    return 0;
}

void __cdecl ZorvDbgUninitialize(void*) {
    Mark(L"uninitialized.mark");
}

}  // extern "C"
