// Nanoseconds per log call that does not pass the filter (log disabled, level filtered
// out) against an empty non-inlined call: medians of several runs of thread CPU time,
// printed as "name value" lines for scripts/bench.sh.
// Usage: bench_log [bin folder holding ZorvDbg64.dll] (default: ..\bin beside this exe).

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "BenchClock.h"
#include "ZorvComn_DebugLog.h"
#include "ZorvComn_Storage.h"

namespace {

// Calls are made in batches until a run has used kRunSeconds of CPU time: the thread
// clock ticks in 10 ms steps under Wine.
constexpr int kBatch = 1000000;
constexpr double kRunSeconds = 0.2;
constexpr int kRuns = 7;
constexpr const wchar_t* kBenchKey = L"Software\\OstrelBench\\DebugLog";

__attribute__((noinline)) void EmptyCall(int value) {
    asm volatile("" : : "r"(value));
}

template <typename Body>
double MedianNanoseconds(Body body) {
    std::vector<double> runs;
    for (int run = 0; run < kRuns; ++run) {
        const double start = Bench::ThreadCpuSeconds();
        double elapsed = 0;
        uint64_t calls = 0;
        do {
            for (int i = 0; i < kBatch; ++i) {
                body(i);
            }
            calls += kBatch;
            elapsed = Bench::ThreadCpuSeconds() - start;
        } while (elapsed < kRunSeconds);
        runs.push_back(elapsed * 1e9 / static_cast<double>(calls));
    }
    std::sort(runs.begin(), runs.end());
    return runs[runs.size() / 2];
}

void SetValue(HKEY key, const wchar_t* name, DWORD value) {
    RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
}

void SetValue(HKEY key, const wchar_t* name, const std::wstring& value) {
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                   static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

// An enabled log that passes errors only, writing (if ever) into the temporary folder.
bool EnableErrorsOnly(const std::wstring& binFolder) {
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    ZorvCommon::UniqueRegKey session;
    if (RegCreateKeyExW(HKEY_CURRENT_USER,
                        (std::wstring(kBenchKey) + L"\\InteractiveSession").c_str(), 0, nullptr, 0,
                        KEY_SET_VALUE, nullptr, session.put(), nullptr) != ERROR_SUCCESS) {
        return false;
    }
    SetValue(session.get(), L"Enable", 1);
    SetValue(session.get(), L"Level", 256);
    SetValue(session.get(), L"LogProcess", 0);
    SetValue(session.get(), L"LogUnitType", 0);
    SetValue(session.get(), L"LogFolder", temp);
    SetValue(session.get(), L"LogPrefix", L"");
    SetValue(session.get(), L"LogFile", L"bench_log");
    SetValue(session.get(), L"LogExtension", L"log");
    const ZorvCommon::Storage::Key key(ZorvCommon::Storage::StorageTypeRegistry, HKEY_CURRENT_USER,
                                       kBenchKey);
    return ZorvCommon::g_DebugLog.Initialize(L"Bench", key, binFolder) &&
           ZorvCommon::g_DebugLog.IsPassing(256);
}

void RemoveBenchSettings() {
    ZorvCommon::g_DebugLog.Uninitialize();
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\OstrelBench");
    RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\OstrelBench");
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    DeleteFileW((std::wstring(temp) + L"bench_log.log").c_str());
}

std::wstring DefaultBinFolder() {
    wchar_t path[MAX_PATH];
    std::wstring folder(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
    folder.resize(folder.find_last_of(L'\\'));                       // ...\bench
    return folder.substr(0, folder.find_last_of(L'\\')) + L"\\bin";  // ...\bin
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const std::wstring binFolder = argc > 1 ? argv[1] : DefaultBinFolder();
    const double baseline = MedianNanoseconds([](int i) { EmptyCall(i); });
    const double disabled =
        MedianNanoseconds([](int i) { ZORV_TRACE(L"[Enter] Bench::Run()... [%d]", i); });
    if (!EnableErrorsOnly(binFolder)) {
        std::fprintf(stderr, "could not enable the log (is ZorvDbg64.dll in the bin folder?)\n");
        RemoveBenchSettings();
        return 1;
    }
    const double filtered =
        MedianNanoseconds([](int i) { ZORV_TRACE(L"[Enter] Bench::Run()... [%d]", i); });
    RemoveBenchSettings();

    std::printf("log_empty_call_ns %.2f\n", baseline);
    std::printf("log_disabled_ns %.2f\n", disabled);
    std::printf("log_filtered_ns %.2f\n", filtered);
    return 0;
}
