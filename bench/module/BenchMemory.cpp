#include "BenchMemory.h"

#include <windows.h>
#include <psapi.h>

#include <cstdio>
#include <vector>

#include "BenchChild.h"
#include "BenchDocuments.h"
#include "BenchMeasure.h"
#include "BenchModuleHost.h"
#include "BenchScratch.h"
#include "ZorvComn_Handle.h"

namespace Bench {

namespace {

constexpr size_t kSmallMegabytes = 1;
constexpr size_t kBigMegabytes = 100;
constexpr int kChildRuns = 3;

PROCESS_MEMORY_COUNTERS MemoryCounters() {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof(counters);
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
    return counters;
}

// Runs this executable as a memory child over the document: how far the request raised
// the resident set above where it started, in KiB, or -1.
double ChildRiseKib(const std::wstring& documentPath, const std::wstring& resultPath) {
    std::string line;
    const DWORD exitCode = RunChild(
        L"memory-child \"" + documentPath + L"\" \"" + resultPath + L"\"", resultPath, line);
    double rise = -1;
    if (exitCode != 0 || sscanf(line.c_str(), "rise_kib %lf", &rise) != 1) {
        fprintf(stderr, "memory child (exit code %lu): %s\n", exitCode, line.c_str());
        return -1;
    }
    return rise;
}

}  // namespace

bool BenchMemory(const ScratchFolder& folder) {
    const ScratchKey key(L"Memory");
    for (const size_t megabytes : {kSmallMegabytes, kBigMegabytes}) {
        const std::wstring document =
            folder.Path() + L"memory" + std::to_wstring(megabytes) + L".xen";
        if (!WriteDocument(document, kStorageControlKey,
                           MostlyForeignDocument(key.Path(), megabytes * 1000000))) {
            return false;
        }
        std::vector<double> rises;
        for (int run = 0; run < kChildRuns; ++run) {
            const double rise = ChildRiseKib(document, folder.Path() + L"memory.txt");
            if (rise < 0) {
                return false;
            }
            rises.push_back(rise);
        }
        DeleteFileW(document.c_str());
        Report(("memory_" + std::to_string(megabytes) + "mb_rise_kib").c_str(), Median(rises));
    }
    return true;
}

int RunMemoryChild(ModuleHost& host, const std::wstring& documentPath,
                   const std::wstring& resultPath) {
    FILE* result = _wfopen(resultPath.c_str(), L"w");
    if (result == nullptr) {
        return 1;
    }
    int exitCode = 1;
    // The child finds its Unix process by the result path, which only its command line holds.
    if (!ResetPeakResidentSet(CheckedSelfPid(FindUnixProcess(resultPath)))) {
        fprintf(result, "the kernel refuses to reset the peak resident set\n");
    } else {
        const SIZE_T start = MemoryCounters().WorkingSetSize;
        SrvFrwk::Interface::StorageControlRequest request{documentPath, kAssign, std::wstring()};
        const HRESULT hr = host.SendStorage(&request);
        const SIZE_T peak = MemoryCounters().PeakWorkingSetSize;
        if (hr != S_OK) {
            fprintf(result, "the storage-control request answered 0x%08lx\n",
                    static_cast<unsigned long>(hr));
        } else {
            fprintf(result, "rise_kib %.0f\n", static_cast<double>(peak - start) / 1024);
            exitCode = 0;
        }
    }
    fclose(result);
    return exitCode;
}

}  // namespace Bench
