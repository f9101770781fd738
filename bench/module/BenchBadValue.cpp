#include "BenchBadValue.h"

#include <windows.h>

#include <cstdio>
#include <vector>

#include "BenchDocuments.h"
#include "BenchMeasure.h"
#include "BenchModuleHost.h"
#include "BenchScratch.h"
#include "ZorvComn_Handle.h"

namespace Bench {

namespace {

constexpr size_t kMillion = 1000000;
constexpr int kSamples = 3;
constexpr double kMinSeconds = 0.3;

uint64_t FileSize(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) {
        return 0;
    }
    return (static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

// Runs this executable as a bad-value child; its milliseconds per request, or -1.
double ChildMilliseconds(const std::wstring& arguments, const std::wstring& resultPath) {
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring command = L"\"" + std::wstring(self) + L"\" badvalue-child " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process)) {
        return -1;
    }
    const ZorvCommon::UniqueFile processHandle(process.hProcess);
    const ZorvCommon::UniqueFile threadHandle(process.hThread);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD exitCode = 1;
    GetExitCodeProcess(process.hProcess, &exitCode);
    char line[256] = {};
    FILE* result = _wfopen(resultPath.c_str(), L"r");
    if (result != nullptr) {
        if (fgets(line, sizeof(line), result) == nullptr) {
            line[0] = '\0';
        }
        fclose(result);
    }
    DeleteFileW(resultPath.c_str());
    double milliseconds = -1;
    if (exitCode != 0 || sscanf(line, "ms %lf", &milliseconds) != 1) {
        fprintf(stderr, "bad-value child (exit code %lu): %s\n", exitCode, line);
        return -1;
    }
    return milliseconds;
}

}  // namespace

bool BenchBadValues(const ScratchFolder& folder, const std::wstring& clockArguments) {
    const ErrorLogSettings log(folder.Path());
    if (!log.IsSet()) {
        fprintf(stderr, "cannot set the module's debug-log settings\n");
        return false;
    }
    const ScratchKey key(L"BadValue");
    const std::wstring document = folder.Path() + L"badvalue.xen";
    const std::wstring logPath = folder.Path() + L"badvalue.log";
    for (const size_t millions : {1, 2, 4}) {
        const size_t digits = millions * kMillion;
        const StoredValue bad{"Bad", "uint32", std::string(digits, '9'), REG_DWORD, {}};
        if (!WriteDocument(document, kStorageControlKey, StoreDocument(key.Path(), {bad}))) {
            return false;
        }
        DeleteFileW(logPath.c_str());
        const std::wstring arguments = L"\"" + document + L"\" \"" + logPath + L"\" " +
                                       std::to_wstring(digits) + L" \"" + folder.Path() +
                                       L"badvalue.txt\" " + clockArguments;
        const double milliseconds = ChildMilliseconds(arguments, folder.Path() + L"badvalue.txt");
        DeleteFileW(logPath.c_str());
        if (milliseconds < 0) {
            return false;
        }
        Report(("badvalue_" + std::to_string(millions) + "m_ms").c_str(), milliseconds);
    }
    DeleteFileW(document.c_str());
    return true;
}

int RunBadValueChild(ModuleHost& host, const CostClock& clock, const std::wstring& documentPath,
                     const std::wstring& logPath, uint64_t minimumLogBytes,
                     const std::wstring& resultPath) {
    FILE* result = _wfopen(resultPath.c_str(), L"w");
    if (result == nullptr) {
        return 1;
    }
    SrvFrwk::Interface::StorageControlRequest request{documentPath, kAssign, std::wstring()};
    const std::vector<double> costs = MedianCostPerRun(clock, {[&] {
                                                           (void)host.SendStorage(&request);
                                                           return true;
                                                       }},
                                                       kSamples, kMinSeconds);
    int exitCode = 1;
    if (FileSize(logPath) < minimumLogBytes) {
        fprintf(result, "the module's log did not print the value (is ZorvDbg64.dll there?)\n");
    } else {
        fprintf(result, "ms %.3f\n", costs[0] * 1e3);
        exitCode = 0;
    }
    fclose(result);
    return exitCode;
}

}  // namespace Bench
