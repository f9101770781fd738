// ostrel-host: loads Ostrel.dll the way the host framework does (from its own folder by full
// path, the four exports, one utility object) and lets an operator send it requests.
//
//   ostrel-host services|providers|webaccess [--json]
//   ostrel-host storage DOC.xen [--assign TEXT]

#include <windows.h>

#include <string>

#include "HostOutput.h"
#include "Ostrel.h"
#include "ZorvComn_Handle.h"

namespace {

using SrvFrwk::Interface::IUtilityEx;
using SrvFrwk::Interface::ValueTypeRecord;

constexpr int kExitUsage = 2;

struct Options {
    std::wstring command;
    std::wstring document;
    std::wstring assign;
    bool json = false;
};

void PrintUsage() {
    PrintError(
        L"usage: ostrel-host services|providers|webaccess [--json]\n"
        L"       ostrel-host storage DOC.xen [--assign TEXT]\n"
        L"Loads Ostrel.dll from this program's folder and sends it one request.\n");
}

bool ParseOptions(int argc, wchar_t** argv, Options& options) {
    if (argc < 2) {
        return false;
    }
    options.command = argv[1];
    for (int i = 2; i < argc; ++i) {
        const std::wstring argument = argv[i];
        if (argument == L"--json") {
            options.json = true;
        } else if (argument == L"--assign" && i + 1 < argc) {
            options.assign = argv[++i];
        } else if (options.command == L"storage" && options.document.empty() &&
                   argument.rfind(L"--", 0) != 0) {
            options.document = argument;
        } else {
            return false;
        }
    }
    if (options.command == L"storage") {
        return !options.document.empty();
    }
    return options.command == L"services" || options.command == L"providers" ||
           options.command == L"webaccess";
}

std::wstring ResultLine(const wchar_t* what, HRESULT result) {
    wchar_t code[16];
    _snwprintf_s(code, 16, _TRUNCATE, L"0x%08x", static_cast<unsigned>(result));
    return std::wstring(what) + L": " + code + L" (" + DescribeResult(result) + L")\n";
}

// This program's folder with its backslash; empty when its path is unknown.
std::wstring ExecutableFolder() {
    constexpr size_t kLongestPath = 32768;
    for (std::wstring path(MAX_PATH, L'\0'); path.size() <= kLongestPath;
         path.resize(path.size() * 2)) {
        const DWORD length = GetModuleFileNameW(nullptr, &path[0], static_cast<DWORD>(path.size()));
        if (length == 0) {
            return std::wstring();
        }
        if (length < path.size()) {
            return path.substr(0, path.find_last_of(L'\\', length) + 1);
        }
    }
    return std::wstring();
}

// The module and its exports, for the lifetime of one run.
class Module {
public:
    bool Load(std::wstring& failure) {
        const std::wstring folder = ExecutableFolder();
        if (folder.empty()) {
            failure = L"cannot tell where this program is (system error " +
                      std::to_wstring(GetLastError()) + L"), so Ostrel.dll is not loaded";
            return false;
        }
        // By full path; its own imports from its folder and the system directory only.
        const std::wstring path = folder + L"Ostrel.dll";
        m_Module.reset(
            LoadLibraryExW(path.c_str(), nullptr,
                           LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32));
        if (!m_Module) {
            failure = L"cannot load " + path + L" (system error " +
                      std::to_wstring(GetLastError()) + L")";
            return false;
        }
        Initialize = Resolve<Ostrel_InitializeFn>("Ostrel_Initialize");
        Uninitialize = Resolve<Ostrel_UninitializeFn>("Ostrel_Uninitialize");
        CreateUtility = Resolve<Ostrel_CreateUtilityFn>("Ostrel_CreateUtility");
        FreeUtility = Resolve<Ostrel_FreeUtilityFn>("Ostrel_FreeUtility");
        if (!Initialize || !Uninitialize || !CreateUtility || !FreeUtility) {
            failure = L"Ostrel.dll lacks one of its four exports";
            return false;
        }
        return true;
    }

    Ostrel_InitializeFn Initialize = nullptr;
    Ostrel_UninitializeFn Uninitialize = nullptr;
    Ostrel_CreateUtilityFn CreateUtility = nullptr;
    Ostrel_FreeUtilityFn FreeUtility = nullptr;

private:
    template <typename Function>
    Function Resolve(const char* name) {
        return reinterpret_cast<Function>(
            reinterpret_cast<void*>(GetProcAddress(m_Module.get(), name)));
    }

    ZorvCommon::UniqueModule m_Module;
};

// A policy query: the rows are printed when the module answers success.
template <typename Value>
HRESULT Query(IUtilityEx* pUtility, uint32_t type, bool json, void (*print)(const Value&, bool)) {
    Value value;
    const ValueTypeRecord valueType{type};
    const HRESULT result = pUtility->QueryValue(&valueType, nullptr, nullptr, &value);
    if (result >= 0) {
        print(value, json);
    }
    return result;
}

HRESULT RunRequest(IUtilityEx* pUtility, const Options& options) {
    using namespace SrvFrwk::Interface;
    if (options.command == L"storage") {
        StorageControlRequest request;
        request.DocumentPath = options.document;
        request.CommandArgument = options.assign;
        const ValueTypeRecord valueType{ValueTypeStorageControl};
        const HRESULT result = pUtility->SendMessage(&valueType, nullptr, nullptr, &request);
        Print(ResultLine(L"storage-control request", result));
        return result;
    }
    if (options.command == L"services") {
        return Query(pUtility, ValueTypeServicePolicy, options.json, &PrintRows<RowService>);
    }
    if (options.command == L"providers") {
        return Query(pUtility, ValueTypeProviderPolicy, options.json, &PrintRows<RowProvider>);
    }
    return Query(pUtility, ValueTypeWebAccessControl, options.json, &PrintWebAccess);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    Options options;
    if (!ParseOptions(argc, argv, options)) {
        PrintUsage();
        return kExitUsage;
    }
    Module module;
    std::wstring failure;
    if (!module.Load(failure)) {
        PrintError(L"ostrel-host: " + failure + L"\n");
        return 1;
    }
    HRESULT result = module.Initialize();
    IUtilityEx* pUtility = nullptr;
    if (result >= 0) {
        result = module.CreateUtility(&pUtility, &OSTREL_UTILITY_GUID);
    }
    if (result < 0 || pUtility == nullptr) {
        PrintError(ResultLine(L"ostrel-host: cannot create the utility object", result));
        return 1;
    }
    const HRESULT requestResult = RunRequest(pUtility, options);
    module.FreeUtility(pUtility, &OSTREL_UTILITY_GUID);
    module.Uninitialize();
    if (requestResult < 0) {
        PrintError(ResultLine(L"ostrel-host: the request failed", requestResult));
        return 1;
    }
    return 0;
}
