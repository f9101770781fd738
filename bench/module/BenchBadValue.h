#pragma once
// A storage-control request whose uint32 value is a number of 1, 2 and 4 million digits,
// with the module's debug log at its default level (errors): the error line that prints
// the value is what such a request costs beyond reading the document, and its time per
// character should not grow with the length. The module reads its log settings when it
// is loaded, so each length runs in a fresh process of this executable, started after
// the settings are in place (they are restored afterwards). Prints "badvalue_<n>m_ms".

#include <cstdint>
#include <string>

namespace Bench {

class CostClock;
class ModuleHost;
class ScratchFolder;

// serverPid: the wineserver's Unix process id, for the children's cost clocks.
bool BenchBadValues(const ScratchFolder& folder, uint32_t serverPid);

// The child's side: the median cost of the request over documentPath, written to
// resultPath as "ms N" (or what failed) once logPath holds at least minimumLogBytes.
// Returns the process exit code.
int RunBadValueChild(ModuleHost& host, const CostClock& clock, const std::wstring& documentPath,
                     const std::wstring& logPath, uint64_t minimumLogBytes,
                     const std::wstring& resultPath);

}  // namespace Bench
