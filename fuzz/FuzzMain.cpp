// fuzz_ostrel: mutation fuzzing of Ostrel.dll through its exports, in this process.
//
//   fuzz_ostrel --seconds N --seed S --examples DIR --corpus DIR --regressions DIR
//               [--work DIR] [--hang-ms MS] [--log-level MASK] [--max-inputs N]
//
// One utility object answers every input; --hang-ms bounds the processor time of one input
// (default 2000). Policy documents are written into a scratch installed folder that the
// product key names; storage-control documents go to a scratch path and may only name
// HKCU\Software\OstrelFuzz\Keys\... and INI files in the installed folder. Exit code 0 when
// every result code was documented, 1 when one was not, 2 for a bad command line or setup,
// 3 for a crash, 4 for a hang.

#include <windows.h>
#include <shellapi.h>

#include <cstdio>
#include <cwchar>
#include <exception>
#include <string>
#include <vector>

#include "FuzzFiles.h"
#include "FuzzGenerator.h"
#include "FuzzGuard.h"
#include "FuzzRegressions.h"
#include "FuzzStats.h"
#include "FuzzStorageGate.h"
#include "FuzzTarget.h"
#include "LogCapture.h"
#include "ModuleHost.h"
#include "ProcessFootprint.h"
#include "Scratch.h"
#include "ZorvComn_Handle.h"

namespace {

using namespace OstrelFuzz;

constexpr int kExitUsage = 2;
// Every so many inputs the stores the documents wrote and the log are cleared.
constexpr uint64_t kSweepInterval = 1000;

struct Options {
    uint64_t Seconds = 45;
    uint64_t Seed = 1;
    uint64_t MaxInputs = 0;  // 0: until the time is up
    DWORD HangMilliseconds = 2000;
    uint32_t LogLevel = 0x110;  // information and errors: the lines that print document text
    std::wstring Examples;
    std::wstring Corpus;
    std::wstring Regressions;
    std::wstring Work = TestSupport::ExecutableFolder() + L"..\\fuzz";
};

bool ParseOptions(Options& options) {
    int count = 0;
    wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    bool ok = arguments != nullptr;
    for (int index = 1; ok && index + 1 < count; index += 2) {
        const std::wstring name = arguments[index];
        const wchar_t* value = arguments[index + 1];
        if (name == L"--seconds") {
            options.Seconds = _wcstoui64(value, nullptr, 0);
        } else if (name == L"--seed") {
            options.Seed = _wcstoui64(value, nullptr, 0);
        } else if (name == L"--max-inputs") {
            options.MaxInputs = _wcstoui64(value, nullptr, 0);
        } else if (name == L"--hang-ms") {
            options.HangMilliseconds = wcstoul(value, nullptr, 0);
        } else if (name == L"--log-level") {
            options.LogLevel = wcstoul(value, nullptr, 0);
        } else if (name == L"--examples") {
            options.Examples = value;
        } else if (name == L"--corpus") {
            options.Corpus = value;
        } else if (name == L"--regressions") {
            options.Regressions = value;
        } else if (name == L"--work") {
            options.Work = value;
        } else {
            ok = false;
        }
    }
    ok = ok && count % 2 == 1 && !options.Examples.empty() && !options.Corpus.empty() &&
         !options.Regressions.empty();
    LocalFree(arguments);
    return ok;
}

void DeleteRegistryTree(REGSAM view) {
    ZorvCommon::UniqueRegKey key;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, kFuzzRegistryRoot, 0, KEY_ALL_ACCESS | view, key.put()) ==
        ERROR_SUCCESS) {
        RegDeleteTreeW(key.get(), nullptr);
        key.reset();
        RegDeleteKeyExW(HKEY_CURRENT_USER, kFuzzRegistryRoot, view, 0);
    }
}

