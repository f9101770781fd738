#pragma once
// The real Ostrel.dll driven as its host drives it: loaded by full path and initialised,
// utility objects made from it and given back, requests sent through them.

#include <windows.h>

#include <cstdint>
#include <string>

#include "Ostrel.h"
#include "ZorvComn_Handle.h"

namespace TestSupport {

// Loads folder\Ostrel.dll (build\bin by default) and calls Ostrel_Initialize;
// Ostrel_Uninitialize and unload on destruction. A module that is not ready answers
// E_UNEXPECTED.
class ModuleHost {
public:
    explicit ModuleHost(const std::wstring& folder = std::wstring());
    ~ModuleHost();

    // Loaded, every export found and Ostrel_Initialize answered S_OK.
    bool IsReady() const { return m_Ready; }
    HRESULT CreateUtility(SrvFrwk::Interface::IUtilityEx** ppUtility,
                          const GUID* pGuid = &OSTREL_UTILITY_GUID) const {
        return m_Ready ? m_CreateUtility(ppUtility, pGuid) : E_UNEXPECTED;
    }
    HRESULT FreeUtility(SrvFrwk::Interface::IUtilityEx* pUtility,
                        const GUID* pGuid = &OSTREL_UTILITY_GUID) const {
        return m_Ready ? m_FreeUtility(pUtility, pGuid) : E_UNEXPECTED;
    }

private:
    ZorvCommon::UniqueModule m_Module;
    Ostrel_UninitializeFn m_Uninitialize = nullptr;
    Ostrel_CreateUtilityFn m_CreateUtility = nullptr;
    Ostrel_FreeUtilityFn m_FreeUtility = nullptr;
    bool m_Ready = false;
};

// One utility object, given back on destruction.
class Utility {
public:
    explicit Utility(const ModuleHost& host);
    ~Utility();
    Utility(const Utility&) = delete;
    Utility& operator=(const Utility&) = delete;

    bool IsValid() const { return m_pUtility != nullptr; }
    SrvFrwk::Interface::IUtilityEx* Get() const { return m_pUtility; }
    HRESULT Query(uint32_t valueType, void* pValue) {
        const SrvFrwk::Interface::ValueTypeRecord record{valueType};
        return m_pUtility->QueryValue(&record, nullptr, nullptr, pValue);
    }
    HRESULT Send(uint32_t valueType, void* pValue) {
        const SrvFrwk::Interface::ValueTypeRecord record{valueType};
        return m_pUtility->SendMessage(&record, nullptr, nullptr, pValue);
    }

private:
    const ModuleHost& m_rHost;
    SrvFrwk::Interface::IUtilityEx* m_pUtility = nullptr;
};

// The result codes the module may answer: 0, 0x00040202, 0x0004020B, 0x80040201,
// 0x80040203..0x80040209, 0x8004020B and a carried Win32 error 0x8007xxxx.
bool IsDocumentedResult(HRESULT result);
// A failure of the XML reader that a document reader hands on as it is
// (0xC00CE000..0xC00CEFFF).
bool IsReaderResult(HRESULT result);

}  // namespace TestSupport
