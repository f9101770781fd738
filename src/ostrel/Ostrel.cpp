// The module's entry point and its four exports.

#include <windows.h>

#include <new>
#include <string>

#include "ExceptionBarrier.h"
#include "Ostrel.h"
#include "OstrelResult.h"
#include "ServiceFactory.h"
#include "ZorvComn_DebugLog.h"
#include "ZorvComn_Storage.h"

namespace {

constexpr const wchar_t* kModuleName = L"Ostrel.dll";
constexpr const wchar_t* kDebugLogKey = L"Software\\Ulvenhart\\Hearthward\\1\\DebugLog";

CServiceFactory* g_pServiceFactory = nullptr;

// The folder that holds this module, with its backslash: the trace library is looked for
// beside it, by full path. Empty when the module's path is unknown; the log then loads no
// trace library at all rather than one found along the search path.
std::wstring ModuleFolder(HMODULE hModule) {
    constexpr size_t kLongestPath = 32768;
    for (std::wstring path(MAX_PATH, L'\0'); path.size() <= kLongestPath;
         path.resize(path.size() * 2)) {
        const DWORD length = GetModuleFileNameW(hModule, &path[0], static_cast<DWORD>(path.size()));
        if (length == 0) {
            return std::wstring();
        }
        if (length < path.size()) {
            path.resize(length);
            return path.substr(0, path.find_last_of(L'\\') + 1);
        }
    }
    return std::wstring();
}

void OnProcessAttach(HMODULE hModule) {
    DisableThreadLibraryCalls(hModule);
    const ZorvCommon::Storage::Key cKey(ZorvCommon::Storage::StorageTypeRegistry,
                                        HKEY_LOCAL_MACHINE, kDebugLogKey);
    (void)ZorvCommon::g_DebugLog.Initialize(L"Ostrel", cKey, ModuleFolder(hModule));
    ZORV_INFO(L"*** %s was loaded as process attach.", kModuleName);
    g_pServiceFactory = new (std::nothrow) CServiceFactory();
    if (g_pServiceFactory == nullptr) {
        ZORV_ERROR(L"*** %s::DllMain() - ::g_pServiceFactory was invalid.", kModuleName);
    }
}

void OnProcessDetach() {
    delete g_pServiceFactory;
    g_pServiceFactory = nullptr;
    ZORV_INFO(L"*** %s was unloaded as process detach.", kModuleName);
    (void)ZorvCommon::g_DebugLog.Uninitialize();
}

// The process is ending: its other threads are gone, perhaps in the middle of a log call
// or an allocation. Nothing is freed or unloaded (the system does that), and the line is
// written only if the log's locks are free.
void OnProcessExit() {
    if (ZorvCommon::g_DebugLog.IsPassing(ZorvCommon::LogLevelInfo)) {
        (void)ZorvCommon::g_DebugLog.TraceWithoutWaiting(
            __FILE__, __LINE__, ZorvCommon::LogLevelInfo, L"*** %s was unloaded as process detach.",
            kModuleName);
    }
    ZorvCommon::g_DebugLog.AbandonAtProcessExit();
}

// An export's body, once the factory exists, behind the exception barrier.
template <typename Body>
HRESULT RunExport(const wchar_t* exportName, Body&& body) {
    if (g_pServiceFactory == nullptr) {
        ZORV_ERROR(L"*** %s - ::g_pServiceFactory was invalid.", exportName);
        return Ostrel::kInvalidObject;
    }
    return RunGuarded(exportName, body);
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE hInstance, DWORD dwReason, LPVOID lpReserved) {
    // Nothing thrown may reach the loader.
    try {
        if (dwReason == DLL_PROCESS_ATTACH) {
            OnProcessAttach(hInstance);
        } else if (dwReason == DLL_PROCESS_DETACH && lpReserved != nullptr) {
            OnProcessExit();
        } else if (dwReason == DLL_PROCESS_DETACH) {
            OnProcessDetach();
        }
    } catch (...) {
    }
    return TRUE;
}

extern "C" HRESULT Ostrel_Initialize() {
    return RunExport(L"Ostrel_Initialize()", [] { return g_pServiceFactory->Initialize(); });
}

extern "C" HRESULT Ostrel_Uninitialize() {
    return RunExport(L"Ostrel_Uninitialize()", [] { return g_pServiceFactory->Uninitialize(); });
}

extern "C" HRESULT Ostrel_CreateUtility(SrvFrwk::Interface::IUtilityEx** _ppUtilityContext,
                                        const GUID* pUtilityGuid) {
    return RunExport(L"Ostrel_CreateUtility()", [&] {
        return g_pServiceFactory->CreateUtility(_ppUtilityContext, pUtilityGuid);
    });
}

extern "C" HRESULT Ostrel_FreeUtility(SrvFrwk::Interface::IUtilityEx* pServiceManager,
                                      const GUID* pUtilityGuid) {
    return RunExport(L"Ostrel_FreeUtility()",
                     [&] { return g_pServiceFactory->FreeUtility(pServiceManager, pUtilityGuid); });
}
