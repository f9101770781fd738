#pragma once
// Runs one of the shipped command-line tools and collects what it prints.

#include <windows.h>

#include <string>

namespace TestSupport {

struct ToolRun {
    DWORD ExitCode = 0xFFFFFFFF;
    std::string Output;  // standard output and standard error
};

// bin\<tool> with the arguments (quoted by the caller); waits up to a minute, then ends it
// (exit code WAIT_TIMEOUT, 258).
ToolRun RunTool(const std::wstring& tool, const std::wstring& arguments);
// The same for a program given by its full path, run in currentFolder (this process's
// current folder when empty).
ToolRun RunProgram(const std::wstring& program, const std::wstring& arguments,
                   const std::wstring& currentFolder = std::wstring());

// L"\"path\"".
std::wstring Quoted(const std::wstring& path);

}  // namespace TestSupport
