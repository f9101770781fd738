#include "BenchMeasure.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>

#include "BenchClock.h"

namespace Bench {

namespace {

// The contender a profiler watches, counted over all measurements in their order.
struct Profile {
    bool on = false;
    size_t index = 0;
    double seconds = 0;
    size_t first = 0;  // the number of the current measurement's first contender
} g_Profile;

struct Spread {
    double median;
    double lowest;
    double highest;
};

Spread RatioSpread(const std::vector<double>& numerator, const std::vector<double>& denominator) {
    std::vector<double> ratios;
    for (size_t i = 0; i < numerator.size() && i < denominator.size(); ++i) {
        ratios.push_back(denominator[i] > 0 ? numerator[i] / denominator[i] : 0);
    }
    if (ratios.empty()) {
        return {0, 0, 0};
    }
    const auto range = std::minmax_element(ratios.begin(), ratios.end());
    return {Median(ratios), *range.first, *range.second};
}

void ReportSpread(const std::string& name, const Spread& spread) {
    printf("%s %.4g %.4g %.4g\n", name.c_str(), spread.median, spread.lowest, spread.highest);
    fflush(stdout);
}

}  // namespace

CostClock::CostClock(const UnixProcesses& processes)
    : m_Self(processes.self), m_Server(processes.server) {
    LARGE_INTEGER frequency{};
    QueryPerformanceFrequency(&frequency);
    m_SecondsPerCount = 1.0 / static_cast<double>(frequency.QuadPart);
    if (processes.server != 0 && !m_Server.IsOpen()) {
        fprintf(stderr, "cannot read the wineserver's CPU time; it is not counted\n");
    }
}

Moment CostClock::Now() const {
    Moment now;
    now.cpu = (m_Self.IsOpen() ? m_Self.Seconds() : ThreadCpuSeconds()) + m_Server.Seconds();
    now.wall = Wall();
    return now;
}

double CostClock::Wall() const {
    LARGE_INTEGER counter{};
    QueryPerformanceCounter(&counter);
    return static_cast<double>(counter.QuadPart) * m_SecondsPerCount;
}

std::string CostClock::Counted() const {
    return std::string(m_Self.IsOpen() ? "process" : "thread") +
           (m_Server.IsOpen() ? "+server" : "");
}

double Median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

Costs Costs::Scaled(double factor) const {
    Costs scaled = *this;
    for (double& cost : scaled.cpu) {
        cost *= factor;
    }
    for (double& cost : scaled.wall) {
        cost *= factor;
    }
    return scaled;
}

void ProfileOnly(size_t index, double seconds) {
    g_Profile = {true, index, seconds, 0};
}

std::vector<Costs> MeasureInterleaved(const CostClock& clock,
                                      const std::vector<Contender>& contenders, int samples,
                                      double minSeconds) {
    const size_t first = g_Profile.first;
    g_Profile.first += contenders.size();
    const auto measured = [&](size_t i) { return !g_Profile.on || g_Profile.index == first + i; };
    if (g_Profile.on) {
        samples = 1;
        minSeconds = g_Profile.seconds;
    }
    const auto ready = [](const Contender& contender) {
        return !contender.m_Prepare || contender.m_Prepare();
    };
    // One unmeasured run each first: the first use of a document, a key or a library
    // costs what no later request pays.
    for (const Contender& contender : contenders) {
        if (!ready(contender) || !contender.m_Run()) {
            return {};
        }
    }
    std::vector<Costs> costs(contenders.size());
    for (int sample = 0; sample < samples; ++sample) {
        for (size_t turn = 0; turn < contenders.size(); ++turn) {
            const size_t i = sample % 2 == 0 ? turn : contenders.size() - 1 - turn;
            if (!measured(i)) {
                continue;
            }
            if (!ready(contenders[i])) {
                return {};
            }
            if (g_Profile.on) {
                fprintf(stderr, "profiling now: contender %zu alone for %.0f s\n", first + i,
                        g_Profile.seconds);
            }
            // The CPU time is read at the ends of the sample only: its files cost a few
            // system calls, which would otherwise count with every run.
            const Moment start = clock.Now();
            int runs = 0;
            do {
                if (!contenders[i].m_Run()) {
                    return {};
                }
                ++runs;
            } while (clock.Wall() - start.wall < minSeconds);
            const Moment now = clock.Now();
            costs[i].cpu.push_back((now.cpu - start.cpu) / runs);
            costs[i].wall.push_back((now.wall - start.wall) / runs);
        }
    }
    return costs;
}

void Report(const std::string& name, double value) {
    printf("%s %.6g\n", name.c_str(), value);
    fflush(stdout);
}

void Report(const std::string& name, const std::string& value) {
    printf("%s %s\n", name.c_str(), value.c_str());
    fflush(stdout);
}

void ReportCosts(const std::string& name, const Costs& costs, double scale) {
    printf("%s %.6g %.6g\n", name.c_str(), Median(costs.cpu) * scale, Median(costs.wall) * scale);
    fflush(stdout);
}

void ReportRatios(const std::string& name, const Costs& numerator, const Costs& denominator) {
    ReportSpread(name + "_cpu", RatioSpread(numerator.cpu, denominator.cpu));
    ReportSpread(name + "_wall", RatioSpread(numerator.wall, denominator.wall));
}

uint32_t CheckedSelfPid(uint32_t pid) {
    if (!IsThisProcess(pid)) {
        fprintf(stderr,
                "this process's Unix id is unknown: its CPU time is this thread's, "
                "in 10 ms steps\n");
        return 0;
    }
    return pid;
}

}  // namespace Bench
