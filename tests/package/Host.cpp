// A host built against the packaged headers, holding one session as the framework does:
// load Ostrel.dll by the full path on its command line, resolve the four exports by name,
// initialise, make the utility object, call its Initialize, ask for the service policy,
// call Uninitialize, give the object back, uninitialise. Prints "services N, result R"
// and returns 0 when every call succeeded.

#include <cstdio>

#include "Ostrel.h"

template <typename Function>
Function Resolve(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

int wmain(int argc, wchar_t** argv) {
    const HMODULE module = argc == 2 ? LoadLibraryW(argv[1]) : nullptr;
    const auto initialize = Resolve<Ostrel_InitializeFn>(module, "Ostrel_Initialize");
    const auto uninitialize = Resolve<Ostrel_UninitializeFn>(module, "Ostrel_Uninitialize");
    const auto createUtility = Resolve<Ostrel_CreateUtilityFn>(module, "Ostrel_CreateUtility");
    const auto freeUtility = Resolve<Ostrel_FreeUtilityFn>(module, "Ostrel_FreeUtility");
    using namespace SrvFrwk::Interface;
    IUtilityEx* utility = nullptr;
    if (!initialize || !uninitialize || !createUtility || !freeUtility || initialize() != 0 ||
        createUtility(&utility, &OSTREL_UTILITY_GUID) != 0 || utility->Initialize() != 0) {
        return 2;
    }
    const ValueTypeRecord type{ValueTypeServicePolicy};
    ArrayOfRowService rows;  // filled by the module, freed here
    const HRESULT result = utility->QueryValue(&type, nullptr, nullptr, &rows);
    std::printf("services %u, result 0x%08lx\n", static_cast<unsigned>(rows.size()),
                static_cast<unsigned long>(result));
    const bool ended = utility->Uninitialize() == 0 &&
                       freeUtility(utility, &OSTREL_UTILITY_GUID) == 0 && uninitialize() == 0;
    return result == 0 && ended ? 0 : 1;
}
