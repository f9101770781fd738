#pragma once
// One session of a host, as the framework holds it: initialise, make the utility object,
// call its Initialize, ask for the service policy, call Uninitialize, give the object
// back, uninitialise. Prints "services N" and returns 0 when every call succeeded.

#include <cstdio>

#include "Ostrel.h"

inline int RunSession(Ostrel_InitializeFn initialize, Ostrel_UninitializeFn uninitialize,
                      Ostrel_CreateUtilityFn createUtility, Ostrel_FreeUtilityFn freeUtility) {
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
