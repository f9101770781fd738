#pragma once
// Runs one of the shipped command-line tools and collects what it prints.

#include <windows.h>

#include <string>

#include "Scratch.h"

namespace TestSupport {

struct ToolRun {
    DWORD ExitCode = 0xFFFFFFFF;
    std::string Output;  // standard output and standard error
};

// Runs program with the arguments (quoted by the caller) in currentFolder (this process's
// current folder when empty); waits up to a minute, then ends it (exit code WAIT_TIMEOUT, 258).
ToolRun RunProgram(const std::wstring& program, const std::wstring& arguments,
                   const std::wstring& currentFolder = std::wstring());
// The same for bin\<tool>.
inline ToolRun RunTool(const std::wstring& tool, const std::wstring& arguments) {
    return RunProgram(BinFolder() + tool, arguments);
}
inline std::wstring Quoted(const std::wstring& path) {
    return L"\"" + path + L"\"";
}

}  // namespace TestSupport
