#pragma once
// The Unix side of the benchmarks' Wine processes, read through the Z: drive. Wine opens
// files in the wineserver, so Z:\proc\self names the server: a process is named by its
// Unix process id instead.

#include <cstdint>
#include <string>
#include <vector>

#include "ZorvComn_Handle.h"

namespace Bench {

// The process whose command line, as Wine shows it in /proc/<pid>/cmdline, holds
// `argument` as one of its arguments; 0 unless exactly one process does.
uint32_t FindUnixProcess(const std::wstring& argument);

// Whether the Unix process is this one: Wine names a process after its executable.
bool IsThisProcess(uint32_t pid);

// The CPU time of one Unix process: the run times of its threads, as the kernel keeps
// them in nanoseconds (/proc/<pid>/task/<tid>/schedstat). The threads are those present
// when the object is made; their files stay open and are read again for every figure.
class UnixCpuTime {
public:
    explicit UnixCpuTime(uint32_t pid);

    bool IsOpen() const { return !m_Threads.empty(); }
    double Seconds() const;

private:
    std::vector<ZorvCommon::UniqueFile> m_Threads;
    mutable std::vector<unsigned long long> m_Nanoseconds;  // as last read, per thread
};

// Lowers the kernel's high-water mark of the process's resident set to its present
// size ("5" into /proc/<pid>/clear_refs); false where the kernel refuses.
bool ResetPeakResidentSet(uint32_t pid);

}  // namespace Bench
