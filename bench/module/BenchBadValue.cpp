#include "BenchBadValue.h"

#include <windows.h>

#include <cstdio>
#include <vector>

#include "BenchChild.h"
#include "BenchDocuments.h"
#include "BenchMeasure.h"
#include "BenchModuleHost.h"
#include "BenchScratch.h"

namespace Bench {

namespace {

constexpr size_t kMillion = 1000000;
constexpr int kChildSamples = 3;
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
    std::string line;
    const DWORD exitCode = RunChild(L"badvalue-child " + arguments, resultPath, line);
    double milliseconds = -1;
    if (exitCode != 0 || sscanf(line.c_str(), "ms %lf", &milliseconds) != 1) {
        fprintf(stderr, "bad-value child (exit code %lu): %s\n", exitCode, line.c_str());
        return -1;
    }
    return milliseconds;
}

}  // namespace

bool BenchBadValues(const ScratchFolder& folder, uint32_t serverPid) {
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
                                       L"badvalue.txt\" " + std::to_wstring(serverPid);
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
    const std::vector<Costs> costs = MeasureInterleaved(clock, {[&] {
                                                            (void)host.SendStorage(&request);
                                                            return true;
                                                        }},
                                                        kChildSamples, kMinSeconds);
    int exitCode = 1;
    if (FileSize(logPath) < minimumLogBytes) {
        fprintf(result, "the module's log did not print the value (is ZorvDbg64.dll there?)\n");
    } else {
        fprintf(result, "ms %.3f\n", Median(costs[0].cpu) * 1e3);
        exitCode = 0;
    }
    fclose(result);
    return exitCode;
}

}  // namespace Bench
