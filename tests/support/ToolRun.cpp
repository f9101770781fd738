#include "ToolRun.h"

#include <gtest/gtest.h>

#include "Scratch.h"
#include "ZorvComn_Handle.h"

namespace TestSupport {

using ZorvCommon::UniqueFile;

ToolRun RunTool(const std::wstring& tool, const std::wstring& arguments) {
    return RunProgram(BinFolder() + tool, arguments);
}

ToolRun RunProgram(const std::wstring& program, const std::wstring& arguments,
                   const std::wstring& currentFolder) {
    ToolRun run;
    SECURITY_ATTRIBUTES inherit = {sizeof(inherit), nullptr, TRUE};
    UniqueFile readEnd;
    UniqueFile writeEnd;
    if (!CreatePipe(readEnd.put(), writeEnd.put(), &inherit, 0) ||
        !SetHandleInformation(readEnd.get(), HANDLE_FLAG_INHERIT, 0)) {
        ADD_FAILURE() << "CreatePipe failed: " << GetLastError();
        return run;
    }
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = writeEnd.get();
    startup.hStdError = writeEnd.get();
    std::wstring commandLine = Quoted(program) + L" " + arguments;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, &commandLine[0], nullptr, nullptr, TRUE, 0, nullptr,
                        currentFolder.empty() ? nullptr : currentFolder.c_str(), &startup,
                        &process)) {
        ADD_FAILURE() << "CreateProcessW failed: " << GetLastError();
        return run;
    }
    const ZorvCommon::UniqueProcess processHandle(process.hProcess);
    const ZorvCommon::UniqueThread threadHandle(process.hThread);
    writeEnd.reset();  // the child holds the only write end: its exit ends the reads
    const ULONGLONG deadline = GetTickCount64() + 60000;
    char buffer[4096];
    for (bool ended = false;;) {
        DWORD cbAvailable = 0;
        DWORD cbRead = 0;
        if (PeekNamedPipe(readEnd.get(), nullptr, 0, nullptr, &cbAvailable, nullptr) &&
            cbAvailable > 0 && ReadFile(readEnd.get(), buffer, sizeof(buffer), &cbRead, nullptr)) {
            run.Output.append(buffer, cbRead);
        } else if (ended || (cbAvailable == 0 && GetLastError() == ERROR_BROKEN_PIPE)) {
            break;
        } else if (GetTickCount64() > deadline) {
            TerminateProcess(processHandle.get(), WAIT_TIMEOUT);  // a hang ends here
            ended = true;
        } else {
            ended = WaitForSingleObject(processHandle.get(), 10) == WAIT_OBJECT_0;
        }
    }
    WaitForSingleObject(processHandle.get(), 5000);
    GetExitCodeProcess(processHandle.get(), &run.ExitCode);
    return run;
}

std::wstring Quoted(const std::wstring& path) {
    return L"\"" + path + L"\"";
}

}  // namespace TestSupport
