#include "BenchChild.h"

#include <cstdio>

#include "ZorvComn_Handle.h"

namespace Bench {

DWORD RunChild(const std::wstring& arguments, const std::wstring& resultPath, std::string& line) {
    line.clear();
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring command = L"\"" + std::wstring(self) + L"\" " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process)) {
        return GetLastError();
    }
    const ZorvCommon::UniqueFile processHandle(process.hProcess);
    const ZorvCommon::UniqueFile threadHandle(process.hThread);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD exitCode = 1;
    GetExitCodeProcess(process.hProcess, &exitCode);
    char text[256] = {};
    FILE* result = _wfopen(resultPath.c_str(), L"r");
    if (result != nullptr) {
        if (fgets(text, sizeof(text), result) != nullptr) {
            line = text;
        }
        fclose(result);
    }
    DeleteFileW(resultPath.c_str());
    return exitCode;
}

}  // namespace Bench
