#include "ModuleHost.h"

#include "Scratch.h"

namespace TestSupport {
namespace {

template <typename Function>
Function Resolve(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

}  // namespace

ModuleHost::ModuleHost(const std::wstring& folder)
    : m_Module(LoadLibraryW(((folder.empty() ? BinFolder() : folder) + L"Ostrel.dll").c_str())) {
    if (!m_Module) {
        return;
    }
    const auto initialize = Resolve<Ostrel_InitializeFn>(m_Module.get(), "Ostrel_Initialize");
    m_Uninitialize = Resolve<Ostrel_UninitializeFn>(m_Module.get(), "Ostrel_Uninitialize");
    m_CreateUtility = Resolve<Ostrel_CreateUtilityFn>(m_Module.get(), "Ostrel_CreateUtility");
    m_FreeUtility = Resolve<Ostrel_FreeUtilityFn>(m_Module.get(), "Ostrel_FreeUtility");
    m_Ready =
        initialize && m_Uninitialize && m_CreateUtility && m_FreeUtility && initialize() == S_OK;
}

ModuleHost::~ModuleHost() {
    if (m_Ready) {
        m_Uninitialize();
    }
}

Utility::Utility(const ModuleHost& host) : m_rHost(host) {
    if (m_rHost.CreateUtility(&m_pUtility) != S_OK) {
        m_pUtility = nullptr;
    }
}

Utility::~Utility() {
    if (m_pUtility != nullptr) {
        m_rHost.FreeUtility(m_pUtility);
    }
}

bool IsDocumentedResult(HRESULT result) {
    const uint32_t code = static_cast<uint32_t>(result);
    return code == 0 || code == 0x00040202 || code == 0x0004020B || code == 0x80040201 ||
           code == 0x8004020B || (code >= 0x80040203 && code <= 0x80040209) ||
           (code & 0xFFFF0000u) == 0x80070000u;
}

bool IsReaderResult(HRESULT result) {
    return (static_cast<uint32_t>(result) & 0xFFFFF000u) == 0xC00CE000u;
}

}  // namespace TestSupport
