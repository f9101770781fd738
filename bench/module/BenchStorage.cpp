#include "BenchStorage.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "BenchDocuments.h"
#include "BenchMeasure.h"
#include "BenchModuleHost.h"
#include "BenchScratch.h"
#include "ZorvComn_Handle.h"

namespace Bench {

namespace {

constexpr size_t kValues = 1000;

bool SendRequest(ModuleHost& host, const std::wstring& path) {
    SrvFrwk::Interface::StorageControlRequest request{path, kAssign, std::wstring()};
    const HRESULT hr = host.SendStorage(&request);
    if (hr != S_OK) {
        fprintf(stderr, "storage-control request: 0x%08lx\n", static_cast<unsigned long>(hr));
    }
    return hr == S_OK;
}

// What the request does, written directly: create (or open) the key, set the value,
// close the key, for every value.
bool StorePlainly(const std::wstring& keyPath, const std::vector<StoredValue>& values) {
    for (const StoredValue& value : values) {
        ZorvCommon::UniqueRegKey key;
        const std::wstring name(value.name.begin(), value.name.end());
        if (RegCreateKeyExW(HKEY_CURRENT_USER, keyPath.c_str(), 0, nullptr, 0, KEY_SET_VALUE,
                            nullptr, key.put(), nullptr) != ERROR_SUCCESS ||
            RegSetValueExW(key.get(), name.c_str(), 0, value.type, value.data.data(),
                           static_cast<DWORD>(value.data.size())) != ERROR_SUCCESS) {
            return false;
        }
    }
    return true;
}

// Both writers must have done the same work: every value under the key, with the
// type and bytes the document describes.
bool HoldsValues(const std::wstring& keyPath, const std::vector<StoredValue>& values) {
    ZorvCommon::UniqueRegKey key;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, keyPath.c_str(), 0, KEY_QUERY_VALUE, key.put()) !=
        ERROR_SUCCESS) {
        return false;
    }
    std::vector<uint8_t> data;
    for (const StoredValue& value : values) {
        const std::wstring name(value.name.begin(), value.name.end());
        DWORD type = REG_NONE;
        DWORD cbData = static_cast<DWORD>(value.data.size() + 16);
        data.assign(cbData, 0);
        if (RegQueryValueExW(key.get(), name.c_str(), nullptr, &type, data.data(), &cbData) !=
                ERROR_SUCCESS ||
            type != value.type || cbData != value.data.size() ||
            !std::equal(value.data.begin(), value.data.end(), data.begin())) {
            fprintf(stderr, "%ls: value %s differs from the document's\n", keyPath.c_str(),
                    value.name.c_str());
            return false;
        }
    }
    return true;
}

}  // namespace

bool BenchStorageStore(const CostClock& clock, ModuleHost& host, const ScratchFolder& folder) {
    const std::vector<StoredValue> values = StoredValues(kValues);
    const ScratchKey moduleKey(L"Store");
    const ScratchKey plainKey(L"Plain");
    const std::wstring path = folder.Path() + L"store.xen";
    if (!WriteDocument(path, kStorageControlKey, StoreDocument(moduleKey.Path(), values))) {
        return false;
    }
    const std::vector<Costs> costs =
        MeasureInterleaved(clock,
                           {[&] { return SendRequest(host, path); },
                            [&] { return StorePlainly(plainKey.Path(), values); }},
                           kSamples, kSampleSeconds);
    if (costs.empty() || !HoldsValues(moduleKey.Path(), values) ||
        !HoldsValues(plainKey.Path(), values)) {
        return false;
    }
    Report("storage_values", static_cast<double>(kValues));
    ReportCosts("storage_module_ms", costs[0], 1e3);
    ReportCosts("storage_plain_ms", costs[1], 1e3);
    ReportRatios("storage_ratio", costs[0], costs[1]);
    return true;
}

}  // namespace Bench
