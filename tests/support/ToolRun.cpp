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
    char buffer[4096];
    DWORD cbRead = 0;
    while (ReadFile(readEnd.get(), buffer, sizeof(buffer), &cbRead, nullptr) && cbRead > 0) {
        run.Output.append(buffer, cbRead);
    }
    WaitForSingleObject(processHandle.get(), 60000);
    GetExitCodeProcess(processHandle.get(), &run.ExitCode);
    return run;
}

std::wstring Quoted(const std::wstring& path) {
    return L"\"" + path + L"\"";
}

}  // namespace TestSupport
