#pragma once
// The module as its host sees it: Ostrel.dll loaded from the bin folder, initialised,
// and one utility object that every request of a benchmark goes through.

#include <string>

#include "Ostrel.h"
#include "ZorvComn_Handle.h"

namespace Bench {

class ModuleHost {
public:
    ModuleHost() = default;
    ~ModuleHost();
    ModuleHost(const ModuleHost&) = delete;
    ModuleHost& operator=(const ModuleHost&) = delete;

    // False (with a line on stderr) when the module or one of its exports is missing or
    // refuses to start.
    bool Load(const std::wstring& binFolder);

    HRESULT QueryServices(SrvFrwk::Interface::ArrayOfRowService* pRows);
    HRESULT SendStorage(SrvFrwk::Interface::StorageControlRequest* pRequest);

private:
    ZorvCommon::UniqueModule m_Module;
    Ostrel_UninitializeFn m_Uninitialize = nullptr;
    Ostrel_FreeUtilityFn m_FreeUtility = nullptr;
    SrvFrwk::Interface::IUtilityEx* m_pUtility = nullptr;
};

// build\bin\ seen from build\bench\ or build\bin\ (where the bench executables land).
std::wstring DefaultBinFolder();

}  // namespace Bench
