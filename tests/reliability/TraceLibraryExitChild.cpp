// Ends its process while the module is loaded, as a host that exits without unloading it:
//   trace_exit_child <module folder> quiet|blocked
// blocked: Ostrel_Initialize runs on a second thread, which the stand-in trace library
// stops in a log call once this process made the event it signals. Exit codes: 0 the
// process ended; 2 usage; 3 the module or its export is missing; 4 the stand-in never
// blocked.

#include <windows.h>

#include <string>
#include <thread>

#include "Ostrel.h"

int wmain(int argc, wchar_t** argv) {
    if (argc != 3) {
        return 2;
    }
    const std::wstring path = std::wstring(argv[1]) + L"\\Ostrel.dll";
    const HMODULE module = LoadLibraryExW(
        path.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
    const auto initialize = module == nullptr
                                ? nullptr
                                : reinterpret_cast<Ostrel_InitializeFn>(reinterpret_cast<void*>(
                                      GetProcAddress(module, "Ostrel_Initialize")));
    if (initialize == nullptr) {
        return 3;
    }
    if (std::wstring(argv[2]) == L"quiet") {
        (void)initialize();
        ExitProcess(0);
    }
    const std::wstring name =
        L"Local\\ZorvDbgStandInBlocked-" + std::to_wstring(GetCurrentProcessId());
    const HANDLE blocked = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
    std::thread([initialize] { (void)initialize(); }).detach();
    ExitProcess(WaitForSingleObject(blocked, 30000) == WAIT_OBJECT_0 ? 0 : 4);
}
