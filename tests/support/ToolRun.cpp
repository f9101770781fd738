#include "ToolRun.h"

#include <gtest/gtest.h>

#include "ZorvComn_Handle.h"

namespace TestSupport {

// The output goes to a temporary file that the system deletes once the last handle to it
// closes: a child that fills it never waits for a reader.
ToolRun RunProgram(const std::wstring& program, const std::wstring& arguments,
                   const std::wstring& currentFolder) {
    ToolRun run;
    wchar_t temp[MAX_PATH];
    wchar_t outputPath[MAX_PATH];
    SECURITY_ATTRIBUTES inherit = {sizeof(inherit), nullptr, TRUE};
    const ZorvCommon::UniqueFile output(
        GetTempPathW(MAX_PATH, temp) && GetTempFileNameW(temp, L"out", 0, outputPath)
            ? CreateFileW(outputPath, GENERIC_READ | GENERIC_WRITE,
                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherit,
                          CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE,
                          nullptr)
            : INVALID_HANDLE_VALUE);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = output.get();
    std::wstring commandLine = Quoted(program) + L" " + arguments;
    PROCESS_INFORMATION process = {};
    if (!output || !CreateProcessW(nullptr, &commandLine[0], nullptr, nullptr, TRUE, 0, nullptr,
                                   currentFolder.empty() ? nullptr : currentFolder.c_str(),
                                   &startup, &process)) {
        ADD_FAILURE() << "the program could not be started: " << GetLastError();
        return run;
    }
    const ZorvCommon::UniqueProcess processHandle(process.hProcess);
    const ZorvCommon::UniqueThread threadHandle(process.hThread);
    if (WaitForSingleObject(processHandle.get(), 60000) == WAIT_TIMEOUT) {
        TerminateProcess(processHandle.get(), WAIT_TIMEOUT);  // a hang ends here
        WaitForSingleObject(processHandle.get(), 5000);
    }
    GetExitCodeProcess(processHandle.get(), &run.ExitCode);
    SetFilePointer(output.get(), 0, nullptr, FILE_BEGIN);
    char buffer[4096];
    DWORD cbRead = 0;
    while (ReadFile(output.get(), buffer, sizeof(buffer), &cbRead, nullptr) && cbRead > 0) {
        run.Output.append(buffer, cbRead);
    }
    return run;
}

}  // namespace TestSupport
