#pragma once
// Cost clocks, interleaved samples and their ratios for the benchmarks. Every sample is
// read on two clocks at once: wall time, and CPU time, which is this process's plus
// (when its Unix process id is known) the wineserver's: the server does the work of
// every registry call and file open on the client's behalf. CPU time is the kernel's
// run time of the processes' threads, in nanoseconds; without this process's Unix id it
// falls back to this thread's time as Windows reports it, in 10 ms steps under Wine.

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "BenchUnix.h"

namespace Bench {

struct Moment {
    double cpu = 0;
    double wall = 0;
};

// The Unix processes whose CPU time a cost counts; 0 where unknown.
struct UnixProcesses {
    uint32_t self = 0;
    uint32_t server = 0;
};

class CostClock {
public:
    explicit CostClock(const UnixProcesses& processes);

    Moment Now() const;
    // Wall time alone: a cheap read, unlike the CPU time's files.
    double Wall() const;
    // What the CPU clock counts: "process" or "thread", and "+server".
    std::string Counted() const;

private:
    UnixCpuTime m_Self;
    UnixCpuTime m_Server;
    double m_SecondsPerCount;
};

double Median(std::vector<double> values);

// What a sample times, and what must happen before it, untimed (may be empty). A run
// returns false on failure, which ends the measurement.
struct Contender {
    template <typename Run>
    Contender(Run run, std::function<bool()> prepare = {})  // lambdas convert implicitly
        : m_Run(std::move(run)), m_Prepare(std::move(prepare)) {}

    std::function<bool()> m_Run;
    std::function<bool()> m_Prepare;
};

// Seconds per run of one contender on each clock, one figure per sample.
struct Costs {
    std::vector<double> cpu;
    std::vector<double> wall;

    Costs Scaled(double factor) const;
};

// How the benchmarks sample: many short samples, so that a measure and its baseline run
// within a fraction of a second of each other, however the load of the machine moves.
constexpr int kSamples = 15;
constexpr double kSampleSeconds = 0.2;

// After one unmeasured run of each contender, `samples` samples: in each, the contenders
// take turns, each repeating its run until minSeconds of wall time have passed, so
// that all of them meet the same machine; every other sample they go in reverse order,
// so that a drift of the machine's speed favours none of them. Empty on a failure.
std::vector<Costs> MeasureInterleaved(const CostClock& clock,
                                      const std::vector<Contender>& contenders, int samples,
                                      double minSeconds);

// For a profiler: from then on only the contender numbered `index` (counted over all
// measurements, in the order they are made) is measured, in one sample of `seconds`
// after the unmeasured runs; the others' costs stay empty.
void ProfileOnly(size_t index, double seconds);

// Output: "name value..." lines for the script to pick up.
void Report(const std::string& name, double value);
void Report(const std::string& name, const std::string& value);
// "<name> <CPU> <wall>": the medians of the costs times scale.
void ReportCosts(const std::string& name, const Costs& costs, double scale);
// "<name>_cpu <median> <lowest> <highest>" and "<name>_wall ...": the ratios
// numerator / denominator of the samples taken side by side, on each clock.
void ReportRatios(const std::string& name, const Costs& numerator, const Costs& denominator);

// pid when it is this process's Unix id (handed over by the script as "--self-pid PID",
// or found by a unique argument of a child's command line); else 0, with a line on stderr.
uint32_t CheckedSelfPid(uint32_t pid);

}  // namespace Bench
