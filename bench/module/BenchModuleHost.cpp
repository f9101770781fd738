#include "BenchModuleHost.h"

#include <cstdio>

namespace Bench {

using SrvFrwk::Interface::ValueTypeRecord;

namespace {

template <typename Function>
Function Resolve(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

}  // namespace

ModuleHost::~ModuleHost() {
    if (m_pUtility != nullptr) {
        m_FreeUtility(m_pUtility, &OSTREL_UTILITY_GUID);
    }
    if (m_Uninitialize != nullptr) {
        m_Uninitialize();
    }
}

bool ModuleHost::Load(const std::wstring& binFolder) {
    m_Module.reset(LoadLibraryW((binFolder + L"Ostrel.dll").c_str()));
    if (!m_Module) {
        fprintf(stderr, "cannot load %ls: error %lu\n", (binFolder + L"Ostrel.dll").c_str(),
                GetLastError());
        return false;
    }
    const auto initialize = Resolve<Ostrel_InitializeFn>(m_Module.get(), "Ostrel_Initialize");
    const auto createUtility =
        Resolve<Ostrel_CreateUtilityFn>(m_Module.get(), "Ostrel_CreateUtility");
    const auto uninitialize = Resolve<Ostrel_UninitializeFn>(m_Module.get(), "Ostrel_Uninitialize");
    m_FreeUtility = Resolve<Ostrel_FreeUtilityFn>(m_Module.get(), "Ostrel_FreeUtility");
    if (initialize == nullptr || createUtility == nullptr || uninitialize == nullptr ||
        m_FreeUtility == nullptr || initialize() != S_OK) {
        fprintf(stderr, "Ostrel.dll lacks an export or does not initialise\n");
        return false;
    }
    m_Uninitialize = uninitialize;
    if (createUtility(&m_pUtility, &OSTREL_UTILITY_GUID) != S_OK || m_pUtility == nullptr) {
        fprintf(stderr, "Ostrel_CreateUtility failed\n");
        m_pUtility = nullptr;
        return false;
    }
    return true;
}

HRESULT ModuleHost::QueryServices(SrvFrwk::Interface::ArrayOfRowService* pRows) {
    const ValueTypeRecord record{SrvFrwk::Interface::ValueTypeServicePolicy};
    return m_pUtility->QueryValue(&record, nullptr, nullptr, pRows);
}

HRESULT ModuleHost::SendStorage(SrvFrwk::Interface::StorageControlRequest* pRequest) {
    const ValueTypeRecord record{SrvFrwk::Interface::ValueTypeStorageControl};
    return m_pUtility->SendMessage(&record, nullptr, nullptr, pRequest);
}

std::wstring DefaultBinFolder() {
    wchar_t path[MAX_PATH];
    std::wstring folder(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
    folder.resize(folder.find_last_of(L'\\'));  // ...\bench or ...\bin
    return folder.substr(0, folder.find_last_of(L'\\')) + L"\\bin\\";
}

}  // namespace Bench
