// The module's benchmarks through its real exports, each against a baseline measured in
// the same run, printed as "name value" lines for scripts/bench.sh.
// Usage: bench_module [--server-pid PID --clock-ticks HZ] SECTION...
//   SECTION: policy (service policy requests at 1, 10 and 100 MB), requests (1,000
//   requests on a 50-service document), storage (a request storing 1,000 values),
//   memory (peak memory over 100 MB against 1 MB), badvalue (a request whose uint32
//   value has 1, 2 and 4 million digits, with the log printing it).
//   PID: the Unix process id of this prefix's wineserver, whose CPU time then counts.
// The debug log must be disabled; the product key's installed folder is pointed at
// scratch folders during the run and restored afterwards.

#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

#include "BenchBadValue.h"
#include "BenchMeasure.h"
#include "BenchMemory.h"
#include "BenchModuleHost.h"
#include "BenchPolicy.h"
#include "BenchScratch.h"
#include "BenchStorage.h"

namespace {

int RunSections(const Bench::CostClock& clock, const std::wstring& clockArguments,
                const std::vector<std::wstring>& sections) {
    if (Bench::IsDebugLogEnabled()) {
        fprintf(stderr, "the module's debug log is enabled in this prefix: disable it first\n");
        return 1;
    }
    const Bench::ScratchFolder folder(L"documents");
    Bench::InstalledFolder installed;
    Bench::ModuleHost host;
    if (!host.Load(Bench::DefaultBinFolder())) {
        return 1;
    }
    Bench::Report("server_cpu_counted", clock.CountsServer() ? "yes" : "no");
    for (const std::wstring& section : sections) {
        bool done = false;
        if (section == L"policy") {
            done = Bench::BenchPolicySizes(clock, host, installed, {1, 10, 100});
        } else if (section == L"requests") {
            done = Bench::BenchPolicyRequests(clock, host, installed);
        } else if (section == L"storage") {
            done = Bench::BenchStorageStore(clock, host, folder);
        } else if (section == L"memory") {
            done = Bench::BenchMemory(folder);
        } else if (section == L"badvalue") {
            done = Bench::BenchBadValues(folder, clockArguments);
        } else {
            fprintf(stderr, "unknown section %ls\n", section.c_str());
        }
        if (!done) {
            fprintf(stderr, "section %ls failed\n", section.c_str());
            return 1;
        }
    }
    return 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc == 4 && wcscmp(argv[1], L"memory-child") == 0) {
        Bench::ModuleHost host;
        return host.Load(Bench::DefaultBinFolder()) ? Bench::RunMemoryChild(host, argv[2], argv[3])
                                                    : 1;
    }
    // badvalue-child DOCUMENT LOG DIGITS RESULT SERVER-PID CLOCK-TICKS
    if (argc == 8 && wcscmp(argv[1], L"badvalue-child") == 0) {
        Bench::ModuleHost host;
        const Bench::CostClock clock(wcstoul(argv[6], nullptr, 10), wcstoul(argv[7], nullptr, 10));
        return host.Load(Bench::DefaultBinFolder())
                   ? Bench::RunBadValueChild(host, clock, argv[2], argv[3],
                                             _wcstoui64(argv[4], nullptr, 10), argv[5])
                   : 1;
    }
    uint32_t serverPid = 0;
    uint32_t ticksPerSecond = 100;
    std::vector<std::wstring> sections;
    for (int i = 1; i < argc; ++i) {
        if (wcscmp(argv[i], L"--server-pid") == 0 && i + 1 < argc) {
            serverPid = wcstoul(argv[++i], nullptr, 10);
        } else if (wcscmp(argv[i], L"--clock-ticks") == 0 && i + 1 < argc) {
            ticksPerSecond = wcstoul(argv[++i], nullptr, 10);
        } else {
            sections.push_back(argv[i]);
        }
    }
    if (sections.empty()) {
        sections = {L"policy", L"requests", L"storage", L"memory", L"badvalue"};
    }
    return RunSections(Bench::CostClock(serverPid, ticksPerSecond),
                       std::to_wstring(serverPid) + L" " + std::to_wstring(ticksPerSecond),
                       sections);
}