// What the storage documents wrote (both registry views, the INI files) and the log.
void Sweep(const Workspace& workspace, const std::wstring& logFile) {
    DeleteRegistryTree(KEY_WOW64_64KEY);
    DeleteRegistryTree(KEY_WOW64_32KEY);
    for (const std::wstring& name : ListFiles(workspace.InstalledFolder, L"*.ini")) {
        const std::wstring file = workspace.InstalledFolder + name;
        SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileW(file.c_str());
    }
    // The trace library appends to the log; cutting it to nothing keeps it small.
    const ZorvCommon::UniqueFile log(CreateFileW(
        logFile.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (log) {
        SetEndOfFile(log.get());
    }
}

int Run(const Options& options) {
    std::vector<SeedDocument> seeds = LoadSeeds(options.Examples, options.Corpus);
    if (seeds.empty()) {
        fprintf(stderr, "fuzz_ostrel: no starting documents found\n");
        return kExitUsage;
    }
    TestSupport::LogCapture log(options.LogLevel, /*initializeProcessLog=*/false);
    TestSupport::ScratchFolder scratch(L"Fuzz");
    const Workspace workspace{scratch.Path() + L"\\installed\\", scratch.File(L"request.xen")};
    CreateDirectoryW(workspace.InstalledFolder.c_str(), nullptr);
    log.Product().SetInstalledFolder(workspace.InstalledFolder);
    log.Product().SetVersion(L"1.5.0");
    Sweep(workspace, log.FilePath());

    TestSupport::ModuleHost module;
    TestSupport::Utility utility(module);
    if (!module.IsReady() || !utility.IsValid()) {
        fprintf(stderr, "fuzz_ostrel: Ostrel.dll could not be loaded from build\\bin\n");
        return kExitUsage;
    }
    FuzzTarget target(utility, workspace);
    InputGenerator generator(options.Seed, std::move(seeds));
    FuzzStats stats;
    FuzzGuard guard(options.Work, options.Regressions, options.HangMilliseconds);

    // Relative INI paths resolve against the current directory: keep it in the scratch.
    wchar_t previousDirectory[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, previousDirectory);
    SetCurrentDirectoryW(workspace.InstalledFolder.c_str());

    const TestSupport::Footprint before = TestSupport::MeasureProcess();
    const uint64_t deadline = GetTickCount64() + options.Seconds * 1000;
    while (GetTickCount64() < deadline &&
           (options.MaxInputs == 0 || stats.Inputs() < options.MaxInputs)) {
        const FuzzInput input = generator.Next();
        guard.Begin(input, stats.Inputs());
        const Outcome outcome = target.Run(input.Path, input.File);
        guard.End();
        if (Judge(outcome) == Verdict::Undocumented) {
            const std::wstring saved = SaveInput(options.Regressions, input.Path, input.File);
            printf("UNDOCUMENTED result 0x%08x from input #%llu (%s, seed %s), saved as %ls\n",
                   static_cast<unsigned>(outcome.Result),
                   static_cast<unsigned long long>(stats.Inputs()), PathName(input.Path),
                   input.SeedName.c_str(), saved.c_str());
        }
        stats.Record(input, outcome);
        if (stats.Inputs() % kSweepInterval == 0) {
            Sweep(workspace, log.FilePath());
        }
    }
    const TestSupport::Footprint after = TestSupport::MeasureProcess();
    SetCurrentDirectoryW(previousDirectory);
    Sweep(workspace, log.FilePath());

    printf("fuzz_ostrel: seed %llu, %llu s: %llu inputs, %llu undocumented result codes\n",
           static_cast<unsigned long long>(options.Seed),
           static_cast<unsigned long long>(options.Seconds),
           static_cast<unsigned long long>(stats.Inputs()),
           static_cast<unsigned long long>(stats.Undocumented()));
    printf("handles %lu -> %lu, private bytes %llu KB -> %llu KB\n", before.Handles, after.Handles,
           static_cast<unsigned long long>(before.PrivateBytes / 1024),
           static_cast<unsigned long long>(after.PrivateBytes / 1024));
    printf("%s", stats.Report().c_str());
    return stats.Undocumented() == 0 ? 0 : 1;
}

}  // namespace

int main() {
    Options options;
    if (!ParseOptions(options)) {
        fprintf(stderr,
                "usage: fuzz_ostrel --seconds N --seed S --examples DIR --corpus DIR "
                "--regressions DIR [--work DIR] [--hang-ms MS] [--log-level MASK] "
                "[--max-inputs N]\n");
        return kExitUsage;
    }
    try {
        return Run(options);
    } catch (const std::exception& error) {
        fprintf(stderr, "fuzz_ostrel: %s\n", error.what());
        return kExitUsage;
    }
}
