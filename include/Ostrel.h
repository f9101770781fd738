#pragma once
// The four exports of Ostrel.dll and the one utility it provides.

#include "SrvFrwk_Interface.h"

// {92CBB9DE-F3AF-4511-BAA0-5BEE3622E27D}
static const GUID OSTREL_UTILITY_GUID = {
    0x92CBB9DE, 0xF3AF, 0x4511, {0xBA, 0xA0, 0x5B, 0xEE, 0x36, 0x22, 0xE2, 0x7D}};

extern "C" {
HRESULT Ostrel_Initialize();
HRESULT Ostrel_Uninitialize();
// Makes a new utility object; pUtilityGuid must be OSTREL_UTILITY_GUID.
HRESULT Ostrel_CreateUtility(SrvFrwk::Interface::IUtilityEx** _ppUtilityContext,
                             const GUID* pUtilityGuid);
// Gives the object back (the object itself, not a pointer to it).
HRESULT Ostrel_FreeUtility(SrvFrwk::Interface::IUtilityEx* pServiceManager,
                           const GUID* pUtilityGuid);

typedef HRESULT (*Ostrel_InitializeFn)();
typedef HRESULT (*Ostrel_UninitializeFn)();
typedef HRESULT (*Ostrel_CreateUtilityFn)(SrvFrwk::Interface::IUtilityEx**, const GUID*);
typedef HRESULT (*Ostrel_FreeUtilityFn)(SrvFrwk::Interface::IUtilityEx*, const GUID*);
}
