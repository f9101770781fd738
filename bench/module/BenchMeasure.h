#pragma once
// Cost clocks and medians for the module benchmarks. A cost is CPU seconds: this
// thread's, plus (when its Unix process id is known) the wineserver's, which does the
// work of every registry call and file open on the client's behalf. CPU time rather
// than wall time: the build machines are shared, and waiting for a core says nothing
// about the code measured. Both clocks tick in 10 ms steps under Wine, so a sample
// repeats its run until it has used enough CPU time.

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Bench {

class CostClock {
public:
    // serverPid 0: the thread's time only. ticksPerSecond: the Unix clock tick rate.
    CostClock(uint32_t serverPid, uint32_t ticksPerSecond);

    double Now() const;
    bool CountsServer() const { return !m_ServerStat.empty(); }

private:
    double ServerSeconds() const;

    std::wstring m_ServerStat;  // Z:\proc\<pid>\stat
    double m_SecondsPerTick;
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

// Seconds of cost per run of each contender: after one unmeasured run each, every
// sample repeats a contender's run until it has used minSeconds, and the contenders take
// turns within each sample so that they meet the same machine. Empty on a failure.
std::vector<double> MedianCostPerRun(const CostClock& clock,
                                     const std::vector<Contender>& contenders, int samples,
                                     double minSeconds);

// Output: "name value" lines for the script to pick up.
void Report(const char* name, double value);
void Report(const char* name, const std::string& value);

}  // namespace Bench
