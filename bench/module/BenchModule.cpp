// The module's benchmarks through its real exports, each against a baseline measured in
// the same run, printed as "name value..." lines for scripts/bench.sh.
// Usage: bench_module [--self-pid PID] [--server-pid PID] [--profile INDEX] SECTION...
//   SECTION: policy (service policy requests at 10 MB against XmlLite alone, and their
//   time per MB at 100 MB against 1 MB), requests (a 50-service document against reading
//   its plaintext file and walking it), storage (a request storing 1,000 values),
//   memory (peak memory over 100 MB against 1 MB), badvalue (a request whose uint32
//   value has 1, 2 and 4 million digits, with the log printing it).
//   PIDs: the Unix process ids of this process and of this prefix's wineserver, whose CPU
//   time then counts.
//   --profile: only contender INDEX of the sections given runs, for 30 s, for a profiler
//   (policy: 0 the 10 MB request, 1 XmlLite's walk of it, 2 and 3 the 1 and 100 MB
//   requests; requests, storage: 0 the module, 1 the baseline).
// The debug log is switched off and the product key's installed folder pointed at
// scratch folders during the run; both are restored afterwards.

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

constexpr double kProfileSeconds = 30;

int RunSections(const Bench::CostClock& clock, uint32_t serverPid,
                const std::vector<std::wstring>& sections) {
    const Bench::DebugLogOff logOff;
    if (!logOff.IsOff()) {
        fprintf(stderr, "cannot switch the module's debug log off in this prefix\n");
        return 1;
    }
    const Bench::ScratchFolder folder(L"documents");
    Bench::InstalledFolder installed;
    Bench::ModuleHost host;
    if (!host.Load(Bench::DefaultBinFolder())) {
        return 1;
    }
    Bench::Report("cpu_counts", clock.Counted());
    for (const std::wstring& section : sections) {
        bool done = false;
        if (section == L"policy") {
            done = Bench::BenchPolicySizes(clock, host, installed);
        } else if (section == L"requests") {
            done = Bench::BenchPolicyRequests(clock, host, installed);
        } else if (section == L"storage") {
            done = Bench::BenchStorageStore(clock, host, folder);
        } else if (section == L"memory") {
            done = Bench::BenchMemory(folder);
        } else if (section == L"badvalue") {
            done = Bench::BenchBadValues(folder, serverPid);
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
    // badvalue-child DOCUMENT LOG DIGITS RESULT SERVER-PID; the child finds its own Unix
    // process by RESULT, which only its command line holds.
    if (argc == 7 && wcscmp(argv[1], L"badvalue-child") == 0) {
        Bench::ModuleHost host;
        const Bench::CostClock clock({Bench::CheckedSelfPid(Bench::FindUnixProcess(argv[5])),
                                      static_cast<uint32_t>(wcstoul(argv[6], nullptr, 10))});
        return host.Load(Bench::DefaultBinFolder())
                   ? Bench::RunBadValueChild(host, clock, argv[2], argv[3],
                                             _wcstoui64(argv[4], nullptr, 10), argv[5])
                   : 1;
    }
    Bench::UnixProcesses processes;
    std::vector<std::wstring> sections;
    for (int i = 1; i < argc; ++i) {
        if (wcscmp(argv[i], L"--self-pid") == 0 && i + 1 < argc) {
            processes.self = Bench::CheckedSelfPid(wcstoul(argv[++i], nullptr, 10));
        } else if (wcscmp(argv[i], L"--server-pid") == 0 && i + 1 < argc) {
            processes.server = wcstoul(argv[++i], nullptr, 10);
        } else if (wcscmp(argv[i], L"--profile") == 0 && i + 1 < argc) {
            Bench::ProfileOnly(wcstoul(argv[++i], nullptr, 10), kProfileSeconds);
        } else {
            sections.push_back(argv[i]);
        }
    }
    if (sections.empty()) {
        sections = {L"policy", L"requests", L"storage", L"memory", L"badvalue"};
    }
    return RunSections(Bench::CostClock(processes), processes.server, sections);
}
