// A host that loads Ostrel.dll by the full path on its command line, as the framework
// does, and resolves the four exports by name.

#include "HostSession.h"

template <typename Function>
Function Resolve(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

int wmain(int argc, wchar_t** argv) {
    const HMODULE module = argc == 2 ? LoadLibraryW(argv[1]) : nullptr;
    if (!module) {
        return 3;
    }
    const int status = RunSession(Resolve<Ostrel_InitializeFn>(module, "Ostrel_Initialize"),
                                  Resolve<Ostrel_UninitializeFn>(module, "Ostrel_Uninitialize"),
                                  Resolve<Ostrel_CreateUtilityFn>(module, "Ostrel_CreateUtility"),
                                  Resolve<Ostrel_FreeUtilityFn>(module, "Ostrel_FreeUtility"));
    FreeLibrary(module);
    return status;
}
