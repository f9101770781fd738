#include "BenchMeasure.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>

#include "BenchClock.h"
#include "ZorvComn_Handle.h"

namespace Bench {

CostClock::CostClock(uint32_t serverPid, uint32_t ticksPerSecond)
    : m_SecondsPerTick(ticksPerSecond != 0 ? 1.0 / ticksPerSecond : 0) {
    if (serverPid != 0) {
        m_ServerStat = L"Z:\\proc\\" + std::to_wstring(serverPid) + L"\\stat";
        if (ServerSeconds() < 0) {
            fprintf(stderr, "cannot read the wineserver's CPU time; counting the thread only\n");
            m_ServerStat.clear();
        }
    }
}

double CostClock::Now() const {
    return ThreadCpuSeconds() + (m_ServerStat.empty() ? 0 : ServerSeconds());
}

// utime and stime are the 14th and 15th fields; the 2nd, the command in parentheses,
// may hold blanks, so the count starts after its closing parenthesis.
double CostClock::ServerSeconds() const {
    ZorvCommon::UniqueFile file(CreateFileW(m_ServerStat.c_str(), GENERIC_READ,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                            OPEN_EXISTING, 0, nullptr));
    char text[1024] = {};
    DWORD count = 0;
    if (!file || !ReadFile(file.get(), text, sizeof(text) - 1, &count, nullptr)) {
        return -1;
    }
    const char* field = strrchr(text, ')');
    unsigned long long user = 0, system = 0;
    if (field == nullptr ||
        sscanf(field + 1, " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %llu %llu", &user,
               &system) != 2) {
        return -1;
    }
    return static_cast<double>(user + system) * m_SecondsPerTick;
}

double Median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

std::vector<double> MedianCostPerRun(const CostClock& clock,
                                     const std::vector<Contender>& contenders, int samples,
                                     double minSeconds) {
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
    std::vector<std::vector<double>> costs(contenders.size());
    for (int sample = 0; sample < samples; ++sample) {
        for (size_t i = 0; i < contenders.size(); ++i) {
            if (!ready(contenders[i])) {
                return {};
            }
            const double start = clock.Now();
            double elapsed = 0;
            int runs = 0;
            do {
                if (!contenders[i].m_Run()) {
                    return {};
                }
                ++runs;
                elapsed = clock.Now() - start;
            } while (elapsed < minSeconds);
            costs[i].push_back(elapsed / runs);
        }
    }
    std::vector<double> medians;
    for (const std::vector<double>& cost : costs) {
        medians.push_back(Median(cost));
    }
    return medians;
}

void Report(const char* name, double value) {
    printf("%s %.6g\n", name, value);
    fflush(stdout);
}

void Report(const char* name, const std::string& value) {
    printf("%s %s\n", name, value.c_str());
    fflush(stdout);
}

}  // namespace Bench
