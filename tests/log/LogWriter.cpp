// log_writer <bin folder> <tag> <count> <padding>: writes <count> numbered lines tagged <tag>,
// each followed by <padding> times "p", through the log configured from the product key.

#include <windows.h>

#include <cwchar>
#include <string>

#include "ZorvComn_DebugLog.h"
#include "ZorvComn_Storage.h"

int wmain(int argc, wchar_t** argv) {
    if (argc != 5) {
        return 2;
    }
    const ZorvCommon::Storage::Key key(ZorvCommon::Storage::StorageTypeRegistry, HKEY_LOCAL_MACHINE,
                                       L"Software\\Ulvenhart\\Hearthward\\1\\DebugLog");
    if (!ZorvCommon::g_DebugLog.Initialize(L"Writer", key, argv[1])) {
        return 3;
    }
    const unsigned long count = wcstoul(argv[3], nullptr, 10);
    const std::wstring padding(wcstoul(argv[4], nullptr, 10), L'p');
    for (unsigned long i = 0; i < count; ++i) {
        ZORV_INFO(L"*** line %s %lu %s", argv[2], i, padding.c_str());
    }
    return ZorvCommon::g_DebugLog.Uninitialize() ? 0 : 4;
}
