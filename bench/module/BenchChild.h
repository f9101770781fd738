#pragma once
// Sections that need a fresh process run this executable again as a child, which writes
// one result line into a file.

#include <windows.h>

#include <string>

namespace Bench {

// Runs this executable with the arguments and waits for it; its exit code (or the error
// of starting it). line receives the first line the child wrote to resultPath, which is
// then deleted.
DWORD RunChild(const std::wstring& arguments, const std::wstring& resultPath, std::string& line);

}  // namespace Bench
