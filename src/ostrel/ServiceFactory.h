#pragma once
// The factory behind the four exports: it makes and frees utility objects for the one
// utility GUID and keeps no list of them.

#include <windows.h>

#include "SrvFrwk_Interface.h"

class CServiceFactory {
public:
    CServiceFactory() = default;
    virtual ~CServiceFactory() = default;
    CServiceFactory(const CServiceFactory&) = delete;
    CServiceFactory& operator=(const CServiceFactory&) = delete;

    [[nodiscard]] HRESULT Initialize();
    [[nodiscard]] HRESULT Uninitialize();
    // On failure the target of _ppUtilityContext is left untouched.
    [[nodiscard]] HRESULT CreateUtility(SrvFrwk::Interface::IUtilityEx** _ppUtilityContext,
                                        const GUID* pUtilityGuid);
    // A wrong GUID leaves the object alive; the caller's pointer is never cleared.
    [[nodiscard]] HRESULT FreeUtility(SrvFrwk::Interface::IUtilityEx* pServiceManager,
                                      const GUID* pUtilityGuid);
};
