#pragma once
// Peak memory of a storage-control request over a big document against the same request
// over a small one, each in a fresh process of this executable so that neither inherits
// the other's heap. Wine reports no private-bytes peak (its PeakPagefileUsage is the
// current value), so the resident set stands in: the child resets the kernel's
// high-water mark just before the request, and the peak after it (PeakWorkingSetSize)
// less the resident set before it is what the request needed.

#include <string>

namespace Bench {

class ModuleHost;
class ScratchFolder;

bool BenchMemory(const ScratchFolder& folder);

// The child's side: one request over documentPath, then one line written to resultPath:
// "rise_kib N", or what failed. Returns the process exit code.
int RunMemoryChild(ModuleHost& host, const std::wstring& documentPath,
                   const std::wstring& resultPath);

}  // namespace Bench
